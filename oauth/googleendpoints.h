// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef GOOGLEENDPOINTS_H
#define GOOGLEENDPOINTS_H

#include <QString>
#include <QUrl>

// Where the plug-in finds the services and who it says it is. GDAPP_DRIVE_URL and
// GDAPP_OAUTH_URL ("scheme://host:port") point it at another host, such as the local emulator;
// GDAPP_CLIENT_ID replaces the client identifier the plug-in was built with.
class GoogleEndpoints
{
public:
    static QString driveHost();
    static QString oauthHost();
    static QUrl authorizationUrl();
    static QUrl tokenUrl();
    static QString scope();
    static QString clientId();
    static QString clientSecret();
};

#endif // GOOGLEENDPOINTS_H
