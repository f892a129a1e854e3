// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef SERVICEERROR_H
#define SERVICEERROR_H

#include "httpresponse.h"

#include <optional>

// Every error the emulated services answer with, each written once; the services and the fault
// rules take them from here.

// The Drive endpoints': {"error": {"code", "message", "errors": [{"domain", "reason",
// "message", "location", "locationType"}]}}, the location only where an input is blamed.
namespace DriveError {
enum Answer {
    BadRequest,
    ParseError,
    UserRateLimitExceeded,
    InsufficientFilePermissions,
    AppDataOnly, // what the application-data folder does not allow, such as leaving its space
    NotTrashable, // in the application-data folder
    FieldNotWritable,
    ParentsNotWritable,
    CannotAddParent,
    CannotCopyFile,
    FileNotDownloadable,
    NoSuchRoute,
    RateLimitExceeded,
    BackendError,
    InternalError,
    Unavailable,
    NotSaved, // the emulator's disk failed it
};
HttpResponse make(Answer answer);
HttpResponse invalidValue(const QString &parameter);
HttpResponse badRequest(const QString &message);
HttpResponse badContent(const QByteArray &mediaType);
HttpResponse invalidFields(const QString &selection);
HttpResponse notFound(const QString &fileId);
HttpResponse loginRequired();
HttpResponse invalidCredentials();
// A fault's answer with status: the service's usual one, or the one of this reason; none when
// the service has no such answer.
std::optional<HttpResponse> forFault(int status, const QString &reason);
} // namespace DriveError

// The token endpoint's: {"error": "<code>", "error_description": "<text>"}.
namespace TokenError {
HttpResponse invalidRequest(const QString &description);
HttpResponse invalidGrant(const QString &description = QStringLiteral("Bad Request"));
HttpResponse invalidClient(const QString &description);
HttpResponse unsupportedGrantType(const QString &grantType);
HttpResponse redirectUriMismatch();
std::optional<HttpResponse> forFault(int status, const QString &reason);
} // namespace TokenError

#endif // SERVICEERROR_H
