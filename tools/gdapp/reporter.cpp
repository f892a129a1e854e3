// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "reporter.h"

#include "cloudfile.h"
#include "cloudfileerror.h"
#include "exchangewatch.h"

QTextStream &Reporter::out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream &Reporter::err()
{
    static QTextStream stream(stderr);
    return stream;
}

int Reporter::usage(const QString &message) const
{
    err() << "gdapp: " << message << Qt::endl
          << "Try \"gdapp " << (m_command.isEmpty() ? QString() : m_command + QLatin1Char(' '))
          << "--help\"." << Qt::endl;
    return UsageError;
}

int Reporter::fail(const QString &message, int exitCode) const
{
    err() << "gdapp: " << m_command << ": " << message << Qt::endl;
    return exitCode;
}

int Reporter::fail(const QString &what, const CloudFile &file) const
{
    int exitCode = Failure;
    const QString why = explain(file, &exitCode);
    return fail(what + QStringLiteral(": ") + why, exitCode);
}

QString Reporter::explain(const CloudFile &file, int *exitCode) const
{
    const CloudFileError error(file, m_exchanges ? m_exchanges->lastFailure() : ExchangeFailure());
    *exitCode = error.exitCode();
    return error.describe();
}
