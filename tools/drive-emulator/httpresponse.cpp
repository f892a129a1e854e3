// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "httpresponse.h"

#include <QHash>
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
    static const QHash<int, QByteArray> phrases { { 100, "Continue" },
                                                  { 200, "OK" },
                                                  { 204, "No Content" },
                                                  { 206, "Partial Content" },
                                                  { 302, "Found" },
                                                  { 400, "Bad Request" },
                                                  { 401, "Unauthorized" },
                                                  { 403, "Forbidden" },
                                                  { 404, "Not Found" },
                                                  { 413, "Payload Too Large" },
                                                  { 416, "Range Not Satisfiable" },
                                                  { 429, "Too Many Requests" },
                                                  { 431, "Request Header Fields Too Large" },
                                                  { 500, "Internal Server Error" },
                                                  { 502, "Bad Gateway" },
                                                  { 503, "Service Unavailable" },
                                                  { 504, "Gateway Timeout" } };
    return phrases.value(status, "Unknown");
}
