// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef FAULTRULE_H
#define FAULTRULE_H

#include "httprequest.h"

#include <QJsonObject>
#include <QList>

#include <optional>

// Makes chosen requests fail on purpose. A rule matches a method and a path (with "*" as a
// wildcard, and optionally text the raw query must contain) and applies to the next count
// matching requests (-1: all of them). A throttle is taken as soon as a request's head arrives,
// to read its body slowly; every other rule once the whole request is in.
struct FaultRule
{
    // ShortPage: a listing answers with half the entries its page would hold, and a
    // nextPageToken for the rest, as the service may.
    enum Action { Answer, Drop, Truncate, Corrupt, Chunked, Throttle, ShortPage };

    QString method; // empty: any
    QString path = QStringLiteral("*");
    QString query; // text the raw query contains
    qint64 count = 1;
    qint64 status = 0; // answer with this error instead of serving the request
    QString reason; // with status: which of the service's errors (default: its usual one)
    qint64 delayMs = 0; // wait before answering
    Action action = Answer;
    qint64 truncateAt = -1; // Truncate: body bytes sent (-1: half of them)
    qint64 bytesPerSecond = 0; // Throttle: how fast the request's body is read
    QString body; // with status: this body instead of the usual error
    QString contentType;

    bool matches(const HttpRequest &request) const;
    QJsonObject toJson() const;
    static std::optional<FaultRule> fromJson(const QJsonObject &object, QString *error);
    // "method=GET,path=/drive/v3/files/*,status=500,count=2" and the like.
    static std::optional<FaultRule> fromText(const QString &text, QString *error);
    // The first of rules that a whole request matches (throttle: that its head matches), counted
    // as used; throttles are taken only so, other rules only whole.
    static std::optional<FaultRule> take(QList<FaultRule> &rules, const HttpRequest &request,
                                         bool throttle);
};

#endif // FAULTRULE_H
