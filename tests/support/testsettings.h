// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef TESTSETTINGS_H
#define TESTSETTINGS_H

#include <QString>
#include <QStringList>

class EmulatorProcess;

// Keeps a test's settings, where the flow stores its tokens, away from the user's own.
class TestSettings
{
public:
    // Test-mode standard paths, the test's own application name, and nothing left in them from
    // an earlier run, nor, once the application ends, from this one.
    static void isolate(const QString &applicationName);
    // Where a test program of the authorisation flow starts: settings of its own, an emulator
    // that approves consents by itself, and the plug-in pointed at it.
    static bool startForTheFlow(EmulatorProcess &emulator, const QString &applicationName,
                                const QStringList &arguments = {});
};

#endif // TESTSETTINGS_H
