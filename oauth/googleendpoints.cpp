// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "googleendpoints.h"

#include <QtGlobal>

namespace {
QString fromEnvironment(const char *name, const QString &fallback)
{
    const QString value = qEnvironmentVariable(name);
    if (value.isEmpty())
        return fallback;
    return value.endsWith(QLatin1Char('/')) ? value.chopped(1) : value;
}
} // namespace

QString GoogleEndpoints::driveHost()
{
    return fromEnvironment("GDAPP_DRIVE_URL", QStringLiteral("https://www.googleapis.com"));
}

QString GoogleEndpoints::oauthHost()
{
    return fromEnvironment("GDAPP_OAUTH_URL", QStringLiteral("https://accounts.google.com"));
}

QUrl GoogleEndpoints::authorizationUrl()
{
    return QUrl(oauthHost() + QStringLiteral("/o/oauth2/v2/auth"));
}

QUrl GoogleEndpoints::tokenUrl()
{
    return QUrl(oauthHost() + QStringLiteral("/o/oauth2/token"));
}

QString GoogleEndpoints::scope()
{
    // The scope names the real service whichever host answers.
    return QStringLiteral("https://www.googleapis.com/auth/drive.appfolder");
}

QString GoogleEndpoints::clientId()
{
    return fromEnvironment("GDAPP_CLIENT_ID", QStringLiteral(GDAPP_DEFAULT_CLIENT_ID));
}

QString GoogleEndpoints::clientSecret()
{
    return QStringLiteral(GDAPP_CLIENT_SECRET);
}
