// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

// The service's JSON answers as the back end reads them: a listing's "files" entries, each made
// a file object, and a creation answer that a folder object moves down into.
#include "googlefileobject.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray answer(reinterpret_cast<const char *>(data), qsizetype(size));
    const QJsonObject object = QJsonDocument::fromJson(answer).object();

    GoogleFileObject folder;
    for (const QJsonValue &file : object.value(QLatin1String("files")).toArray()) {
        GoogleFileObject listed;
        listed.from(file.toObject());
        listed.fullPath();
        listed.parent();
        folder.cd(&listed);
    }
    GoogleFileObject created;
    created.from(object);
    folder.cd(&created);
    folder.cdup();
    folder.fullPath();
    return 0;
}
