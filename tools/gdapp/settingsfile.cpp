// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "settingsfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

namespace {
constexpr QFile::Permissions OwnerOnlyFile = QFile::ReadOwner | QFile::WriteOwner;
constexpr QFile::Permissions OwnerOnlyFolder = OwnerOnlyFile | QFile::ExeOwner;

bool makeFolder(const QString &path)
{
    if (QFileInfo(path).isDir())
        return true;
    return makeFolder(QFileInfo(path).absolutePath()) && QDir().mkdir(path, OwnerOnlyFolder);
}
} // namespace

QString SettingsFile::path()
{
    return QSettings().fileName();
}

bool SettingsFile::protect(QString *error)
{
    QFile file(path());
    const QString folder = QFileInfo(file).absolutePath();
    if (!makeFolder(folder)) {
        *error = QStringLiteral("cannot make the settings folder %1").arg(folder);
        return false;
    }
    // A folder, say, would be made private, and the tokens never stored.
    if (file.exists() && !QFileInfo(file).isFile()) {
        *error = QStringLiteral("the settings file %1 is not a file").arg(file.fileName());
        return false;
    }
    if (!file.exists() && !file.open(QIODevice::WriteOnly | QIODevice::NewOnly, OwnerOnlyFile)) {
        *error = QStringLiteral("cannot make %1: %2").arg(file.fileName(), file.errorString());
        return false;
    }
    if (!file.setPermissions(OwnerOnlyFile)) {
        *error = QStringLiteral("cannot make %1 private: %2")
                         .arg(file.fileName(), file.errorString());
        return false;
    }
    return true;
}
