// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef AUTHORISEDDRIVE_H
#define AUTHORISEDDRIVE_H

#include "consentbrowser.h"
#include "emulatorprocess.h"

#include <memory>

class OAuthGoogle;

// What back-end tests share: an emulator that approves consents by itself, the plug-in pointed
// at it, and a flow authorised once for the whole test program, with settings of its own.
//     QVERIFY(m_drive.start(QStringLiteral("tst_googlefile")));   // initTestCase
//     m_drive.reset();                                            // init
//     GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(), url, nullptr);
class AuthorisedDrive
{
public:
    AuthorisedDrive();
    ~AuthorisedDrive();

    bool start(const QString &applicationName)
    {
        return startService(applicationName) && authorise();
    }
    // start() in two steps, for a test that signs another client in between: the flow holds the
    // loopback listener's port from the second on.
    bool startService(const QString &applicationName);
    bool authorise();
    void reset(); // no files, no faults

    EmulatorProcess &emulator() { return m_emulator; }
    OAuthGoogle *flow() const { return m_flow.get(); }

private:
    EmulatorProcess m_emulator;
    std::unique_ptr<ConsentBrowser> m_browser;
    std::unique_ptr<OAuthGoogle> m_flow;
};

#endif // AUTHORISEDDRIVE_H
