// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef EXITCODE_H
#define EXITCODE_H

#include <QString>

// What gdapp's exit status says, so scripts can tell failures apart. What each one means is
// written once, in exitcode.cpp.
enum class ExitCode {
    Success = 0,
    Failure = 1,
    UsageError = 2,
    NotFound = 3,
    NotAuthorised = 4,
    ServiceError = 5,
    CorruptedData = 6,
};

// Every exit status with what it means, as the help lists them: "0 done, 1 failed, ...".
QString exitStatusSummary();

#endif // EXITCODE_H
