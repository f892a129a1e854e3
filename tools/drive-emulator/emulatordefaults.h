// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef EMULATORDEFAULTS_H
#define EMULATORDEFAULTS_H

#include <QtGlobal>

// The command line's defaults, written once: the code, --help and the manual page read them here
// (CMake reads each "constexpr" line into drive-emulator.1.in).
namespace EmulatorDefaults {
constexpr char Address[] = "127.0.0.1";
constexpr int Port = 0; // a free one
constexpr int TokenTtl = 3599; // seconds, as the service's access tokens last
constexpr qint64 MaxBody = 2147483648; // bytes; larger bodies are refused with 413
constexpr qint64 LogBodies = 8388608; // bytes of a request body the log keeps whole
} // namespace EmulatorDefaults

#endif // EMULATORDEFAULTS_H
