// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "httprequest.h"

#include <QUrl>

namespace {
QString formDecode(QByteArray text)
{
    text.replace('+', ' ');
    return QString::fromUtf8(QByteArray::fromPercentEncoding(text));
}
} // namespace

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

QByteArray HttpRequest::header(const QByteArray &name) const
{
    for (const auto &header : headers) {
        if (header.first.compare(name, Qt::CaseInsensitive) == 0)
            return header.second;
    }
    return QByteArray();
}

bool HttpRequest::hasHeader(const QByteArray &name) const
{
    for (const auto &header : headers) {
        if (header.first.compare(name, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

QString HttpRequest::decodedPath() const
{
    return QString::fromUtf8(QByteArray::fromPercentEncoding(path));
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
