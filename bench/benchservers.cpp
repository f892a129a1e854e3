// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "benchservers.h"

#include <QFile>
#include <QTextStream>

BenchServers::BenchServers(const QString &referenceProgram, const QString &servedFile)
    : m_referenceProgram(referenceProgram), m_servedFile(servedFile)
{
}

BenchServers::~BenchServers()
{
    m_reference.kill();
    m_reference.waitForFinished();
}

bool BenchServers::start(bool withFrontEnd)
{
    QTextStream err(stderr);
    if (!m_emulator.start({ QStringLiteral("--auto-approve"), QStringLiteral("--log-bodies"),
                            QStringLiteral("0") })) {
        err << "bench: the emulator did not start" << Qt::endl;
        return false;
    }
    if (!startReferenceServer()) {
        err << "bench: the reference server did not start" << Qt::endl;
        return false;
    }
    m_haveFrontEnd = withFrontEnd && m_frontEnd.start(m_emulator.port());
    if (withFrontEnd && !m_haveFrontEnd)
        err << "bench: no rows through TLS and HTTP/2: " << m_frontEnd.errorString() << Qt::endl;
    throughFrontEnd(false);
    return true;
}

bool BenchServers::startReferenceServer()
{
    QFile served(m_servedFile);
    if (!served.open(QIODevice::WriteOnly))
        return false;
    served.close();
    m_reference.start(m_referenceProgram, { served.fileName() });
    if (!m_reference.waitForReadyRead(10000))
        return false;
    const QByteArray line = m_reference.readLine().trimmed();
    m_referenceUrl = QUrl(QString::fromLatin1(line.mid(line.lastIndexOf(' ') + 1)));
    return m_referenceUrl.isValid() && m_referenceUrl.port() > 0;
}

void BenchServers::throughFrontEnd(bool yes)
{
    m_viaFrontEnd = yes;
    const QByteArray base = driveUrl().toString().toLatin1();
    qputenv("GDAPP_DRIVE_URL", base);
    qputenv("GDAPP_OAUTH_URL", base);
    if (yes)
        qputenv("GDAPP_CA_FILE", m_frontEnd.caFile().toLocal8Bit());
    else
        qunsetenv("GDAPP_CA_FILE");
}

QUrl BenchServers::driveUrl() const
{
    return m_viaFrontEnd ? m_frontEnd.url() : m_emulator.url();
}
