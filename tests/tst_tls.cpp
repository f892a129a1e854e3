// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorprocess.h"
#include "gdapprunner.h"
#include "tlsfrontend.h"

#include <QCryptographicHash>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

namespace {
using Run = GdappRunner::Run;
constexpr qint64 BigFile = 64 * 1024 * 1024;
// Both emulators make the same identifiers and tokens for the same requests.
const QStringList EmulatorOptions { QStringLiteral("--auto-approve"), QStringLiteral("--seed"),
                                    QStringLiteral("5479"), QStringLiteral("--log-bodies"),
                                    QString::number(2 * BigFile) };

QByteArray md5Of(const QString &path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Md5);
    return file.open(QIODevice::ReadOnly) && hash.addData(&file) ? hash.result().toHex()
                                                                 : QByteArray();
}

// What the plug-in sent in one Drive request, as it reached the emulator: the request line,
// the headers it sets (names compared without regard to case, as HTTP/2 lower-cases them) and
// the body.
QString driveRequest(const QJsonObject &entry)
{
    QStringList lines { entry.value(QStringLiteral("method")).toString() + QLatin1Char(' ')
                        + entry.value(QStringLiteral("target")).toString() };
    for (const QJsonValue &value : entry.value(QStringLiteral("headers")).toArray()) {
        const QString name = value.toArray().at(0).toString().toLower();
        const QString text = value.toArray().at(1).toString();
        if (name == QLatin1String("authorization") || name == QLatin1String("content-type")
            || (name == QLatin1String("user-agent") && text == QLatin1String("Tarnwick")))
            lines.append(name + QStringLiteral(": ") + text);
    }
    lines.append(QStringLiteral("body: %1 bytes, MD5 %2")
                         .arg(entry.value(QStringLiteral("bodySize")).toInteger())
                         .arg(entry.value(QStringLiteral("bodyMd5")).toString()));
    return lines.join(QLatin1Char('\n'));
}

QStringList driveRequests(EmulatorProcess &emulator, int since)
{
    QStringList requests;
    for (const QJsonValue &value : emulator.requests(since)) {
        const QJsonObject entry = value.toObject();
        if (!entry.value(QStringLiteral("path")).toString().startsWith(QLatin1String("/o/")))
            requests.append(driveRequest(entry));
    }
    return requests;
}
} // namespace

// gdapp over the path users take to the service: TLS and HTTP/2 through a real front end. What
// reaches the service, and what the user is told, is what a session straight to the emulator
// gives.
class TestTls : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void sessionThroughTheFrontEnd();
    void untrustedCertificateStopsTheRequest();

private:
    // gdapp with its settings in config, trusting the front end's authority (--cacert).
    Run gdapp(const QStringList &arguments, const QUrl &drive, const QString &config,
              const QUrl &oauth = QUrl()) const;

    EmulatorProcess m_direct;
    EmulatorProcess m_behind;
    TlsFrontEnd m_frontEnd;
    QTemporaryDir m_work;
    QString m_big;
};

void TestTls::initTestCase()
{
    QVERIFY(m_work.isValid());
    QVERIFY(m_behind.start(EmulatorOptions));
    if (!m_frontEnd.start(m_behind.port()))
        QSKIP(qPrintable(QStringLiteral("no TLS front end: ") + m_frontEnd.errorString()));
    QVERIFY(m_direct.start(EmulatorOptions));

    m_big = m_work.filePath(QStringLiteral("big.bin"));
    QFile big(m_big);
    QVERIFY(big.open(QIODevice::WriteOnly));
    QByteArray data(BigFile, Qt::Uninitialized);
    QRandomGenerator::global()->fillRange(reinterpret_cast<quint32 *>(data.data()),
                                          data.size() / 4);
    QCOMPARE(big.write(data), BigFile);
}

GdappRunner::Run TestTls::gdapp(const QStringList &arguments, const QUrl &drive,
                                const QString &config, const QUrl &oauth) const
{
    GdappRunner runner(QStringLiteral(GDAPP_PROGRAM));
    runner.setWorkingDirectory(m_work.path());
    QProcessEnvironment environment = GdappRunner::environmentFor(drive, config);
    if (!oauth.isEmpty())
        environment.insert(QStringLiteral("GDAPP_OAUTH_URL"), oauth.toString());
    runner.setEnvironment(environment);
    return runner.run(QStringList { QStringLiteral("--cacert"), m_frontEnd.caFile() } + arguments);
}

void TestTls::sessionThroughTheFrontEnd()
{
    const QString back = m_work.filePath(QStringLiteral("back.bin"));
    const QList<QStringList> session {
        { "login" },
        { "mkdir", "gdapp:/Reports" },
        { "put", m_big, "gdapp:/Reports/big.bin" },
        { "get", "gdapp:/Reports/big.bin", back },
        { "cp", "gdapp:/Reports/big.bin", "gdapp:/Reports/copy.bin" },
        { "mv", "gdapp:/Reports/copy.bin", "gdapp:/Reports/old.bin" },
        { "rm", "-r", "gdapp:/Reports" },
    };
    QStringList sent[2];
    for (const bool throughFrontEnd : { false, true }) {
        EmulatorProcess &emulator = throughFrontEnd ? m_behind : m_direct;
        const int mark = emulator.nextRequest();
        QTemporaryDir config;
        const QUrl drive = throughFrontEnd ? m_frontEnd.url() : m_direct.url();
        for (const QStringList &command : session) {
            const Run run = gdapp(command, drive, config.path());
            QVERIFY2(run.exitCode == 0, run.err.constData());
        }
        QCOMPARE(md5Of(back), md5Of(m_big));
        QVERIFY(QFile::remove(back));
        QVERIFY(emulator.files().isEmpty());
        sent[throughFrontEnd] = driveRequests(emulator, mark);
    }
    QCOMPARE(sent[1], sent[0]);
    QVERIFY(sent[1].size() > session.size());

    const QStringList served = m_frontEnd.accessLog();
    QCOMPARE(served.size(), m_behind.requests().size());
    for (const QString &line : served)
        QVERIFY2(line.startsWith(QLatin1String("HTTP/2.0 ")), qPrintable(line));
}

// The plug-in takes the host's TLS configuration as it is and never ignores its errors: a
// certificate from an authority nobody trusts stops the request before it is sent.
void TestTls::untrustedCertificateStopsTheRequest()
{
    QTemporaryDir config;
    const int mark = m_behind.nextRequest();
    // The authorisation goes to the trusted listener.
    const Run run = gdapp({ QStringLiteral("ls") }, m_frontEnd.untrustedUrl(), config.path(),
                          m_frontEnd.url());
    QCOMPARE(run.exitCode, 5);
    QVERIFY2(run.err.contains("SSL handshake failed"), run.err.constData());
    QCOMPARE(driveRequests(m_behind, mark), QStringList());
}

QTEST_GUILESS_MAIN(TestTls)
#include "tst_tls.moc"
