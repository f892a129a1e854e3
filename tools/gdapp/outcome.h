// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef OUTCOME_H
#define OUTCOME_H

#include "exitcode.h"

#include <QString>

// What a step of a command came to: done, or an exit status with the message that tells why.
// Steps return it; the command line reports it once, when the command ends.
class Outcome
{
public:
    Outcome() = default; // done
    Outcome(ExitCode code, const QString &message) : m_code(code), m_message(message) { }
    // A command line that cannot be run: the help tells how to write it.
    static Outcome usage(const QString &message) { return { ExitCode::UsageError, message }; }
    static Outcome failure(const QString &message) { return { ExitCode::Failure, message }; }

    bool isDone() const { return m_code == ExitCode::Success; }
    ExitCode code() const { return m_code; }
    const QString &message() const { return m_message; }

private:
    ExitCode m_code = ExitCode::Success;
    QString m_message;
};

#endif // OUTCOME_H
