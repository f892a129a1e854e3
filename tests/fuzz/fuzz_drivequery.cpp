// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

// The emulator's "q" language: parse anything, and evaluate what parses against an entry.
#include "driveentry.h"
#include "drivequery.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const DriveEntry entry = [] {
        DriveEntry e;
        e.id = QStringLiteral("1abc");
        e.name = QStringLiteral("it's a name");
        e.mimeType = QStringLiteral("text/plain");
        e.parents = QStringList { QStringLiteral("appDataFolder") };
        return e;
    }();
    const DriveQuery query = DriveQuery::parse(
            QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (query.isValid())
        query.matches(entry);
    return 0;
}
