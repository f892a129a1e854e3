// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "serviceerror.h"

#include <QJsonArray>

#include <iterator>

namespace {
struct Catalogued
{
    int status;
    const char *reason;
    const char *message;
    const char *location; // the input blamed, if any
};

// In the order of DriveError::Answer, "%1" standing for the argument; the first of a status is a
// fault's usual answer.
const Catalogued Catalogue[] = {
    { 400, "badRequest", "Bad Request", nullptr },
    { 400, "parseError", "Parse Error", nullptr },
    { 400, "invalid", "Invalid Value", "%1" },
    { 400, "invalidParameter", "Invalid field selection %1", "fields" },
    { 400, "badContent", "Unsupported content with type: %1", nullptr },
    { 400, "badRequest", "Malformed multipart body: %1", nullptr },
    { 400, "badRequest", "The specified parent is not a folder.", nullptr },
    { 400, "badRequest", "A folder cannot be moved into itself.", nullptr },
    { 400, "badRequest", "A folder cannot change its type.", nullptr },
    { 400, "badRequest", "This type of file cannot hold content.", nullptr },
    { 401, "authError", "Invalid Credentials", "Authorization" },
    { 401, "required", "Login Required.", "Authorization" },
    { 403, "userRateLimitExceeded", "User rate limit exceeded.", nullptr },
    { 403, "insufficientFilePermissions",
      "The user does not have sufficient permissions for this file.", nullptr },
    { 403, "notSupportedForAppDataFolderFiles",
      "Method not supported for files within the Application Data folder.", nullptr },
    { 403, "notSupportedForAppDataFolderFiles",
      "Files within the Application Data folder cannot be trashed.", nullptr },
    { 403, "fieldNotWritable", "The resource body includes fields which are not directly writable.",
      nullptr },
    { 403, "fieldNotWritable",
      "The parents field is not directly writable in update requests. Use the addParents and "
      "removeParents parameters instead.",
      nullptr },
    { 403, "cannotAddParent", "Increasing the number of parents is not allowed", nullptr },
    { 403, "cannotCopyFile", "This file cannot be copied by the user.", nullptr },
    { 403, "fileNotDownloadable",
      "Only files with binary content can be downloaded. Use Export with Docs Editors files.",
      "alt" },
    { 404, "notFound", "File not found: %1.", "fileId" },
    { 404, "notFound", "Not Found", nullptr },
    { 429, "rateLimitExceeded", "Rate Limit Exceeded", nullptr },
    { 500, "backendError", "Backend Error", nullptr },
    { 500, "internalError", "Internal Error", nullptr },
    { 503, "backendError", "The service is currently unavailable.", nullptr },
    { 500, "backendError", "The emulator could not save the change.", nullptr },
};
static_assert(std::size(Catalogue) == DriveError::NotSaved + 1, "a row for each answer");

QString filled(const char *text, const QString &argument)
{
    const QString pattern = QString::fromUtf8(text);
    return pattern.contains(QLatin1String("%1")) ? pattern.arg(argument) : pattern;
}

QJsonObject driveError(int status, const QString &reason, const QString &message,
                       const QString &location = QString())
{
    const bool usage = reason.endsWith(QLatin1String("RateLimitExceeded"), Qt::CaseInsensitive);
    QJsonObject first { { QStringLiteral("domain"),
                          usage ? QStringLiteral("usageLimits") : QStringLiteral("global") },
                        { QStringLiteral("reason"), reason },
                        { QStringLiteral("message"), message } };
    if (!location.isEmpty()) {
        first.insert(QStringLiteral("location"), location);
        first.insert(QStringLiteral("locationType"),
                     status == 401 ? QStringLiteral("header") : QStringLiteral("parameter"));
    }
    return { { QStringLiteral("code"), status },
             { QStringLiteral("message"), message },
             { QStringLiteral("errors"), QJsonArray { first } } };
}

// Authentication errors come from the front end: another top message, a status, the header.
HttpResponse unauthenticated(QJsonObject error, bool missing)
{
    error.insert(QStringLiteral("message"),
                 QLatin1String(missing ? "Request is missing required authentication credential."
                                       : "Request had invalid authentication credentials.")
                         + QLatin1String(" Expected OAuth 2 access token, login cookie or other "
                                         "valid authentication credential. See "
                                         "https://developers.google.com/identity/sign-in/web/"
                                         "devconsole-project."));
    error.insert(QStringLiteral("status"), QStringLiteral("UNAUTHENTICATED"));
    if (missing)
        error.insert(QStringLiteral("details"),
                     QJsonArray { QJsonObject {
                             { QStringLiteral("@type"),
                               QStringLiteral("type.googleapis.com/google.rpc.ErrorInfo") },
                             { QStringLiteral("reason"), QStringLiteral("CREDENTIALS_MISSING") },
                             { QStringLiteral("domain"), QStringLiteral("googleapis.com") } } });
    HttpResponse response = HttpResponse::json(401, { { QStringLiteral("error"), error } });
    response.setHeader("WWW-Authenticate",
                       missing ? "Bearer realm=\"emulator\""
                               : "Bearer realm=\"emulator\", error=\"invalid_token\"");
    return response;
}

HttpResponse tokenError(int status, const QString &error, const QString &description)
{
    return HttpResponse::json(status,
                              { { QStringLiteral("error"), error },
                                { QStringLiteral("error_description"), description } });
}
} // namespace

namespace DriveError {
HttpResponse make(Answer answer, const QString &argument)
{
    const Catalogued &entry = Catalogue[answer];
    const QJsonObject error =
            driveError(entry.status, QLatin1String(entry.reason), filled(entry.message, argument),
                       entry.location ? filled(entry.location, argument) : QString());
    if (entry.status == 401)
        return unauthenticated(error, answer == LoginRequired);
    return HttpResponse::json(entry.status, { { QStringLiteral("error"), error } });
}

std::optional<HttpResponse> forFault(int status, const QString &reason)
{
    for (int answer = 0; answer < int(std::size(Catalogue)); ++answer) {
        if (Catalogue[answer].status == status
            && (reason.isEmpty() || reason == QLatin1String(Catalogue[answer].reason)))
            return make(Answer(answer));
    }
    // A status the service has no answer of its own for.
    const QString generic =
            status >= 500 ? QStringLiteral("backendError") : QStringLiteral("error");
    if (!reason.isEmpty() && reason != generic)
        return std::nullopt;
    const QString message = status >= 500 ? QStringLiteral("Backend Error")
                                          : QString::fromLatin1(HttpResponse::reasonPhrase(status));
    return HttpResponse::json(
            status, { { QStringLiteral("error"), driveError(status, generic, message) } });
}
} // namespace DriveError

namespace TokenError {
HttpResponse make(Code code, const QString &description)
{
    static const char *const Codes[] = { "invalid_grant", "invalid_request", "invalid_client",
                                         "unsupported_grant_type", "redirect_uri_mismatch" };
    return tokenError(code == InvalidClient ? 401 : 400, QLatin1String(Codes[code]), description);
}

std::optional<HttpResponse> forFault(int status, const QString &reason)
{
    const QString error = QLatin1String(status == 400           ? "invalid_grant"
                                                : status == 401 ? "invalid_client"
                                                                : "server_error");
    if (!reason.isEmpty() && reason != error)
        return std::nullopt;
    return tokenError(status, error, QString::fromLatin1(HttpResponse::reasonPhrase(status)));
}
} // namespace TokenError
