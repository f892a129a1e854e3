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

int Reporter::report(const Outcome &outcome) const
{
    if (outcome.code() == ExitCode::UsageError)
        err() << "gdapp: " << outcome.message() << Qt::endl
              << "Try \"gdapp " << (m_command.isEmpty() ? QString() : m_command + QLatin1Char(' '))
              << "--help\"." << Qt::endl;
    else if (!outcome.isDone())
        err() << "gdapp: " << m_command << ": " << outcome.message() << Qt::endl;
    return int(outcome.code());
}

Outcome Reporter::failure(const QString &what, const CloudFile &file) const
{
    const Outcome why = error(file);
    return Outcome(why.code(), what + QStringLiteral(": ") + why.message());
}

Outcome Reporter::error(const CloudFile &file) const
{
    const CloudFileError error(file, m_exchanges ? m_exchanges->lastFailure() : ExchangeFailure());
    return Outcome(error.exitCode(), error.describe());
}
