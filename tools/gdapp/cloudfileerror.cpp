// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "cloudfileerror.h"

#include "cloudcodes.h"
#include "cloudfile.h"

#include <utility>

namespace {
// The reason phrases of the statuses that the service answers with, for HTTP/2, which has none.
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
    { 416, "Range Not Satisfiable" },
    { 429, "Too Many Requests" },
    { 500, "Internal Server Error" },
    { 501, "Not Implemented" },
    { 502, "Bad Gateway" },
    { 503, "Service Unavailable" },
    { 504, "Gateway Timeout" },
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

CloudFileError::CloudFileError(const CloudFile &file, const ExchangeFailure &lastFailure)
    : CloudFileError(file.errorCode(), file.errorString(), lastFailure)
{
}

CloudFileError::CloudFileError(int code, const QString &text, const ExchangeFailure &lastFailure)
    : m_code(code), m_text(text)
{
    if (lastFailure.explains(text))
        m_exchange = lastFailure;
}

bool CloudFileError::isNotFound() const
{
    return m_code == Cloud::PathNotFound && m_text == QIODevice::tr("Unknown error");
}

ExitCode CloudFileError::exitCode() const
{
    if (isNotFound())
        return ExitCode::NotFound;
    if (!m_exchange.isNull()) {
        switch (m_exchange.httpStatus()) {
        case 401:
            return ExitCode::NotAuthorised;
        case 404:
            return ExitCode::NotFound;
        default:
            return ExitCode::ServiceError;
        }
    }
    switch (m_code) {
    case QNetworkReply::NoError:
        return ExitCode::Failure; // the provider refused without asking the service
    case Cloud::CorruptedData:
        return ExitCode::CorruptedData;
    default:
        return ExitCode::ServiceError;
    }
}

QString CloudFileError::describe() const
{
    const QString code = QStringLiteral("plug-in error %1").arg(m_code);
    if (isNotFound())
        return QStringLiteral("no such file or folder (%1)").arg(code);
    if (m_exchange.isNull())
        return QStringLiteral("%1 (%2)").arg(m_text, code);
    const int status = m_exchange.httpStatus();
    if (status == 0) {
        const QString said = m_exchange.describe(QStringLiteral("the service"));
        return m_exchange.mayHaveTakenEffect() ? said
                        + QStringLiteral("; the request had gone out whole, so the service may "
                                         "have stored it")
                                               : said;
    }
    QString details = QStringLiteral("HTTP %1, %2").arg(QString::number(status), code);
    if (const QString proxy = m_exchange.proxyName(); !proxy.isEmpty())
        details += QStringLiteral(", through the proxy ") + proxy;
    const QString phrase =
            m_exchange.reasonPhrase().isEmpty() ? phraseOf(status) : m_exchange.reasonPhrase();
    if (phrase.isEmpty())
        return QStringLiteral("server replied with an error (%1)").arg(details);
    return QStringLiteral("server replied: %1 (%2)").arg(phrase, details);
}
