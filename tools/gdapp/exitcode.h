// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef EXITCODE_H
#define EXITCODE_H

// What gdapp's exit status says, so scripts can tell failures apart.
enum ExitCode {
    Success = 0,
    Failure = 1, // anything else: local files, a cancelled chooser, a refused request
    UsageError = 2, // bad command line
    NotFound = 3, // no such remote file or folder
    NotAuthorised = 4, // no authorisation, or the service refused the credentials
    ServiceError = 5, // network or service failure
    CorruptedData = 6, // downloaded content failed its checksum
};

#endif // EXITCODE_H
