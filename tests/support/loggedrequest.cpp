// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "loggedrequest.h"

#include <QUrlQuery>

QList<LoggedRequest> LoggedRequest::list(const QJsonArray &log)
{
    QList<LoggedRequest> requests;
    for (const QJsonValue &entry : log)
        requests.append(LoggedRequest(entry.toObject()));
    return requests;
}

QByteArray LoggedRequest::body() const
{
    return QByteArray::fromBase64(text("body").toLatin1());
}

QList<QPair<QString, QString>> LoggedRequest::queryItems() const
{
    return QUrlQuery(text("query").replace(QLatin1Char('+'), QLatin1Char(' ')))
            .queryItems(QUrl::FullyDecoded);
}

QStringList LoggedRequest::headerNames() const
{
    QStringList names;
    for (const QJsonValue &header : headers())
        names.append(header.toArray().at(0).toString().toLower());
    return names;
}

QString LoggedRequest::header(const QString &name) const
{
    const qsizetype at = headerNames().indexOf(name.toLower());
    return at < 0 ? QString() : headers().at(at).toArray().at(1).toString();
}
