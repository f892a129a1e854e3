// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "settingsfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

bool SettingsFile::protect(QString *error)
{
    constexpr QFile::Permissions OwnerOnly = QFile::ReadOwner | QFile::WriteOwner;
    QFile file(QSettings().fileName());
    const QFileInfo info(file);
    if (info.exists() && !info.isFile()) {
        *error = QStringLiteral("%1 is not a file").arg(file.fileName());
        return false;
    }
    const QString folder = info.absolutePath();
    if (!QDir().mkpath(folder)) {
        *error = QStringLiteral("%1 cannot be made").arg(folder);
        return false;
    }
    // Made private from the start, so that no one can open it in between.
    const bool exists =
            info.exists() || file.open(QIODevice::WriteOnly | QIODevice::NewOnly, OwnerOnly);
    if (!exists || !file.setPermissions(OwnerOnly)) {
        *error = QStringLiteral("%1: %2").arg(file.fileName(), file.errorString());
        return false;
    }
    return true;
}
