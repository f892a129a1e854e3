// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef PROCESSMEASURE_H
#define PROCESSMEASURE_H

#include <QByteArray>
#include <QStringList>

// Runs a program to its end and measures it: wall time, the peak resident memory of the process
// (and of the children it waited for), its exit status and standard output.
//
// A child's peak memory starts as the resident size of the process that forked it, so programs
// are started by a launcher process forked at start-up, while this one is still small; without
// the launcher they are forked from here.
struct ProcessMeasure
{
    double milliseconds = 0;
    double peakMiB = 0;
    int exitCode = -1;
    QByteArray output;

    static ProcessMeasure run(const QString &program, const QStringList &arguments);

    // Forks the launcher; call it first thing in main(), before any large allocation.
    static bool startLauncher();
};

#endif // PROCESSMEASURE_H
