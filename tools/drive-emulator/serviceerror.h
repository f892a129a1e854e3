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
    InvalidValue, // of the parameter given
    InvalidFields, // the selection, or the key of it, given
    BadContent, // of the media type given
    MalformedMultipart, // for the reason given
    NotAFolder, // the parent named
    MovedIntoItself,
    FolderTypeChanged,
    CannotHoldContent,
    InvalidCredentials,
    LoginRequired,
    UserRateLimitExceeded,
    InsufficientFilePermissions,
    AppDataOnly, // what the application-data folder does not allow, such as leaving its space
    NotTrashable, // in the application-data folder
    FieldNotWritable,
    ParentsNotWritable,
    CannotAddParent,
    CannotCopyFile,
    FileNotDownloadable,
    NotFound, // the file identifier given
    NoSuchRoute,
    RateLimitExceeded,
    BackendError,
    InternalError,
    Unavailable,
    NotSaved, // the emulator's disk failed it
};
// The answer, with what the comments above say is given in argument.
HttpResponse make(Answer answer, const QString &argument = QString());
// A fault's answer with status: the service's usual one, or the one of this reason; none when
// the service has no such answer.
std::optional<HttpResponse> forFault(int status, const QString &reason);
} // namespace DriveError

// The token endpoint's: {"error": "<code>", "error_description": "<text>"}.
namespace TokenError {
enum Code {
    InvalidGrant,
    InvalidRequest,
    InvalidClient,
    UnsupportedGrantType,
    RedirectUriMismatch
};
HttpResponse make(Code code, const QString &description = QStringLiteral("Bad Request"));
std::optional<HttpResponse> forFault(int status, const QString &reason);
} // namespace TokenError

#endif // SERVICEERROR_H
