// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "backgroundprogram.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

#include <algorithm>

namespace {
const QStringList SystemFolders { QStringLiteral("/usr/sbin"), QStringLiteral("/usr/bin"),
                                  QStringLiteral("/sbin"), QStringLiteral("/bin") };
constexpr int StartTime = 20000; // milliseconds

bool accepts(quint16 port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    return socket.waitForConnected(200);
}
} // namespace

BackgroundProgram::BackgroundProgram() = default;

BackgroundProgram::~BackgroundProgram()
{
    stop();
}

QString BackgroundProgram::find(const QString &name)
{
    const QString inPath = QStandardPaths::findExecutable(name);
    return inPath.isEmpty() ? QStandardPaths::findExecutable(name, SystemFolders) : inPath;
}

quint16 BackgroundProgram::freePort()
{
    QTcpServer probe;
    return probe.listen(QHostAddress::LocalHost, 0) ? probe.serverPort() : 0;
}

bool BackgroundProgram::start(const QString &program, const QStringList &arguments,
                              const QList<quint16> &ports, const QString &logFile)
{
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.start(program, arguments);
    const QDeadlineTimer deadline(StartTime);
    const auto listening = [&ports] { return std::all_of(ports.cbegin(), ports.cend(), accepts); };
    while (!deadline.hasExpired() && m_process.state() != QProcess::NotRunning && !listening())
        QThread::msleep(50);
    if (m_process.state() != QProcess::NotRunning && !deadline.hasExpired())
        return true;
    QFile log(logFile);
    const QByteArray logged =
            !logFile.isEmpty() && log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
    m_error =
            QStringLiteral("%1 did not start: %2 %3")
                    .arg(QFileInfo(program).fileName(), QString::fromLocal8Bit(m_process.readAll()),
                         QString::fromLocal8Bit(logged));
    stop();
    return false;
}

void BackgroundProgram::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(10000)) {
        m_process.kill();
        m_process.waitForFinished();
    }
}
