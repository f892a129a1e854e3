// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

// The emulator's "fields" selections: parse anything, and apply what parses to a listing.
#include "fieldselection.h"

#include <QJsonDocument>
#include <QJsonObject>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QJsonObject listing =
            QJsonDocument::fromJson(R"({"nextPageToken": "t", "files": [{"id": "1",
                                        "name": "a.txt", "parents": ["appDataFolder"]}]})")
                    .object();
    const std::optional<FieldSelection> selection = FieldSelection::parse(
            QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (selection)
        selection->apply(listing);
    return 0;
}
