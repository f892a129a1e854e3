// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef CONTROLSERVICE_H
#define CONTROLSERVICE_H

#include "httpresponse.h"

class DriveStore;
class FaultInjector;
class OAuthService;
class RequestLog;
class TokenRegistry;
struct DriveEntry;

// The emulator's own endpoints under "/_emulator/", for tests and scripts on this machine:
// seed and inspect files, mint and expire tokens, read the request log, inject faults.
class ControlService
{
public:
    struct Parts
    {
        DriveStore &store;
        TokenRegistry &tokens;
        RequestLog &log;
        FaultInjector &faults;
        OAuthService &oauth;
        QString clientId;
    };

    explicit ControlService(const Parts &parts);

    static bool handles(const QByteArray &path);
    HttpResponse handle(const HttpRequest &request);

private:
    HttpResponse addFaults(const QByteArray &body);
    HttpResponse requestBody(int index) const;
    HttpResponse seedFiles(const QByteArray &body);
    HttpResponse listFiles() const;
    HttpResponse fileContent(const QString &id) const;
    HttpResponse issueTokens(const QByteArray &body);
    HttpResponse settings(const QByteArray &body);
    HttpResponse reset();
    std::optional<QJsonObject> seedOne(const QJsonObject &description, QString *error);
    QString folderFor(const QStringList &segments, QString *error);
    QString pathOf(const DriveEntry &entry) const;

    Parts m_parts;
};

#endif // CONTROLSERVICE_H
