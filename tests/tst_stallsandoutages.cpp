// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorprocess.h"
#include "gdapprunner.h"
#include "o2settingsstore.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

namespace {
using Run = GdappRunner::Run;
// Short, to keep the suite quick.
constexpr int Timeout = 5;

// A rule that holds the answer longer than any command waits.
QJsonObject stalled(const char *rule)
{
    QJsonObject fault = json(rule);
    fault.insert(QStringLiteral("delayMs"), 600000);
    return fault;
}
} // namespace

// gdapp on a network that stalls or goes away: an exchange that moves no data for --timeout ends
// the command with exit 5 and leaves nothing behind, a slow one that moves is never cut, and a
// sign-in service that cannot be reached, or fails, does not cost the user the sign-in.
class TestStallsAndOutages : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void failuresEndTheCommand_data();
    void failuresEndTheCommand();
    void slowTransferIsNeverCut();

private:
    Run gdapp(const QStringList &arguments) const;
    // The stored refresh token, deciphered: a refresh stores it again, enciphered anew.
    QString signIn() const;
    QStringList localFiles() const;

    EmulatorProcess m_emulator;
    QTemporaryDir m_config;
    QTemporaryDir m_work;
};

void TestStallsAndOutages::initTestCase()
{
    QVERIFY(m_config.isValid() && m_work.isValid());
    QVERIFY(m_emulator.start({ QStringLiteral("--auto-approve") }));
    const Run login = gdapp({ QStringLiteral("login") });
    QVERIFY2(login.exitCode == 0, login.err.constData());
}

void TestStallsAndOutages::init()
{
    m_emulator.control("DELETE", QStringLiteral("faults"));
    m_emulator.control("DELETE", QStringLiteral("files"));
    for (const QString &name : localFiles())
        QFile::remove(QDir(m_work.path()).filePath(name));
}

GdappRunner::Run TestStallsAndOutages::gdapp(const QStringList &arguments) const
{
    GdappRunner runner(QStringLiteral(GDAPP_PROGRAM));
    runner.setEnvironment(GdappRunner::environmentFor(m_emulator.url(), m_config.path()));
    runner.setWorkingDirectory(m_work.path());
    return runner.run(arguments);
}

QStringList TestStallsAndOutages::localFiles() const
{
    return QDir(m_work.path()).entryList(QDir::Files | QDir::Hidden);
}

QString TestStallsAndOutages::signIn() const
{
    auto *settings = new QSettings(m_config.filePath(QStringLiteral("Tarnwick/gdapp.conf")),
                                   QSettings::IniFormat);
    return O2SettingsStore(settings, QStringLiteral("K72R31D48P06"), nullptr)
            .value(QStringLiteral("gdapp/refreshtoken"), QString());
}

void TestStallsAndOutages::failuresEndTheCommand_data()
{
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("says");
    // Whether the service had the whole request, and may have done what it asked.
    QTest::addColumn<bool>("mayHaveStored");
    QTest::addColumn<bool>("signInKept");

    const QString service = QStringLiteral("no answer from the service in %1 s").arg(Timeout);
    const QStringList ls { QStringLiteral("ls") };
    // The path's lookup is what stalls: a failed lookup, not a missing file.
    QTest::newRow("stalled listing")
            << stalled(R"({"method": "GET", "path": "/drive/v3/files"})")
            << QStringList { "ls", "gdapp:/docs" } << 5 << service << false << true;
    QTest::newRow("stalled download")
            << stalled(R"({"path": "/drive/v3/files/*", "query": "alt=media"})")
            << QStringList { "get", "gdapp:/docs/a.txt", "a.txt" } << 5 << service << false << true;
    QTest::newRow("stalled answer to an upload")
            << stalled(R"({"path": "/upload/drive/v3/files*"})")
            << QStringList { "put", "local.txt", "gdapp:/docs/a.txt" } << 5 << service << true
            << true;
    QTest::newRow("stalled token refresh")
            << stalled(R"({"path": "/o/oauth2/token"})") << ls << 5
            << QStringLiteral("no answer from the sign-in service in %1 s").arg(Timeout) << false
            << true;
    QTest::newRow("sign-in service unavailable")
            << json(R"({"path": "/o/oauth2/token", "status": 503})") << ls << 5
            << "the sign-in service failed: 503 Service Unavailable" << false << true;
    QTest::newRow("no answer at all")
            << json(R"({"path": "/o/oauth2/token", "action": "drop", "count": -1})") << ls << 5
            << "cannot reach the sign-in service" << false << true;
    // The service refused the stored sign-in: a new consent replaces it (given here by the
    // emulator itself).
    QTest::newRow("refresh refused") << json(R"({"path": "/o/oauth2/token", "status": 400})") << ls
                                     << 0 << "Authorisation needed" << false << false;
}

// Each failure ends the command with what failed, makes no local file, and keeps the sign-in as
// it was.
void TestStallsAndOutages::failuresEndTheCommand()
{
    QFETCH(QJsonObject, fault);
    QFETCH(QStringList, command);
    QFETCH(int, exitCode);
    QFETCH(QString, says);
    QFETCH(bool, mayHaveStored);
    QFETCH(bool, signInKept);

    m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "remote");
    QFile local(QDir(m_work.path()).filePath(QStringLiteral("local.txt")));
    QVERIFY(local.open(QIODevice::WriteOnly) && local.write("local") == 5);
    local.close();
    m_emulator.addFault(fault);
    const QString before = signIn();
    QVERIFY(!before.isEmpty());

    const Run run =
            gdapp(QStringList { QStringLiteral("--timeout"), QString::number(Timeout) } + command);
    QVERIFY2(run.exitCode == exitCode && run.err.contains(says.toUtf8()), run.err.constData());
    QVERIFY2(run.err.contains("the service may have stored it") == mayHaveStored,
             run.err.constData());
    QCOMPARE(localFiles(), QStringList(QStringLiteral("local.txt")));
    QCOMPARE(signIn() == before, signInKept);
}

// An upload the service reads slowly takes several times the time-out, and goes through. The
// rate leaves the data the system takes in at once (its send and receive buffers, a few MiB)
// well under a time-out's worth: the host sees the upload move only as the system takes data.
void TestStallsAndOutages::slowTransferIsNeverCut()
{
    constexpr int ShortTimeout = 3;
    constexpr qint64 Rate = 4 * 1024 * 1024;
    const QByteArray content(8 * Rate, 'x');
    QFile local(QDir(m_work.path()).filePath(QStringLiteral("slow.bin")));
    QVERIFY(local.open(QIODevice::WriteOnly) && local.write(content) == content.size());
    local.close();
    m_emulator.addFault({ { QStringLiteral("path"), QStringLiteral("/upload/drive/v3/files*") },
                          { QStringLiteral("action"), QStringLiteral("throttle") },
                          { QStringLiteral("bytesPerSecond"), Rate } });

    QElapsedTimer clock;
    clock.start();
    const Run run = gdapp({ QStringLiteral("--timeout"), QString::number(ShortTimeout),
                            QStringLiteral("put"), QStringLiteral("slow.bin"),
                            QStringLiteral("gdapp:/slow.bin") });
    QVERIFY2(run.exitCode == 0, run.err.constData());
    QVERIFY2(clock.elapsed() > ShortTimeout * 1000, "the upload went too fast to tell anything");
}

QTEST_GUILESS_MAIN(TestStallsAndOutages)
#include "tst_stallsandoutages.moc"
