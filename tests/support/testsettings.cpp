// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "testsettings.h"

#include <QCoreApplication>
#include <QSettings>
#include <QStandardPaths>

void TestSettings::isolate(const QString &applicationName)
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("gdapp-tests"));
    QCoreApplication::setApplicationName(applicationName);
    QSettings().clear();
}
