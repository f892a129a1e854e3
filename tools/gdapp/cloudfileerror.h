// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef CLOUDFILEERROR_H
#define CLOUDFILEERROR_H

#include "exchangefailure.h"
#include "exitcode.h"

#include <QString>

class CloudFile;

// What a cloud file's last error means to gdapp's user: whether a lookup found nothing or
// failed on the way, the exit status that calls for, and the text to show.
//
// The plug-in keeps a failed reply's text but not always its code (its lookups put their own in
// its place), so the HTTP status is taken from the exchange that failed, as the host saw it,
// when that exchange is the one the text comes from.
class CloudFileError
{
public:
    explicit CloudFileError(const CloudFile &file,
                            const ExchangeFailure &lastFailure = ExchangeFailure());
    CloudFileError(int code, const QString &text,
                   const ExchangeFailure &lastFailure = ExchangeFailure());

    // The provider marks a path that did not resolve with PathNotFound, and a lookup whose
    // request failed on the way too. Only a lookup that worked leaves the text that Qt gives a
    // reply without error.
    bool isNotFound() const;
    ExitCode exitCode() const;
    // The HTTP error status the service answered with, or 0 when there was none.
    int httpStatus() const { return m_exchange.httpStatus(); }
    // "server replied: Bad Request (HTTP 400, plug-in error 403)", "cannot reach the service:
    // Connection refused", "reason (plug-in error C)": the plug-in's code is not an HTTP status,
    // whatever it looks like.
    QString describe() const;

private:
    int m_code;
    QString m_text;
    ExchangeFailure m_exchange; // the failure that explains the error, or none
};

#endif // CLOUDFILEERROR_H
