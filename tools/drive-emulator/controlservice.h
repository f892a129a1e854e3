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
// seed and inspect files, mint tokens, read the request log, inject faults. The simplest are
// answered in the route table itself.
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

    HttpResponse listFiles() const;
    HttpResponse seedFiles(const QByteArray &body);
    HttpResponse fileContent(const QString &id) const;
    HttpResponse issueTokens();
    HttpResponse settings(const QByteArray &body);
    HttpResponse requests(const HttpRequest &request) const;
    HttpResponse requestBody(const QString &index) const;
    HttpResponse addFaults(const QByteArray &body);
    void reset();

private:
    // The entry that a description of the seeding endpoint makes, stored; null and why when
    // there is none.
    const DriveEntry *seed(const QJsonObject &description, QString *error);
    QString folderFor(const QStringList &segments);
    QJsonObject described(const DriveEntry &entry) const;

    Parts m_parts;
};

#endif // CONTROLSERVICE_H
