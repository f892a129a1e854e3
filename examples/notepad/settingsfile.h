// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef SETTINGSFILE_H
#define SETTINGSFILE_H

#include <QString>

// The plug-in keeps its tokens in the host's settings file, enciphered against a casual look
// only. A host makes the file its user's alone (0600) before the plug-in first writes it: Qt
// rewrites settings through a new file that takes the old one's mode, so every later version
// stays private too.
class SettingsFile
{
public:
    // Makes the file, and its folder, if need be. False, with *error, when it cannot.
    static bool protect(QString *error);
};

#endif // SETTINGSFILE_H
