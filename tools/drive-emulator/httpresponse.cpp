// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "httpresponse.h"

#include <QJsonDocument>

void HttpResponse::setHeader(const QByteArray &name, const QByteArray &value)
{
    for (auto &header : headers) {
        if (header.first.compare(name, Qt::CaseInsensitive) == 0) {
            header.second = value;
            return;
        }
    }
    headers.append({ name, value });
}

QByteArray HttpResponse::header(const QByteArray &name) const
{
    for (const auto &header : headers) {
        if (header.first.compare(name, Qt::CaseInsensitive) == 0)
            return header.second;
    }
    return QByteArray();
}

HttpResponse HttpResponse::json(int status, const QJsonObject &object)
{
    HttpResponse response;
    response.status = status;
    response.setHeader("Content-Type", "application/json; charset=UTF-8");
    response.body = QJsonDocument(object).toJson(QJsonDocument::Indented);
    return response;
}

HttpResponse HttpResponse::html(int status, const QByteArray &page)
{
    HttpResponse response;
    response.status = status;
    response.setHeader("Content-Type", "text/html; charset=utf-8");
    response.body = page;
    return response;
}

HttpResponse HttpResponse::redirect(const QByteArray &location)
{
    HttpResponse response;
    response.status = 302;
    response.setHeader("Location", location);
    response.setHeader("Content-Type", "text/html; charset=utf-8");
    const QByteArray escaped = QString::fromUtf8(location).toHtmlEscaped().toUtf8();
    response.body = "<html><body>Moved <a href=\"" + escaped + "\">here</a>.</body></html>\n";
    return response;
}

HttpResponse HttpResponse::empty(int status)
{
    HttpResponse response;
    response.status = status;
    return response;
}

QByteArray HttpResponse::reasonPhrase(int status)
{
    switch (status) {
    case 100:
        return "Continue";
    case 200:
        return "OK";
    case 201:
        return "Created";
    case 204:
        return "No Content";
    case 206:
        return "Partial Content";
    case 302:
        return "Found";
    case 304:
        return "Not Modified";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 408:
        return "Request Timeout";
    case 411:
        return "Length Required";
    case 413:
        return "Payload Too Large";
    case 416:
        return "Range Not Satisfiable";
    case 429:
        return "Too Many Requests";
    case 431:
        return "Request Header Fields Too Large";
    case 500:
        return "Internal Server Error";
    case 501:
        return "Not Implemented";
    case 502:
        return "Bad Gateway";
    case 503:
        return "Service Unavailable";
    case 504:
        return "Gateway Timeout";
    default:
        return "Unknown";
    }
}
