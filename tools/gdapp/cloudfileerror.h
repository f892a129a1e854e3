// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef CLOUDFILEERROR_H
#define CLOUDFILEERROR_H

#include "exitcode.h"

#include <QString>

#include <optional>

class CloudFile;

// What a cloud file's last error means to gdapp's user: whether a lookup found nothing or
// failed on the way, the exit status that calls for, and the text to show.
class CloudFileError
{
public:
    explicit CloudFileError(const CloudFile &file);
    CloudFileError(int code, const QString &text);

    // The provider marks a path that did not resolve with PathNotFound, and a lookup whose
    // request failed on the way too. Only a lookup that worked leaves the text that Qt gives a
    // reply without error.
    bool isNotFound() const;
    ExitCode exitCode() const;
    // The HTTP status the service answered with, or 0 when there was none or it cannot be told.
    int httpStatus() const;
    // "reason (HTTP N, plug-in error C)": the plug-in's code is not an HTTP status, whatever
    // it looks like.
    QString describe() const;

private:
    // The reason phrase of an HTTP error ("" over HTTP/2, which has none); nothing when the
    // error was not an answer of the server.
    std::optional<QString> reasonPhrase() const;

    int m_code;
    QString m_text;
};

#endif // CLOUDFILEERROR_H
