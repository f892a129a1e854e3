// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef HTTPREQUEST_H
#define HTTPREQUEST_H

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QPair>
#include <QString>

#include <memory>

class BodyDigest;

using HttpHeaders = QList<QPair<QByteArray, QByteArray>>;
using QueryItems = QList<QPair<QString, QString>>;

// One request as it came off the wire: the target split into path and raw query, the headers
// in the order received.
struct HttpRequest
{
    QByteArray method;
    QByteArray target;
    QByteArray path;
    QByteArray rawQuery;
    bool hasQuery = false;
    QByteArray version;
    HttpHeaders headers;
    QByteArray body;
    // Hashes part of the body while it arrives, for the requests that want it. Declared after
    // the body so that it stops reading it before the body goes.
    std::shared_ptr<BodyDigest> digest;
    QHostAddress peer;

    // The first header of that name, compared without regard to case.
    QByteArray header(const QByteArray &name) const;
    bool hasHeader(const QByteArray &name) const;
    QString decodedPath() const;
    // Form decoding: "+" is a space, empty pairs are skipped.
    QueryItems queryItems() const;
    QString queryValue(const QString &key) const;
    bool hasQueryItem(const QString &key) const;
    // The media type of Content-Type, lower case, without parameters.
    QByteArray mediaType() const;
    // A parameter of Content-Type, such as the boundary, unquoted.
    QByteArray contentTypeParameter(const QByteArray &name) const;
};

// Form-urlencoded text to pairs.
QueryItems parseFormEncoded(const QByteArray &text);

#endif // HTTPREQUEST_H
