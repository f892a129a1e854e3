// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "testsettings.h"

#include "emulatorprocess.h"

#include <QCoreApplication>
#include <QSettings>
#include <QStandardPaths>

void TestSettings::isolate(const QString &applicationName)
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("gdapp-tests"));
    QCoreApplication::setApplicationName(applicationName);
    QSettings().clear();
    qAddPostRoutine([] { QSettings().clear(); });
}

bool TestSettings::startForTheFlow(EmulatorProcess &emulator, const QString &applicationName,
                                   const QStringList &arguments)
{
    isolate(applicationName);
    if (!emulator.start(QStringList { QStringLiteral("--auto-approve") } + arguments))
        return false;
    emulator.exportEnvironment();
    return true;
}
