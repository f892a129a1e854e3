// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "forwardproxy.h"

#include <QFile>

namespace {
// Connections stay up as long as a test may hold one, with nothing added to requests.
const char *const Configuration = R"(Port %1
Listen 127.0.0.1
Timeout 600
MaxClients 64
Allow 127.0.0.1
DisableViaHeader Yes
LogFile "%2/tinyproxy.log"
LogLevel Connect
PidFile "%2/tinyproxy.pid"
)";
const QByteArray RequestMark = "]: Request (file descriptor ";
} // namespace

ForwardProxy::ForwardProxy() = default;

ForwardProxy::~ForwardProxy() = default;

bool ForwardProxy::start(const QString &user, const QString &password)
{
    const QString tinyproxy = BackgroundProgram::find(QStringLiteral("tinyproxy"));
    if (tinyproxy.isEmpty()) {
        m_error = QStringLiteral("tinyproxy is not installed (Debian package tinyproxy)");
        return false;
    }
    m_port = BackgroundProgram::freePort();
    QFile file(m_folder.filePath(QStringLiteral("tinyproxy.conf")));
    if (!m_folder.isValid() || !m_port || !file.open(QIODevice::WriteOnly)) {
        m_error = QStringLiteral("cannot prepare tinyproxy's configuration");
        return false;
    }
    QString configuration =
            QString::fromLatin1(Configuration).arg(QString::number(m_port), m_folder.path());
    if (!user.isEmpty())
        configuration += QStringLiteral("BasicAuth %1 %2\n").arg(user, password);
    file.write(configuration.toUtf8());
    file.close();
    if (m_tinyproxy.start(tinyproxy,
                          { QStringLiteral("-d"), QStringLiteral("-c"), file.fileName() },
                          { m_port }, m_folder.filePath(QStringLiteral("tinyproxy.log"))))
        return true;
    m_error = m_tinyproxy.errorString();
    return false;
}

QUrl ForwardProxy::url() const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(m_port));
}

QStringList ForwardProxy::requests() const
{
    QFile log(m_folder.filePath(QStringLiteral("tinyproxy.log")));
    if (!log.open(QIODevice::ReadOnly))
        return {};
    QStringList requests;
    for (const QByteArray &line : log.readAll().split('\n')) {
        const qsizetype mark = line.indexOf(RequestMark);
        if (mark >= 0)
            requests.append(QString::fromUtf8(line.mid(line.indexOf("): ", mark) + 3)));
    }
    return requests;
}
