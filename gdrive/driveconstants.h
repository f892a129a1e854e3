// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef DRIVECONSTANTS_H
#define DRIVECONSTANTS_H

#include <QString>

// The service's names that the back end sends and reads.
namespace Drive {
inline const QString FolderType = QStringLiteral("application/vnd.google-apps.folder");
// The application-data folder: the root of every path, and the only space the plug-in sees.
inline const QString RootId = QStringLiteral("appDataFolder");
} // namespace Drive

#endif // DRIVECONSTANTS_H
