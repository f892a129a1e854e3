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

HttpResponse HttpResponse::make(int status, const QByteArray &type, const QByteArray &body)
{
    HttpResponse response;
    response.status = status;
    if (!type.isEmpty())
        response.setHeader("Content-Type", type);
    response.body = body;
    return response;
}

HttpResponse HttpResponse::json(int status, const QJsonObject &object)
{
    return make(status, "application/json; charset=UTF-8",
                QJsonDocument(object).toJson(QJsonDocument::Indented));
}

QByteArray HttpResponse::reasonPhrase(int status)
{
    static const QHash<int, QByteArray> phrases { { 200, "OK" },
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
