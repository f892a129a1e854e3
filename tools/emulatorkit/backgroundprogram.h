// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef BACKGROUNDPROGRAM_H
#define BACKGROUNDPROGRAM_H

#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>

// A server from the system that a test runs in the background on loopback ports of its choice,
// until the object goes: nginx for the TLS front end, tinyproxy for the proxy.
//     const quint16 port = BackgroundProgram::freePort();
//     BackgroundProgram server;
//     if (!server.start(BackgroundProgram::find("nginx"), { ... }, { port }))
//         QSKIP(qPrintable(server.errorString()));
class BackgroundProgram
{
public:
    BackgroundProgram();
    ~BackgroundProgram();

    // The program in PATH or in the system's folders (sbin ones included); empty when missing.
    static QString find(const QString &name);
    // A port on 127.0.0.1 that nothing listens on now.
    static quint16 freePort();

    // Starts the program and waits until every port accepts connections. False when it ended or
    // did not listen in time, with what it wrote (and the log file, when given) in errorString().
    bool start(const QString &program, const QStringList &arguments, const QList<quint16> &ports,
               const QString &logFile = QString());
    void stop();
    QString errorString() const { return m_error; }

private:
    QProcess m_process;
    QString m_error;
};

#endif // BACKGROUNDPROGRAM_H
