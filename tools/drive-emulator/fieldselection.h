// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef FIELDSELECTION_H
#define FIELDSELECTION_H

#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>

// The "fields" parameter: a partial-response selection such as
// "nextPageToken, files(id, name)" or "files/id".
class FieldSelection
{
public:
    // An empty text selects nothing in particular: callers use their defaults. None when the
    // text is not a selection.
    static std::optional<FieldSelection> parse(const QString &text);

    bool isGiven() const { return m_given; }
    bool selectsAll() const { return m_all; }
    bool contains(const QString &key) const { return m_all || m_children.contains(key); }
    QStringList keys() const { return m_children.keys(); }
    // The selection below key: empty when the key is selected whole.
    FieldSelection child(const QString &key) const;
    // Keeps the selected members; a member selected whole keeps all of its value.
    QJsonObject apply(const QJsonObject &object) const;

private:
    bool parseList(const QString &text, int &pos, bool nested, int depth);
    bool parseItem(const QString &text, int &pos, int depth);

    bool m_given = false;
    bool m_all = false;
    QMap<QString, FieldSelection> m_children;
};

#endif // FIELDSELECTION_H
