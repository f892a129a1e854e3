// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef HTTPRESPONSE_H
#define HTTPRESPONSE_H

#include "httprequest.h"

#include <QJsonObject>

// An answer, with the ways a test may ask for it to go wrong on the wire.
struct HttpResponse
{
    int status = 200;
    HttpHeaders headers;
    QByteArray body;

    int delayMs = 0; // wait before answering
    // Send the full Content-Length but only this many body bytes, then close (-1: all of them).
    qint64 truncateAt = -1;
    bool drop = false; // close the connection without answering
    bool chunked = false; // send the body chunked, without a Content-Length

    void setHeader(const QByteArray &name, const QByteArray &value);

    // A body of that type, if any.
    static HttpResponse make(int status, const QByteArray &type = QByteArray(),
                             const QByteArray &body = QByteArray());
    static HttpResponse json(int status, const QJsonObject &object);
    static QByteArray reasonPhrase(int status);
};

#endif // HTTPRESPONSE_H
