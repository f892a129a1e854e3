// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef SETTINGSFILE_H
#define SETTINGSFILE_H

#include <QString>

// The host's settings hold the plug-in's tokens, enciphered against a casual look only: gdapp
// keeps the file readable by its owner alone, and any folder it makes for it too. Settings are
// rewritten through a new file that takes the old one's mode, so protecting the file before the
// plug-in first writes it keeps every later version private as well.
class SettingsFile
{
public:
    static QString path();
    // Makes the file (and the folders above it that are missing) if need be, and sets it to
    // 0600. False, with *error, when that is not possible.
    static bool protect(QString *error);
};

#endif // SETTINGSFILE_H
