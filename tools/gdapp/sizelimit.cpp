// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "sizelimit.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

// The plug-in's multipart body: a part of metadata, as indented JSON, and a part of content, with
// a fixed boundary and bare line feeds.
qint64 SizeLimit::envelope(const QString &name, const QString &folderId)
{
    const QJsonObject metadata {
        { QStringLiteral("name"), name },
        { QStringLiteral("parents"), QJsonArray { folderId } },
        { QStringLiteral("mimeType"), QStringLiteral("application/tarnwick") },
    };
    const QByteArray delimiter = "--tarnwick_boundary\n";
    const QByteArray body = delimiter + "Content-Type: application/json; charset=UTF-8\n\n"
            + QJsonDocument(metadata).toJson(QJsonDocument::Indented) + delimiter
            + "Content-Type: application/tarnwick\n\n" + "\n--tarnwick_boundary--\n";
    return body.size();
}

qint64 SizeLimit::forNewFile(const QString &name, const QString &folderId)
{
    return std::min(MaxContent, MaxBody - envelope(name, folderId));
}
