// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "loggedrequest.h"

#include <QUrl>

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
    QList<QPair<QString, QString>> items;
    for (QString pair : text("query").split(QLatin1Char('&'))) {
        pair.replace(QLatin1Char('+'), QLatin1Char(' '));
        items.append({ QUrl::fromPercentEncoding(pair.section(QLatin1Char('='), 0, 0).toUtf8()),
                       QUrl::fromPercentEncoding(pair.section(QLatin1Char('='), 1).toUtf8()) });
    }
    return items;
}

QList<QPair<QString, QString>> LoggedRequest::headers() const
{
    QList<QPair<QString, QString>> headers;
    for (const QJsonValue &header : m_entry.value(QLatin1String("headers")).toArray())
        headers.append({ header.toArray().at(0).toString(), header.toArray().at(1).toString() });
    return headers;
}

QStringList LoggedRequest::headerNames() const
{
    QStringList names;
    for (const auto &header : headers())
        names.append(header.first.toLower());
    return names;
}

QString LoggedRequest::header(const QString &name) const
{
    for (const auto &header : headers()) {
        if (header.first.compare(name, Qt::CaseInsensitive) == 0)
            return header.second;
    }
    return QString();
}
