// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "httprequest.h"

#include "bodydigest.h"

#include <QUrlQuery>

QByteArray headerValue(const HttpHeaders &headers, const QByteArray &name)
{
    for (const auto &header : headers) {
        if (header.first.compare(name, Qt::CaseInsensitive) == 0)
            return header.second;
    }
    return QByteArray();
}

QHash<QString, QString> formFields(const QByteArray &text)
{
    const QUrlQuery query(QString::fromUtf8(text).replace(QLatin1Char('+'), QLatin1String("%20")));
    QHash<QString, QString> fields;
    for (const auto &item : query.queryItems(QUrl::FullyDecoded)) {
        if (!fields.contains(item.first))
            fields.insert(item.first, item.second);
    }
    return fields;
}

QByteArray HttpRequest::mediaType() const
{
    const QByteArray type = header("Content-Type");
    const qsizetype semicolon = type.indexOf(';');
    return (semicolon < 0 ? type : type.left(semicolon)).trimmed().toLower();
}

QByteArray HttpRequest::contentTypeParameter(const QByteArray &name) const
{
    const QList<QByteArray> parts = header("Content-Type").split(';');
    for (qsizetype i = 1; i < parts.size(); ++i) {
        const QByteArray part = parts.at(i).trimmed();
        const qsizetype equals = part.indexOf('=');
        if (equals < 0 || part.left(equals).trimmed().compare(name, Qt::CaseInsensitive) != 0)
            continue;
        QByteArray value = part.mid(equals + 1).trimmed();
        if (value.size() >= 2 && value.startsWith('"') && value.endsWith('"'))
            value = value.mid(1, value.size() - 2);
        return value;
    }
    return QByteArray();
}

QString HttpRequest::receivedMd5(const QByteArray &part) const
{
    return digest ? digest->result(part) : QString();
}
