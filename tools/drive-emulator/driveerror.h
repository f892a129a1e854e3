// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef DRIVEERROR_H
#define DRIVEERROR_H

#include "httpresponse.h"

// Error answers in the service's JSON shape:
// {"error": {"code", "message", "errors": [{"domain", "reason", "message", ...}]}}
namespace DriveError {
HttpResponse make(int code, const QString &reason, const QString &message,
                  const QString &location = QString(), const QString &locationType = QString(),
                  const QString &domain = QStringLiteral("global"));
HttpResponse invalidValue(const QString &parameter);
HttpResponse badRequest(const QString &message);
HttpResponse notFound(const QString &fileId);
HttpResponse loginRequired();
HttpResponse invalidCredentials();
HttpResponse forStatus(int status);
} // namespace DriveError

#endif // DRIVEERROR_H
