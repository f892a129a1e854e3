// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "cloudfileerror.h"

#include "cloudcodes.h"
#include "cloudfile.h"

#include <QCoreApplication>
#include <QNetworkReply>

#include <utility>

namespace {
// The reason phrases of the statuses that the service answers with.
const std::pair<int, const char *> Statuses[] = {
    { 400, "Bad Request" },
    { 401, "Unauthorized" },
    { 403, "Forbidden" },
    { 404, "Not Found" },
    { 405, "Method Not Allowed" },
    { 408, "Request Timeout" },
    { 409, "Conflict" },
    { 410, "Gone" },
    { 411, "Length Required" },
    { 412, "Precondition Failed" },
    { 413, "Payload Too Large" },
    { 413, "Request Entity Too Large" },
    { 416, "Range Not Satisfiable" },
    { 429, "Too Many Requests" },
    { 500, "Internal Server Error" },
    { 501, "Not Implemented" },
    { 502, "Bad Gateway" },
    { 503, "Service Unavailable" },
    { 504, "Gateway Timeout" },
};

// The statuses that Qt gives a code of their own. ServiceUnavailableError is not among them:
// the plug-in reports a path that did not resolve with the same value.
const std::pair<int, int> StatusOfCode[] = {
    { QNetworkReply::ProtocolInvalidOperationError, 400 },
    { QNetworkReply::AuthenticationRequiredError, 401 },
    { QNetworkReply::ContentAccessDenied, 403 },
    { QNetworkReply::ContentNotFoundError, 404 },
    { QNetworkReply::ContentOperationNotPermittedError, 405 },
    { QNetworkReply::ContentConflictError, 409 },
    { QNetworkReply::ContentGoneError, 410 },
    { QNetworkReply::InternalServerError, 500 },
    { QNetworkReply::OperationNotImplementedError, 501 },
};

QString phraseOf(int status)
{
    for (const auto &[known, text] : Statuses) {
        if (known == status)
            return QLatin1String(text);
    }
    return QString();
}
} // namespace

CloudFileError::CloudFileError(const CloudFile &file)
    : CloudFileError(file.errorCode(), file.errorString())
{
}

CloudFileError::CloudFileError(int code, const QString &text) : m_code(code), m_text(text) { }

bool CloudFileError::isNotFound() const
{
    return m_code == Cloud::PathNotFound && m_text == QIODevice::tr("Unknown error");
}

ExitCode CloudFileError::exitCode() const
{
    if (isNotFound())
        return NotFound;
    switch (m_code) {
    case QNetworkReply::NoError:
        return Failure; // the provider refused without asking the service
    case QNetworkReply::ContentNotFoundError:
        return NotFound;
    case QNetworkReply::AuthenticationRequiredError:
        return NotAuthorised;
    case Cloud::CorruptedData:
        return CorruptedData;
    default:
        return ServiceError;
    }
}

// Qt words an HTTP error as this text, in the user's language when its catalogue is there.
std::optional<QString> CloudFileError::reasonPhrase() const
{
    const QString pattern = QCoreApplication::translate(
            "QNetworkReply", "Error transferring %1 - server replied: %2");
    const QString before = pattern.section(QLatin1String("%1"), 0, 0);
    const QString between =
            pattern.section(QLatin1String("%1"), 1).section(QLatin1String("%2"), 0, 0);
    const QString after = pattern.section(QLatin1String("%2"), 1);
    const qsizetype at = m_text.lastIndexOf(between);
    if (at < before.size() || !m_text.startsWith(before) || !m_text.endsWith(after))
        return std::nullopt;
    const qsizetype phrase = at + between.size();
    return m_text.mid(phrase, m_text.size() - after.size() - phrase);
}

int CloudFileError::httpStatus() const
{
    const std::optional<QString> phrase = reasonPhrase();
    if (!phrase)
        return 0;
    for (const auto &[status, text] : Statuses) {
        if (*phrase == QLatin1String(text))
            return status;
    }
    // Over HTTP/2 there is no phrase, but Qt's code tells most statuses.
    for (const auto &[code, status] : StatusOfCode) {
        if (code == m_code)
            return status;
    }
    return 0;
}

QString CloudFileError::describe() const
{
    const QString code = QStringLiteral("plug-in error %1").arg(m_code);
    if (isNotFound())
        return QStringLiteral("no such file or folder (%1)").arg(code);
    const std::optional<QString> phrase = reasonPhrase();
    if (!phrase)
        return QStringLiteral("%1 (%2)").arg(m_text, code);
    const int status = httpStatus();
    const QString shown = phrase->isEmpty() ? phraseOf(status) : *phrase;
    if (shown.isEmpty())
        return QStringLiteral("server replied with an error (%1)").arg(code);
    if (status == 0)
        return QStringLiteral("server replied: %1 (%2)").arg(shown, code);
    return QStringLiteral("server replied: %1 (HTTP %2, %3)")
            .arg(shown, QString::number(status), code);
}
