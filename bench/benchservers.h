// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef BENCHSERVERS_H
#define BENCHSERVERS_H

#include "emulatorprocess.h"
#include "tlsfrontend.h"

#include <QProcess>

// The servers of a benchmark run, started and stopped with it: the emulator; nginx with TLS and
// HTTP/2 in front of it, when it can be had; and the reference server, which only serves a file
// or discards what it receives. Child processes reach the Drive the way last chosen with
// throughFrontEnd().
class BenchServers
{
public:
    // servedFile: what the reference server answers every GET with.
    BenchServers(const QString &referenceProgram, const QString &servedFile);
    ~BenchServers();

    // Starts them all, the front end only when wanted; says on standard error what failed.
    // False when the emulator or the reference server did not start.
    bool start(bool withFrontEnd);

    EmulatorProcess &emulator() { return m_emulator; }
    bool haveFrontEnd() const { return m_haveFrontEnd; }
    bool viaFrontEnd() const { return m_viaFrontEnd; }
    // Children started from now on take the environment this sets.
    void throughFrontEnd(bool yes);
    // Where the Drive is reached the way chosen.
    QUrl driveUrl() const;
    QUrl referenceUrl() const { return m_referenceUrl; }
    QString servedFile() const { return m_servedFile; }
    QString caFile() const { return m_frontEnd.caFile(); }

private:
    bool startReferenceServer();

    QString m_referenceProgram;
    QString m_servedFile;
    EmulatorProcess m_emulator;
    TlsFrontEnd m_frontEnd;
    QProcess m_reference;
    QUrl m_referenceUrl;
    bool m_haveFrontEnd = false;
    bool m_viaFrontEnd = false;
};

#endif // BENCHSERVERS_H
