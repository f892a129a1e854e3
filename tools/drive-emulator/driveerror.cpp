// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "driveerror.h"

#include <QJsonArray>

namespace DriveError {

HttpResponse make(int code, const QString &reason, const QString &message, const QString &location,
                  const QString &locationType, const QString &domain)
{
    QJsonObject detail { { QStringLiteral("domain"), domain },
                         { QStringLiteral("reason"), reason },
                         { QStringLiteral("message"), message } };
    if (!location.isEmpty()) {
        detail.insert(QStringLiteral("location"), location);
        detail.insert(QStringLiteral("locationType"), locationType);
    }
    const QJsonObject error { { QStringLiteral("code"), code },
                              { QStringLiteral("message"), message },
                              { QStringLiteral("errors"), QJsonArray { detail } } };
    return HttpResponse::json(code, { { QStringLiteral("error"), error } });
}

HttpResponse invalidValue(const QString &parameter)
{
    return make(400, QStringLiteral("invalid"), QStringLiteral("Invalid Value"), parameter,
                QStringLiteral("parameter"));
}

HttpResponse badRequest(const QString &message)
{
    return make(400, QStringLiteral("badRequest"), message);
}

HttpResponse notFound(const QString &fileId)
{
    return make(404, QStringLiteral("notFound"), QStringLiteral("File not found: %1.").arg(fileId),
                QStringLiteral("fileId"), QStringLiteral("parameter"));
}

namespace {
HttpResponse unauthenticated(const QString &reason, const QString &detailMessage,
                             const QString &topMessage, bool invalidToken)
{
    // The top-level message and status differ from the detail for authentication errors.
    const QJsonObject error {
        { QStringLiteral("code"), 401 },
        { QStringLiteral("message"), topMessage },
        { QStringLiteral("status"), QStringLiteral("UNAUTHENTICATED") },
        { QStringLiteral("errors"),
          QJsonArray {
                  QJsonObject { { QStringLiteral("domain"), QStringLiteral("global") },
                                { QStringLiteral("reason"), reason },
                                { QStringLiteral("message"), detailMessage },
                                { QStringLiteral("location"), QStringLiteral("Authorization") },
                                { QStringLiteral("locationType"), QStringLiteral("header") } } } },
    };
    HttpResponse response = HttpResponse::json(401, { { QStringLiteral("error"), error } });
    response.setHeader("WWW-Authenticate",
                       invalidToken ? "Bearer realm=\"emulator\", error=\"invalid_token\""
                                    : "Bearer realm=\"emulator\"");
    return response;
}
} // namespace

HttpResponse loginRequired()
{
    return unauthenticated(
            QStringLiteral("required"), QStringLiteral("Login Required."),
            QStringLiteral(
                    "Request is missing required authentication credential. Expected OAuth "
                    "2 access token, login cookie or other valid authentication credential."),
            false);
}

HttpResponse invalidCredentials()
{
    return unauthenticated(
            QStringLiteral("authError"), QStringLiteral("Invalid Credentials"),
            QStringLiteral("Request had invalid authentication credentials. Expected OAuth 2 "
                           "access token, login cookie or other valid authentication credential."),
            true);
}

HttpResponse forStatus(int status)
{
    switch (status) {
    case 400:
        return badRequest(QStringLiteral("Bad Request"));
    case 401:
        return invalidCredentials();
    case 403:
        return make(403, QStringLiteral("userRateLimitExceeded"),
                    QStringLiteral("User rate limit exceeded."), QString(), QString(),
                    QStringLiteral("usageLimits"));
    case 404:
        return notFound(QString());
    case 429:
        return make(429, QStringLiteral("rateLimitExceeded"), QStringLiteral("Rate Limit Exceeded"),
                    QString(), QString(), QStringLiteral("usageLimits"));
    case 503:
        return make(503, QStringLiteral("backendError"),
                    QStringLiteral("The service is currently unavailable."));
    default:
        if (status >= 500)
            return make(status, QStringLiteral("backendError"), QStringLiteral("Backend Error"));
        return make(status, QStringLiteral("error"),
                    QString::fromLatin1(HttpResponse::reasonPhrase(status)));
    }
}

} // namespace DriveError
