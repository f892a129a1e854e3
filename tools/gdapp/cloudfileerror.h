// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef CLOUDFILEERROR_H
#define CLOUDFILEERROR_H

#include "exitcode.h"

#include <QString>

class CloudFile;

// What a cloud file's last error means to gdapp's user: whether a lookup found nothing or
// failed on the way, the exit status that calls for, and the text to show.
class CloudFileError
{
public:
    explicit CloudFileError(const CloudFile &file);

    // The provider marks a path that did not resolve with PathNotFound, and a lookup whose
    // request failed on the way too. Only a lookup that worked leaves the text that Qt gives a
    // reply without error.
    bool isNotFound() const;
    ExitCode exitCode() const;
    // "reason [error N]", with the service's text as it came.
    QString describe() const;

private:
    int m_code;
    QString m_text;
};

#endif // CLOUDFILEERROR_H
