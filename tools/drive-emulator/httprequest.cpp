// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "httprequest.h"

#include "bodydigest.h"

#include <QRegularExpression>
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
    return header("Content-Type").split(';').first().trimmed().toLower();
}

QByteArray HttpRequest::contentTypeParameter(const QByteArray &name) const
{
    const QRegularExpression parameter(
            QStringLiteral(";\\s*%1\\s*=\\s*(\"([^\"]*)\"|[^;\\s]*)")
                    .arg(QRegularExpression::escape(QString::fromLatin1(name))),
            QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match =
            parameter.match(QString::fromLatin1(header("Content-Type")));
    return match.captured(match.hasCaptured(2) ? 2 : 1).toLatin1();
}

QString HttpRequest::receivedMd5(const QByteArray &part) const
{
    return digest ? digest->result(part) : QString();
}
