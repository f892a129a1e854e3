// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef DRIVESERVICE_H
#define DRIVESERVICE_H

#include "httpresponse.h"

#include <optional>

class DriveStore;
class OAuthService;
struct DriveEntry;

// The Drive v3 files and upload endpoints over a DriveStore, one function per route.
class DriveService
{
public:
    DriveService(DriveStore &store, const OAuthService &oauth);

    // Refuses a request without a valid access token, or with an "alt" or "fields" the service
    // does not take.
    std::optional<HttpResponse> admit(const HttpRequest &request) const;

    // shortPage: half the entries the page would hold, with a token for the rest.
    HttpResponse list(const HttpRequest &request, bool shortPage);
    HttpResponse get(const HttpRequest &request, const QString &id);
    HttpResponse create(const HttpRequest &request);
    HttpResponse update(const HttpRequest &request, const QString &id);
    HttpResponse remove(const QString &id);
    HttpResponse copy(const HttpRequest &request, const QString &id);
    // A new file (a null id) or new content for one; the request's body is taken over, not
    // copied.
    HttpResponse upload(HttpRequest &request, const QString &id);

private:
    std::optional<HttpResponse> newEntry(const QJsonObject &metadata, const QString &name,
                                         const QString &mimeType, DriveEntry *entry);
    std::optional<HttpResponse> applyMetadata(DriveEntry &entry, const QJsonObject &metadata,
                                              const HttpRequest &request) const;
    // Stores the entry and answers with its resource as "fields" selects it.
    HttpResponse store(DriveEntry entry, const HttpRequest &request);

    DriveStore &m_store;
    const OAuthService &m_oauth;
};

#endif // DRIVESERVICE_H
