// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef DRIVESERVICE_H
#define DRIVESERVICE_H

#include "httpresponse.h"

#include <memory>
#include <optional>

class BodyDigest;
class DriveStore;
class FieldSelection;
class TokenRegistry;
struct DriveEntry;

// The Drive v3 files and upload endpoints over a DriveStore.
class DriveService
{
public:
    DriveService(DriveStore &store, TokenRegistry &tokens);

    static bool handles(const QByteArray &path);
    // Uploads of some size are hashed while they arrive.
    static std::shared_ptr<BodyDigest> digestFor(const HttpRequest &head);
    // Uploads take the request's body over rather than copy it.
    HttpResponse handle(HttpRequest &request);

private:
    std::optional<HttpResponse> authenticate(const HttpRequest &request) const;
    HttpResponse routeFiles(const HttpRequest &request, const QByteArray &rest);
    HttpResponse routeUpload(HttpRequest &request, const QByteArray &rest);

    HttpResponse list(const HttpRequest &request);
    HttpResponse get(const HttpRequest &request, const QString &id);
    HttpResponse media(const HttpRequest &request, const DriveEntry &entry);
    HttpResponse create(const HttpRequest &request);
    HttpResponse update(const HttpRequest &request, const QString &id);
    HttpResponse remove(const QString &id);
    HttpResponse copy(const HttpRequest &request, const QString &id);
    HttpResponse emptyTrash();
    HttpResponse uploadCreate(HttpRequest &request);
    HttpResponse uploadUpdate(HttpRequest &request, const QString &id);

    // The file resource as "fields" selects it, or the default keys.
    HttpResponse fileAnswer(const HttpRequest &request, const DriveEntry &entry);
    std::optional<HttpResponse> checkFields(const HttpRequest &request, bool list,
                                            FieldSelection *fields) const;
    std::optional<HttpResponse> placeNew(DriveEntry &entry, const QJsonObject &metadata);
    std::optional<HttpResponse> applyMetadata(DriveEntry &entry, const QJsonObject &metadata,
                                              const HttpRequest &request);
    std::optional<HttpResponse> readMetadata(const QByteArray &body, QJsonObject *metadata) const;
    HttpResponse store(DriveEntry entry, const HttpRequest &request);
    static QString checksum(const HttpRequest &request, qsizetype start, const QByteArray &content);

    DriveStore &m_store;
    TokenRegistry &m_tokens;
};

#endif // DRIVESERVICE_H
