// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "serviceerror.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {
struct Catalogued
{
    int status;
    const char *reason;
    const char *message;
    const char *location; // the parameter blamed, if any
};

// In the order of DriveError::Answer; the first of a status is a fault's usual answer.
const Catalogued Catalogue[] = {
    { 400, "badRequest", "Bad Request", nullptr },
    { 400, "parseError", "Parse Error", nullptr },
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
    { 404, "notFound", "Not Found", nullptr },
    { 429, "rateLimitExceeded", "Rate Limit Exceeded", nullptr },
    { 500, "backendError", "Backend Error", nullptr },
    { 500, "internalError", "Internal Error", nullptr },
    { 503, "backendError", "The service is currently unavailable.", nullptr },
    { 500, "backendError", "The emulator could not save the change.", nullptr },
};

QJsonObject merged(QJsonObject object, const QJsonObject &more)
{
    for (auto it = more.begin(); it != more.end(); ++it)
        object.insert(it.key(), it.value());
    return object;
}

QJsonObject at(const QString &location, const QString &type = QStringLiteral("parameter"))
{
    return { { QStringLiteral("location"), location }, { QStringLiteral("locationType"), type } };
}

HttpResponse driveError(int code, const QString &reason, const QString &message,
                        const QJsonObject &detail = {}, const QJsonObject &error = {})
{
    const bool usage = reason.endsWith(QLatin1String("RateLimitExceeded"), Qt::CaseInsensitive);
    const QJsonObject first { { QStringLiteral("domain"),
                                usage ? QStringLiteral("usageLimits") : QStringLiteral("global") },
                              { QStringLiteral("reason"), reason },
                              { QStringLiteral("message"), message } };
    const QJsonObject body { { QStringLiteral("code"), code },
                             { QStringLiteral("message"), message },
                             { QStringLiteral("errors"), QJsonArray { merged(first, detail) } } };
    return HttpResponse::json(code, { { QStringLiteral("error"), merged(body, error) } });
}

// Authentication errors come from the front end: another top message, a status, the header.
HttpResponse unauthenticated(const QString &reason, const QString &message, const QString &top,
                             const QJsonObject &more = {})
{
    const QJsonObject error { { QStringLiteral("message"),
                                top
                                        + QStringLiteral(
                                                " See https://developers.google.com/"
                                                "identity/sign-in/web/devconsole-project.") },
                              { QStringLiteral("status"), QStringLiteral("UNAUTHENTICATED") } };
    HttpResponse response = driveError(
            401, reason, message, at(QStringLiteral("Authorization"), QStringLiteral("header")),
            merged(error, more));
    response.setHeader("WWW-Authenticate", "Bearer realm=\"emulator\", error=\"invalid_token\"");
    return response;
}

QString reasonOf(const HttpResponse &answer)
{
    const QJsonValue error = QJsonDocument::fromJson(answer.body)[QLatin1String("error")];
    return error.isString() ? error.toString()
                            : error[QLatin1String("errors")][0][QLatin1String("reason")].toString();
}

std::optional<HttpResponse> withReason(const QList<HttpResponse> &answers, const QString &reason)
{
    for (const HttpResponse &answer : answers) {
        if (reason.isEmpty() || reasonOf(answer) == reason)
            return answer;
    }
    return std::nullopt;
}

HttpResponse tokenError(int status, const QString &error, const QString &description)
{
    return HttpResponse::json(status,
                              { { QStringLiteral("error"), error },
                                { QStringLiteral("error_description"), description } });
}
} // namespace

namespace DriveError {
HttpResponse make(Answer answer)
{
    const Catalogued &entry = Catalogue[answer];
    return driveError(entry.status, QLatin1String(entry.reason), QLatin1String(entry.message),
                      entry.location ? at(QLatin1String(entry.location)) : QJsonObject());
}

HttpResponse invalidValue(const QString &parameter)
{
    return driveError(400, QStringLiteral("invalid"), QStringLiteral("Invalid Value"),
                      at(parameter));
}

HttpResponse badRequest(const QString &message)
{
    return driveError(400, QStringLiteral("badRequest"), message);
}

HttpResponse badContent(const QByteArray &mediaType)
{
    return driveError(400, QStringLiteral("badContent"),
                      QStringLiteral("Unsupported content with type: ")
                              + QString::fromUtf8(mediaType));
}

HttpResponse invalidFields(const QString &selection)
{
    return driveError(400, QStringLiteral("invalidParameter"),
                      QStringLiteral("Invalid field selection ") + selection,
                      at(QStringLiteral("fields")));
}

HttpResponse notFound(const QString &fileId)
{
    return driveError(404, QStringLiteral("notFound"),
                      QStringLiteral("File not found: %1.").arg(fileId),
                      at(QStringLiteral("fileId")));
}

HttpResponse loginRequired()
{
    const QJsonObject missing { { QStringLiteral("@type"),
                                  QStringLiteral("type.googleapis.com/google.rpc.ErrorInfo") },
                                { QStringLiteral("reason"), QStringLiteral("CREDENTIALS_MISSING") },
                                { QStringLiteral("domain"), QStringLiteral("googleapis.com") } };
    HttpResponse response = unauthenticated(
            QStringLiteral("required"), QStringLiteral("Login Required."),
            QStringLiteral("Request is missing required authentication credential. Expected OAuth "
                           "2 access token, login cookie or other valid authentication "
                           "credential."),
            { { QStringLiteral("details"), QJsonArray { missing } } });
    response.setHeader("WWW-Authenticate", "Bearer realm=\"emulator\"");
    return response;
}

HttpResponse invalidCredentials()
{
    return unauthenticated(
            QStringLiteral("authError"), QStringLiteral("Invalid Credentials"),
            QStringLiteral("Request had invalid authentication credentials. Expected OAuth 2 "
                           "access token, login cookie or other valid authentication credential."));
}

std::optional<HttpResponse> forFault(int status, const QString &reason)
{
    QList<HttpResponse> answers;
    if (status == 401)
        answers = { invalidCredentials(), loginRequired() };
    if (status == 404)
        answers = { notFound(QString()) };
    for (int answer = 0; answer < NotSaved; ++answer) {
        if (Catalogue[answer].status == status)
            answers.append(make(Answer(answer)));
    }
    if (answers.isEmpty())
        answers = { status >= 500
                            ? driveError(status, QStringLiteral("backendError"),
                                         QStringLiteral("Backend Error"))
                            : driveError(status, QStringLiteral("error"),
                                         QString::fromLatin1(HttpResponse::reasonPhrase(status))) };
    return withReason(answers, reason);
}
} // namespace DriveError

namespace TokenError {
HttpResponse invalidRequest(const QString &description)
{
    return tokenError(400, QStringLiteral("invalid_request"), description);
}

HttpResponse invalidGrant(const QString &description)
{
    return tokenError(400, QStringLiteral("invalid_grant"), description);
}

HttpResponse invalidClient(const QString &description)
{
    return tokenError(401, QStringLiteral("invalid_client"), description);
}

HttpResponse unsupportedGrantType(const QString &grantType)
{
    return tokenError(400, QStringLiteral("unsupported_grant_type"),
                      QStringLiteral("Invalid grant_type: ") + grantType);
}

HttpResponse redirectUriMismatch()
{
    return tokenError(400, QStringLiteral("redirect_uri_mismatch"), QStringLiteral("Bad Request"));
}

std::optional<HttpResponse> forFault(int status, const QString &reason)
{
    if (status == 400)
        return withReason({ invalidGrant() }, reason);
    if (status == 401)
        return withReason({ invalidClient(QStringLiteral("Unauthorized")) }, reason);
    return withReason({ tokenError(status, QStringLiteral("server_error"),
                                   QString::fromLatin1(HttpResponse::reasonPhrase(status))) },
                      reason);
}
} // namespace TokenError
