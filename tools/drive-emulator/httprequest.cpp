// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "httprequest.h"

#include "bodydigest.h"

#include <QCryptographicHash>

namespace {
QString formDecode(QByteArray text)
{
    text.replace('+', ' ');
    return QString::fromUtf8(QByteArray::fromPercentEncoding(text));
}
} // namespace

QByteArray headerValue(const HttpHeaders &headers, const QByteArray &name)
{
    for (const auto &header : headers) {
        if (header.first.compare(name, Qt::CaseInsensitive) == 0)
            return header.second;
    }
    return QByteArray();
}

QueryItems parseFormEncoded(const QByteArray &text)
{
    QueryItems items;
    for (const QByteArray &pair : text.split('&')) {
        if (pair.isEmpty())
            continue;
        const qsizetype equals = pair.indexOf('=');
        if (equals < 0)
            items.append({ formDecode(pair), QString() });
        else
            items.append({ formDecode(pair.left(equals)), formDecode(pair.mid(equals + 1)) });
    }
    return items;
}

QHash<QString, QString> formFields(const QByteArray &text)
{
    QHash<QString, QString> fields;
    for (const auto &item : parseFormEncoded(text))
        fields.insert(item.first, fields.value(item.first, item.second));
    return fields;
}

QueryItems HttpRequest::queryItems() const
{
    return parseFormEncoded(rawQuery);
}

QString HttpRequest::queryValue(const QString &key) const
{
    for (const auto &item : queryItems()) {
        if (item.first == key)
            return item.second;
    }
    return QString();
}

bool HttpRequest::hasQueryItem(const QString &key) const
{
    for (const auto &item : queryItems()) {
        if (item.first == key)
            return true;
    }
    return false;
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

QString HttpRequest::md5(qsizetype start, const QByteArray &part) const
{
    const QString hashed = digest ? digest->result(start, start + part.size()) : QString();
    if (!hashed.isEmpty())
        return hashed;
    return QString::fromLatin1(QCryptographicHash::hash(part, QCryptographicHash::Md5).toHex());
}
