// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef FIELDSELECTION_H
#define FIELDSELECTION_H

#include <QJsonObject>
#include <QMap>
#include <QString>

#include <optional>

// The "fields" parameter: a partial-response selection such as
// "nextPageToken, files(id, name)" or "files/id".
class FieldSelection
{
public:
    // None when the text is not a selection.
    static std::optional<FieldSelection> parse(const QString &text);

    // The first key named that shape lacks (in an array, its first item stands for every one);
    // null when there is none.
    QString unknownIn(const QJsonObject &shape) const;
    // Keeps the selected members; a member selected whole keeps all of its value.
    QJsonObject apply(const QJsonObject &object) const;

private:
    bool parseList(const QString &text, int &pos, int depth);
    bool parseItem(const QString &text, int &pos, int depth);

    bool m_all = false; // "*"; a selection without children selects everything too
    QMap<QString, FieldSelection> m_children;
};

#endif // FIELDSELECTION_H
