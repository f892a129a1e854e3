// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "authoriseddrive.h"

#include "oauthgoogle.h"
#include "testsettings.h"

#include <QSettings>

AuthorisedDrive::AuthorisedDrive() = default;

// The flow goes, and the settings it wrote.
AuthorisedDrive::~AuthorisedDrive()
{
    if (!m_flow)
        return;
    m_flow.reset();
    QSettings().clear();
}

bool AuthorisedDrive::startService(const QString &applicationName)
{
    return TestSettings::startForTheFlow(m_emulator, applicationName);
}

bool AuthorisedDrive::authorise()
{
    m_browser = std::make_unique<ConsentBrowser>();
    m_flow = std::make_unique<OAuthGoogle>(QStringLiteral("gdapp"), nullptr);
    return m_flow->isAuthenticated();
}

void AuthorisedDrive::reset()
{
    m_emulator.control("DELETE", QStringLiteral("files"));
    m_emulator.control("DELETE", QStringLiteral("faults"));
}
