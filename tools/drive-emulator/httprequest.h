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
using QueryItems = QList<QPair<QString, QString>>;

// The first header of that name, compared without regard to case; null when there is none.
QByteArray headerValue(const HttpHeaders &headers, const QByteArray &name);
// Form-urlencoded text to pairs: "+" is a space, empty pairs are skipped.
QueryItems parseFormEncoded(const QByteArray &text);
// The same by name, the first of a name winning.
QHash<QString, QString> formFields(const QByteArray &text);

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
    // Set by the connection for large bodies, which it hashes while they arrive. Declared after
    // the body so that it stops reading it before the body goes.
    std::shared_ptr<BodyDigest> digest;
    QHostAddress peer;

    QByteArray header(const QByteArray &name) const { return headerValue(headers, name); }
    QueryItems queryItems() const;
    QString queryValue(const QString &key) const;
    bool hasQueryItem(const QString &key) const;
    // The media type of Content-Type, lower case, without parameters.
    QByteArray mediaType() const;
    // A parameter of Content-Type, such as the boundary, unquoted.
    QByteArray contentTypeParameter(const QByteArray &name) const;
    // The MD5, in lower-case hex, of part, which began at start in the body as received (it may
    // have been taken out of the body since): hashed already when the body arrived, or now.
    QString md5(qsizetype start, const QByteArray &part) const;
};

#endif // HTTPREQUEST_H
