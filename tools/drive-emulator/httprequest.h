// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef HTTPREQUEST_H
#define HTTPREQUEST_H

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QPair>
#include <QString>

#include <memory>

class BodyDigest;

using HttpHeaders = QList<QPair<QByteArray, QByteArray>>;

// The first header of that name, compared without regard to case; null when there is none.
QByteArray headerValue(const HttpHeaders &headers, const QByteArray &name);
// The fields of a query or of a form body by name, "+" standing for a space; the first of a
// name wins.
QHash<QString, QString> formFields(const QByteArray &text);

// One request as it came off the wire: the target split into path and query, the headers in the
// order received.
struct HttpRequest
{
    QByteArray method;
    QByteArray target;
    QByteArray path;
    QByteArray rawQuery;
    QHash<QString, QString> query; // of rawQuery
    HttpHeaders headers;
    QByteArray body;
    // Set by the connection for large bodies, which it hashes while they arrive. Declared after
    // the body so that it stops reading it before the body goes.
    std::shared_ptr<BodyDigest> digest;
    QHostAddress peer;

    QByteArray header(const QByteArray &name) const { return headerValue(headers, name); }
    // The media type of Content-Type, lower case, without parameters.
    QByteArray mediaType() const;
    // A parameter of Content-Type, such as the boundary, unquoted.
    QByteArray contentTypeParameter(const QByteArray &name) const;
    // The MD5 of part, a slice of the body (which may have been taken out of it since), when the
    // connection made it while the body arrived; empty otherwise.
    QString receivedMd5(const QByteArray &part) const;
};

#endif // HTTPREQUEST_H
