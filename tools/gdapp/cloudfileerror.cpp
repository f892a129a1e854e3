// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "cloudfileerror.h"

#include "cloudcodes.h"
#include "cloudfile.h"

#include <QNetworkReply>

CloudFileError::CloudFileError(const CloudFile &file)
    : m_code(file.errorCode()), m_text(file.errorString())
{
}

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

QString CloudFileError::describe() const
{
    const QString reason = isNotFound() ? QStringLiteral("no such file or folder") : m_text;
    return QStringLiteral("%1 [error %2]").arg(reason, QString::number(m_code));
}
