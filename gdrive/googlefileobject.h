// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef GOOGLEFILEOBJECT_H
#define GOOGLEFILEOBJECT_H

#include "cloudobject.h"

#include <QList>
#include <QString>

class QJsonObject;
class QNetworkReply;
class QUrl;

// A Drive entry. Drive addresses entries by identifier, so besides the path the object keeps
// the identifiers of the folders above it; cd() and cdup() move through folders by them.
// A new object is the root of the application-data folder.
class GoogleFileObject : public CloudObject
{
public:
    GoogleFileObject();
    ~GoogleFileObject() override;

    // The identifier of the folder that holds the entry, not a path.
    QString parent() const override;
    void cdup() override;
    void cd(const CloudObject *child) override;

    // Fills the fields from a Drive file resource; the path and parents stay as they are.
    void from(const QJsonObject &o);
    // Fills the fields from a reply's headers.
    void from(const QUrl &url, QNetworkReply *reply);
    void setParents(const QList<QString> &parents);
    QList<QString> parents() const { return m_parents; }

private:
    QList<QString> m_parents;
};

#endif // GOOGLEFILEOBJECT_H
