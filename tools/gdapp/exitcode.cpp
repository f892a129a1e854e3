// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "exitcode.h"

#include <QStringList>

#include <utility>

namespace {
// The manual page says the same at length, under EXIT STATUS.
const std::pair<ExitCode, const char *> Meanings[] = {
    { ExitCode::Success, "done" },
    // anything else: local files, a cancelled chooser, a refused request
    { ExitCode::Failure, "failed" },
    { ExitCode::UsageError, "bad usage" },
    { ExitCode::NotFound, "not found" },
    // no authorisation, or the service refused the credentials
    { ExitCode::NotAuthorised, "not authorised" },
    { ExitCode::ServiceError,
      "network or service error (no answer within --timeout, a proxy that fails)" },
    // downloaded content failed its checksum
    { ExitCode::CorruptedData, "corrupted data" },
};
} // namespace

QString exitStatusSummary()
{
    QStringList statuses;
    for (const auto &[code, meaning] : Meanings)
        statuses += QStringLiteral("%1 %2").arg(int(code)).arg(QLatin1String(meaning));
    return statuses.join(QLatin1String(", "));
}
