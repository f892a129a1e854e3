// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorprocess.h"
#include "gdapprunner.h"

#include <QCryptographicHash>
#include <QLibraryInfo>
#include <QNetworkInterface>
#include <QSettings>
#include <QTcpServer>
#include <QTcpSocket>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {
using Run = GdappRunner::Run;

QByteArray md5(const QByteArray &data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex();
}
} // namespace

// gdapp, the command-line host, run as a user runs it, against the emulator.
class TestGdappCli : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void helpForEveryCommand_data();
    void helpForEveryCommand();
    void usageErrors_data();
    void usageErrors();
    void session();
    void transfersThroughStandardStreams();
    void folders();
    void notFound_data();
    void notFound();
    void failedGetLeavesNoFile_data();
    void failedGetLeavesNoFile();
    void notAuthorisedWithoutAnswer();
    void logoutThenFreshConsent();
    void pluginLookup();
    void progressOnlyOnATerminal();
    void chooserNeedsADisplay();
    void refusedBeforeAnyChange_data();
    void refusedBeforeAnyChange();
    void serviceTextIsShownAsItIs();
    void settingsAreForTheOwnerOnly();
    void loopbackPortTaken_data();
    void loopbackPortTaken();
    void refusedTokenRequests_data();
    void refusedTokenRequests();
    void listenerAnswersOnLoopbackOnly();

private:
    Run gdapp(const QStringList &arguments, const QByteArray &input = QByteArray(),
              const QProcessEnvironment &environment = QProcessEnvironment());
    QProcessEnvironment environmentFor(const EmulatorProcess &emulator) const;
    int authorisations(int since);
    int requestsTo(const QString &path, int since);

    EmulatorProcess m_emulator;
    QTemporaryDir m_config;
    QTemporaryDir m_work;
    GdappRunner m_gdapp { QStringLiteral(GDAPP_PROGRAM) };
};

void TestGdappCli::initTestCase()
{
    QVERIFY(m_config.isValid() && m_work.isValid());
    QVERIFY(m_emulator.start({ QStringLiteral("--auto-approve") }));
    m_gdapp.setEnvironment(environmentFor(m_emulator));
    m_gdapp.setWorkingDirectory(m_work.path());
}

void TestGdappCli::init()
{
    m_emulator.control("DELETE", QStringLiteral("files"));
    m_emulator.control("DELETE", QStringLiteral("faults"));
}

QProcessEnvironment TestGdappCli::environmentFor(const EmulatorProcess &emulator) const
{
    return GdappRunner::environmentFor(emulator.url(), m_config.path());
}

Run TestGdappCli::gdapp(const QStringList &arguments, const QByteArray &input,
                        const QProcessEnvironment &environment)
{
    return m_gdapp.run(arguments, input, environment);
}

int TestGdappCli::authorisations(int since)
{
    int count = 0;
    for (const QJsonValue &entry : m_emulator.requests(since))
        count += entry.toObject().value(QStringLiteral("path")).toString()
                == QLatin1String("/o/oauth2/v2/auth");
    return count;
}

int TestGdappCli::requestsTo(const QString &path, int since)
{
    int count = 0;
    for (const QJsonValue &entry : m_emulator.requests(since))
        count += entry.toObject().value(QStringLiteral("path")).toString() == path;
    return count;
}

void TestGdappCli::helpForEveryCommand_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("synopsis");
    for (const char *command :
         { "ls [URL]", "stat URL", "get URL [FILE|-]", "put FILE|- URL", "cp URL URL", "mv URL URL",
           "rm [-r] URL", "mkdir [-p] URL", "open-dialog", "save-dialog", "login", "logout" }) {
        const QString synopsis = QString::fromLatin1(command);
        QTest::newRow(command) << synopsis.section(QLatin1Char(' '), 0, 0) << synopsis;
    }
}

void TestGdappCli::helpForEveryCommand()
{
    QFETCH(QString, command);
    QFETCH(QString, synopsis);
    const Run run = gdapp({ command, QStringLiteral("--help") });
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.out.contains("Usage:"), run.out.constData());
    QVERIFY2(run.out.contains(synopsis.toUtf8()), run.out.constData());
    QVERIFY(run.out.contains("--plugin"));

    const Run overall = gdapp({ QStringLiteral("--help") });
    QCOMPARE(overall.exitCode, 0);
    QVERIFY(overall.out.contains(synopsis.toUtf8()));
}

void TestGdappCli::usageErrors_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("no command") << QStringList {};
    QTest::newRow("unknown command") << QStringList { "frobnicate" };
    QTest::newRow("not a gdapp URL") << QStringList { "ls", "http://example.org/x" };
    QTest::newRow("URL with a host") << QStringList { "stat", "gdapp://host/x" };
    QTest::newRow("missing argument") << QStringList { "cp", "gdapp:/a" };
    QTest::newRow("too many arguments") << QStringList { "rm", "gdapp:/a", "gdapp:/b" };
    QTest::newRow("unknown option") << QStringList { "ls", "--frobnicate" };
    QTest::newRow("bad consent mode") << QStringList { "ls", "--consent", "telepathy" };
    QTest::newRow("mv onto itself") << QStringList { "mv", "gdapp:/a.txt", "gdapp:/a.txt" };
    QTest::newRow("mv across folders") << QStringList { "mv", "gdapp:/a.txt", "gdapp:/b/a.txt" };
    QTest::newRow("cp across folders") << QStringList { "cp", "gdapp:/a.txt", "gdapp:/b/a.txt" };
    QTest::newRow("rm of the top folder") << QStringList { "rm", "-r", "gdapp:/" };
}

void TestGdappCli::usageErrors()
{
    QFETCH(QStringList, arguments);
    const Run run = gdapp(arguments);
    QCOMPARE(run.exitCode, 2);
    QVERIFY2(run.err.startsWith("gdapp: "), run.err.constData());
    QVERIFY(run.err.contains("--help"));
}

void TestGdappCli::session()
{
    const QByteArray content = QByteArray("Tarnwick document\n").repeated(100);
    QFile local(m_work.filePath(QStringLiteral("report.txt")));
    QVERIFY(local.open(QIODevice::WriteOnly));
    local.write(content);
    local.close();

    QCOMPARE(gdapp({ QStringLiteral("login") }).exitCode, 0);
    QCOMPARE(gdapp({ QStringLiteral("mkdir"), QStringLiteral("gdapp:/docs") }).exitCode, 0);
    QCOMPARE(gdapp({ QStringLiteral("put"), local.fileName(), QStringLiteral("gdapp:/docs/") })
                     .exitCode,
             0);
    QCOMPARE(m_emulator.content(m_emulator.fileAt(QStringLiteral("/docs/report.txt"))
                                        .value(QStringLiteral("id"))
                                        .toString()),
             content);

    const Run listing = gdapp({ QStringLiteral("ls"), QStringLiteral("gdapp:/docs") });
    QCOMPARE(listing.exitCode, 0);
    QVERIFY2(QRegularExpression(
                     QStringLiteral(
                             "^- +1800  \\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d  report\\.txt\\n$"))
                     .match(QString::fromUtf8(listing.out))
                     .hasMatch(),
             listing.out.constData());
    const Run top = gdapp({ QStringLiteral("ls") });
    QVERIFY2(top.out.startsWith("d            -  ") && top.out.endsWith("docs/\n"),
             top.out.constData());

    const Run stat = gdapp({ QStringLiteral("stat"), QStringLiteral("gdapp:/docs/report.txt") });
    QCOMPARE(stat.exitCode, 0);
    QVERIFY(stat.out.contains("type:     file\n"));
    QVERIFY(stat.out.contains("size:     1800\n"));
    QVERIFY(stat.out.contains("md5:      " + md5(content) + '\n'));

    QCOMPARE(gdapp({ QStringLiteral("get"), QStringLiteral("gdapp:/docs/report.txt"),
                     QStringLiteral("back.txt") })
                     .exitCode,
             0);
    QFile back(m_work.filePath(QStringLiteral("back.txt")));
    QVERIFY(back.open(QIODevice::ReadOnly));
    QCOMPARE(back.readAll(), content);

    QCOMPARE(gdapp({ QStringLiteral("cp"), QStringLiteral("gdapp:/docs/report.txt"),
                     QStringLiteral("gdapp:/docs/copy.txt") })
                     .exitCode,
             0);
    const Run again = gdapp({ QStringLiteral("cp"), QStringLiteral("gdapp:/docs/report.txt"),
                              QStringLiteral("gdapp:/docs/copy.txt") });
    QCOMPARE(again.exitCode, 1);
    QVERIFY(again.err.contains("exists already"));
    QCOMPARE(gdapp({ QStringLiteral("mv"), QStringLiteral("gdapp:/docs/copy.txt"),
                     QStringLiteral("gdapp:/docs/moved.txt") })
                     .exitCode,
             0);
    QVERIFY(m_emulator.fileAt(QStringLiteral("/docs/copy.txt")).isEmpty());
    QCOMPARE(m_emulator.fileAt(QStringLiteral("/docs/moved.txt"))
                     .value(QStringLiteral("md5Checksum"))
                     .toString()
                     .toLatin1(),
             md5(content));
    // mv onto an existing file replaces it.
    QCOMPARE(gdapp({ QStringLiteral("cp"), QStringLiteral("gdapp:/docs/report.txt"),
                     QStringLiteral("gdapp:/docs/other.txt") })
                     .exitCode,
             0);
    QCOMPARE(gdapp({ QStringLiteral("mv"), QStringLiteral("gdapp:/docs/other.txt"),
                     QStringLiteral("gdapp:/docs/moved.txt") })
                     .exitCode,
             0);
    QVERIFY(m_emulator.fileAt(QStringLiteral("/docs/other.txt")).isEmpty());
    QCOMPARE(gdapp({ QStringLiteral("rm"), QStringLiteral("gdapp:/docs/moved.txt") }).exitCode, 0);
    QVERIFY(m_emulator.fileAt(QStringLiteral("/docs/moved.txt")).isEmpty());
    QVERIFY(!m_emulator.fileAt(QStringLiteral("/docs/report.txt")).isEmpty());
}

void TestGdappCli::transfersThroughStandardStreams()
{
    QByteArray binary(300000, Qt::Uninitialized);
    for (int i = 0; i < binary.size(); ++i)
        binary[i] = char(i * 13 + (i >> 8));
    QCOMPARE(gdapp({ QStringLiteral("put"), QStringLiteral("-"),
                     QStringLiteral("gdapp:/piped.bin") },
                   binary)
                     .exitCode,
             0);
    const Run fetched = gdapp(
            { QStringLiteral("get"), QStringLiteral("gdapp:/piped.bin"), QStringLiteral("-") });
    QCOMPARE(fetched.exitCode, 0);
    QCOMPARE(fetched.out, binary);

    // Replacing keeps the file and its identifier.
    const QString id =
            m_emulator.fileAt(QStringLiteral("/piped.bin")).value(QStringLiteral("id")).toString();
    QCOMPARE(gdapp({ QStringLiteral("put"), QStringLiteral("-"),
                     QStringLiteral("gdapp:/piped.bin") },
                   "short")
                     .exitCode,
             0);
    QCOMPARE(m_emulator.content(id), QByteArray("short"));
    QCOMPARE(m_emulator.files().size(), 1);
}

void TestGdappCli::folders()
{
    const Run missingParent = gdapp({ QStringLiteral("mkdir"), QStringLiteral("gdapp:/a/b/c") });
    QCOMPARE(missingParent.exitCode, 3);
    QCOMPARE(
            gdapp({ QStringLiteral("mkdir"), QStringLiteral("-p"), QStringLiteral("gdapp:/a/b/c") })
                    .exitCode,
            0);
    QVERIFY(!m_emulator.fileAt(QStringLiteral("/a/b/c")).isEmpty());
    QCOMPARE(
            gdapp({ QStringLiteral("mkdir"), QStringLiteral("-p"), QStringLiteral("gdapp:/a/b/c") })
                    .exitCode,
            0);
    QCOMPARE(gdapp({ QStringLiteral("mkdir"), QStringLiteral("gdapp:/a/b") }).exitCode, 1);

    QCOMPARE(gdapp({ QStringLiteral("put"), QStringLiteral("-"),
                     QStringLiteral("gdapp:/a/b/c/f.txt") },
                   "f")
                     .exitCode,
             0);
    const Run refused = gdapp({ QStringLiteral("rm"), QStringLiteral("gdapp:/a") });
    QCOMPARE(refused.exitCode, 1);
    QVERIFY(refused.err.contains("use -r"));
    QCOMPARE(gdapp({ QStringLiteral("rm"), QStringLiteral("-r"), QStringLiteral("gdapp:/a") })
                     .exitCode,
             0);
    QVERIFY(m_emulator.files().isEmpty());
}

void TestGdappCli::notFound_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("get") << QStringList { "get", "gdapp:/missing.txt" };
    QTest::newRow("stat") << QStringList { "stat", "gdapp:/missing/deeper.txt" };
    QTest::newRow("ls") << QStringList { "ls", "gdapp:/missing" };
    QTest::newRow("rm") << QStringList { "rm", "gdapp:/missing.txt" };
    QTest::newRow("mv") << QStringList { "mv", "gdapp:/missing.txt", "gdapp:/other.txt" };
    QTest::newRow("put into a missing folder")
            << QStringList { "put", "-", "gdapp:/missing/x.txt" };
}

void TestGdappCli::notFound()
{
    QFETCH(QStringList, arguments);
    const Run run = gdapp(arguments, "x");
    QCOMPARE(run.exitCode, 3);
    QVERIFY2(run.err.contains("no such file or folder [error 403]"), run.err.constData());
}

void TestGdappCli::failedGetLeavesNoFile_data()
{
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<QJsonObject>("seed");
    QTest::addColumn<QList<int>>("exitCodes");

    const QJsonObject media { { QStringLiteral("method"), QStringLiteral("GET") },
                              { QStringLiteral("query"), QStringLiteral("alt=media") } };
    QJsonObject serverError = media;
    serverError.insert(QStringLiteral("status"), 500);
    QJsonObject cut = media;
    cut.insert(QStringLiteral("action"), QStringLiteral("truncate"));
    // Every attempt is cut. Depending on when it notices the close, Qt either reports it,
    // resends the GET, or takes the short body as complete: the checksum catches the last.
    cut.insert(QStringLiteral("count"), -1);
    QTest::newRow("service error") << serverError << QJsonObject() << QList<int> { 5 };
    QTest::newRow("connection cut mid-body") << cut << QJsonObject() << QList<int> { 5, 6 };
    QTest::newRow("corrupted") << QJsonObject()
                               << QJsonObject { { QStringLiteral("md5Checksum"),
                                                  QString(32, QLatin1Char('0')) } }
                               << QList<int> { 6 };
    QJsonObject unauthorised = media;
    unauthorised.insert(QStringLiteral("status"), 401);
    QTest::newRow("credentials refused") << unauthorised << QJsonObject() << QList<int> { 4 };
}

void TestGdappCli::failedGetLeavesNoFile()
{
    QFETCH(QJsonObject, fault);
    QFETCH(QJsonObject, seed);
    QFETCH(QList<int>, exitCodes);

    m_emulator.seedFile(QStringLiteral("/f.bin"), QByteArray("remote content").repeated(10000),
                        seed);
    if (!fault.isEmpty())
        m_emulator.addFault(fault);
    const QString target = m_work.filePath(QStringLiteral("failed.bin"));
    QFile::remove(target);
    const Run run = gdapp({ QStringLiteral("get"), QStringLiteral("gdapp:/f.bin"), target });
    QVERIFY2(exitCodes.contains(run.exitCode), QByteArray::number(run.exitCode).constData());
    QVERIFY2(run.err.contains("[error "), run.err.constData());
    QVERIFY(!QFile::exists(target));
    QCOMPARE(QDir(m_work.path())
                     .entryList({ QStringLiteral("failed.bin*"), QStringLiteral(".failed.bin*") },
                                QDir::Files | QDir::Hidden),
             QStringList());

    // An existing file is left as it was.
    QFile previous(target);
    QVERIFY(previous.open(QIODevice::WriteOnly));
    previous.write("previous");
    previous.close();
    if (!fault.isEmpty() && fault.value(QStringLiteral("count")).toInt(1) > 0)
        m_emulator.addFault(fault);
    QVERIFY(exitCodes.contains(
            gdapp({ QStringLiteral("get"), QStringLiteral("gdapp:/f.bin"), target }).exitCode));
    QVERIFY(previous.open(QIODevice::ReadOnly));
    QCOMPARE(previous.readAll(), QByteArray("previous"));
}

void TestGdappCli::notAuthorisedWithoutAnswer()
{
    EmulatorProcess manual;
    QVERIFY(manual.start());
    QTemporaryDir config;
    QProcessEnvironment environment = environmentFor(manual);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config.path());
    const Run run = gdapp({ QStringLiteral("ls") }, QByteArray(), environment);
    QCOMPARE(run.exitCode, 4);
    QVERIFY2(run.err.contains("needs a person") || run.err.contains("asks for a person"),
             run.err.constData());
    QVERIFY(run.err.contains("/o/oauth2/v2/auth?"));
}

void TestGdappCli::logoutThenFreshConsent()
{
    QCOMPARE(gdapp({ QStringLiteral("ls") }).exitCode, 0);
    int mark = m_emulator.nextRequest();
    QCOMPARE(gdapp({ QStringLiteral("ls") }).exitCode, 0);
    QCOMPARE(authorisations(mark), 0); // the stored refresh token did

    const Run logout = gdapp({ QStringLiteral("logout") });
    QCOMPARE(logout.exitCode, 0);
    const QString settings = m_config.filePath(QStringLiteral("Tarnwick/gdapp.conf"));
    QFile file(settings);
    QVERIFY(!file.open(QIODevice::ReadOnly) || !file.readAll().contains("gdapp"));

    mark = m_emulator.nextRequest();
    const Run after = gdapp({ QStringLiteral("ls") });
    QCOMPARE(after.exitCode, 0);
    QCOMPARE(authorisations(mark), 1);
    QVERIFY(after.err.contains("Authorisation needed"));
}

void TestGdappCli::pluginLookup()
{
    const Run missing = gdapp({ QStringLiteral("ls"), QStringLiteral("--plugin"),
                                QStringLiteral("/nonexistent/libgdrive.so") });
    QCOMPARE(missing.exitCode, 1);
    QVERIFY2(missing.err.contains("no plug-in found")
                     && missing.err.contains("/nonexistent/libgdrive.so"),
             missing.err.constData());

    const QString other = QLibraryInfo::path(QLibraryInfo::PluginsPath)
            + QStringLiteral("/platforms/libqminimal.so");
    const Run foreign = gdapp({ QStringLiteral("ls"), QStringLiteral("--plugin"), other });
    QCOMPARE(foreign.exitCode, 1);
    QVERIFY2(foreign.err.contains("is not a storage provider plug-in"), foreign.err.constData());

    QProcessEnvironment environment = environmentFor(m_emulator);
    environment.insert(QStringLiteral("GDAPP_PLUGIN_PATH"),
                       QStringLiteral("/elsewhere/libgdrive.so"));
    const Run fromEnvironment = gdapp({ QStringLiteral("ls") }, QByteArray(), environment);
    QCOMPARE(fromEnvironment.exitCode, 1);
    QVERIFY(fromEnvironment.err.contains("/elsewhere/libgdrive.so"));

    environment.insert(QStringLiteral("GDAPP_PLUGIN_PATH"), QStringLiteral(GDAPP_PLUGIN_PATH));
    QCOMPARE(gdapp({ QStringLiteral("ls") }, QByteArray(), environment).exitCode, 0);
}

void TestGdappCli::progressOnlyOnATerminal()
{
    m_emulator.seedFile(QStringLiteral("/big.bin"), QByteArray(2 * 1024 * 1024, 'x'));
    const Run piped =
            gdapp({ QStringLiteral("get"), QStringLiteral("gdapp:/big.bin"), QStringLiteral("-") });
    QCOMPARE(piped.exitCode, 0);
    QVERIFY(!piped.err.contains('%'));

    // On a terminal (script(1) gives it one) the bar shows.
    const QString script = QStandardPaths::findExecutable(QStringLiteral("script"));
    if (script.isEmpty())
        QSKIP("script(1) is not installed");
    QProcess terminal;
    terminal.setProcessEnvironment(environmentFor(m_emulator));
    terminal.setWorkingDirectory(m_work.path());
    terminal.start(script,
                   { QStringLiteral("-qec"),
                     QStringLiteral("%1 --consent fetch get gdapp:/big.bin big.bin")
                             .arg(QStringLiteral(GDAPP_PROGRAM)),
                     QStringLiteral("/dev/null") });
    QVERIFY(terminal.waitForFinished(60000));
    const QByteArray shown = terminal.readAllStandardOutput();
    QVERIFY2(shown.contains("] 100%"), shown.constData());
}

void TestGdappCli::chooserNeedsADisplay()
{
    const Run run = gdapp({ QStringLiteral("open-dialog") });
    QCOMPARE(run.exitCode, 1);
    QVERIFY(run.err.contains("needs a display"));
}

// Whatever would destroy or mangle what is there is refused before any request that changes
// anything: the plug-in's rename deletes a folder of the new name with its content, and an
// upload onto a folder would send it content.
void TestGdappCli::refusedBeforeAnyChange_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("saying");

    QTest::newRow("mv onto a folder")
            << QStringList { "mv", "gdapp:/a.txt", "gdapp:/Reports" } << QByteArray("is a folder");
    QTest::newRow("cp onto a folder")
            << QStringList { "cp", "gdapp:/a.txt", "gdapp:/Reports" } << QByteArray("is a folder");
    QTest::newRow("standard input onto a folder")
            << QStringList { "put", "-", "gdapp:/Reports" } << QByteArray("is a folder");
    QTest::newRow("into a folder, where a folder has the local name")
            << QStringList { "put", "in.txt", "gdapp:/Reports/" } << QByteArray("is a folder");
    QTest::newRow("local file of 2 GiB")
            << QStringList { "put", "huge.bin", "gdapp:/huge.bin" } << QByteArray("2 GiB");
    QTest::newRow("remote file of 2 GiB")
            << QStringList { "get", "gdapp:/reported-huge.bin" } << QByteArray("2 GiB");
}

void TestGdappCli::refusedBeforeAnyChange()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, saying);

    m_emulator.seedFile(QStringLiteral("/a.txt"), "a");
    m_emulator.seedFolder(QStringLiteral("/Reports/in.txt"));
    m_emulator.seedFile(QStringLiteral("/reported-huge.bin"), "small",
                        { { QStringLiteral("size"), 2147483648.0 } });
    QFile local(m_work.filePath(QStringLiteral("in.txt")));
    QVERIFY(local.open(QIODevice::WriteOnly));
    local.write("local");
    local.close();
    QFile huge(m_work.filePath(QStringLiteral("huge.bin")));
    QVERIFY(huge.open(QIODevice::WriteOnly));
    QVERIFY(huge.resize(qint64(2) * 1024 * 1024 * 1024)); // sparse: nothing is written
    huge.close();
    const QJsonArray before = m_emulator.files();
    const int mark = m_emulator.nextRequest();

    const Run run = gdapp(arguments, "piped");
    huge.remove();
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.err.contains(saying), run.err.constData());
    for (const QJsonValue &request : m_emulator.requests(mark)) {
        const QJsonObject object = request.toObject();
        if (object.value(QStringLiteral("path")).toString().startsWith(QLatin1String("/o/")))
            continue; // the token's refresh
        QCOMPARE(object.value(QStringLiteral("method")).toString(), QStringLiteral("GET"));
        QVERIFY(!object.value(QStringLiteral("query"))
                         .toString()
                         .contains(QLatin1String("alt=media")));
    }
    QCOMPARE(m_emulator.files(), before);
}

// Error texts carry URLs, and URLs carry percent signs.
void TestGdappCli::serviceTextIsShownAsItIs()
{
    m_emulator.addFault({ { QStringLiteral("path"), QStringLiteral("/drive/v3/files") },
                          { QStringLiteral("status"), 500 } });
    const Run run = gdapp({ QStringLiteral("ls"), QStringLiteral("gdapp:/x") });
    QCOMPARE(run.exitCode, 5);
    QVERIFY2(run.err.contains("name%3D'x' and trashed%3Dfalse"), run.err.constData());
    QVERIFY2(run.err.endsWith("Internal Server Error [error 403]\n"), run.err.constData());
}

// The settings hold the tokens, enciphered against a casual look only.
void TestGdappCli::settingsAreForTheOwnerOnly()
{
    QTemporaryDir config;
    QProcessEnvironment environment = environmentFor(m_emulator);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config.filePath(QStringLiteral("new")));
    QCOMPARE(gdapp({ QStringLiteral("login") }, QByteArray(), environment).exitCode, 0);

    const QString folder = config.filePath(QStringLiteral("new/Tarnwick"));
    const QString file = folder + QStringLiteral("/gdapp.conf");
    constexpr QFile::Permissions Mask = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner
            | QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther
            | QFile::WriteOther | QFile::ExeOther;
    QCOMPARE(QFile::permissions(file) & Mask, QFile::ReadOwner | QFile::WriteOwner);
    QCOMPARE(QFile::permissions(folder) & Mask,
             QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QVERIFY(QSettings(file, QSettings::IniFormat).contains(QStringLiteral("gdapp/refreshtoken")));

    // Loosened by hand, it is private again once the next command has written the tokens.
    QVERIFY(QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));
    QCOMPARE(gdapp({ QStringLiteral("ls") }, QByteArray(), environment).exitCode, 0);
    QCOMPARE(QFile::permissions(file) & Mask, QFile::ReadOwner | QFile::WriteOwner);
}

void TestGdappCli::loopbackPortTaken_data()
{
    QTest::addColumn<QString>("consent");
    QTest::newRow("fetch") << QStringLiteral("fetch");
    QTest::newRow("print") << QStringLiteral("print");
}

// With the port held by another program, no answer can reach the plug-in: say so at once.
void TestGdappCli::loopbackPortTaken()
{
    QFETCH(QString, consent);
    QTcpServer other;
    QVERIFY(other.listen(QHostAddress::LocalHost, 5479));
    const Run run = gdapp({ QStringLiteral("--consent"), consent, QStringLiteral("login") });
    QCOMPARE(run.exitCode, 4);
    QVERIFY2(run.err.contains("cannot listen on 127.0.0.1:5479") && run.err.contains("end it"),
             run.err.constData());
    QVERIFY(!run.err.contains("Open this address"));
}

// The plug-in consents again, once, when the service refuses the code (a code can go stale);
// a second refusal, or a refusal it does not retry (a wrong client secret gets 401), ends the
// command instead of a wait or an endless round of consents.
void TestGdappCli::refusedTokenRequests_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<int>("tokenRequests");
    QTest::addColumn<QByteArray>("saying");

    QTest::newRow("one code refused") << 400 << 1 << 0 << 2 << QByteArray("Authorised.");
    QTest::newRow("every code refused")
            << 400 << -1 << 4 << 2 << QByteArray("client identifier or secret");
    QTest::newRow("client refused")
            << 401 << -1 << 4 << 1 << QByteArray("client identifier or secret");
}

void TestGdappCli::refusedTokenRequests()
{
    QFETCH(int, status);
    QFETCH(int, count);
    QFETCH(int, exitCode);
    QFETCH(int, tokenRequests);
    QFETCH(QByteArray, saying);

    m_emulator.addFault({ { QStringLiteral("path"), QStringLiteral("/o/oauth2/token") },
                          { QStringLiteral("status"), status },
                          { QStringLiteral("count"), count } });
    const int mark = m_emulator.nextRequest();
    const Run run = gdapp({ QStringLiteral("login") });
    QCOMPARE(run.exitCode, exitCode);
    QVERIFY2(run.err.contains(saying), run.err.constData());
    QCOMPARE(requestsTo(QStringLiteral("/o/oauth2/token"), mark), tokenRequests);
}

// While a consent waits, the plug-in's listener takes connections on 127.0.0.1 and on no other
// address of the machine.
void TestGdappCli::listenerAnswersOnLoopbackOnly()
{
    QProcess waiting;
    waiting.setProcessEnvironment(environmentFor(m_emulator));
    waiting.start(
            QStringLiteral(GDAPP_PROGRAM),
            { QStringLiteral("--consent"), QStringLiteral("print"), QStringLiteral("login") });
    QByteArray said;
    QTRY_VERIFY_WITH_TIMEOUT(
            (said += waiting.readAllStandardError()).contains("Waiting for the answer"), 30000);

    const auto reachable = [](const QHostAddress &address) {
        QTcpSocket socket;
        socket.connectToHost(address, 5479);
        return socket.waitForConnected(2000);
    };
    QList<QHostAddress> others { QHostAddress(QStringLiteral("127.0.0.2")),
                                 QHostAddress::LocalHostIPv6 };
    for (const QHostAddress &address : QNetworkInterface::allAddresses()) {
        if (!address.isLoopback())
            others.append(address);
    }
    QVERIFY(reachable(QHostAddress::LocalHost));
    for (const QHostAddress &address : others)
        QVERIFY2(!reachable(address), qPrintable(address.toString()));
    waiting.kill();
    waiting.waitForFinished();
}

QTEST_GUILESS_MAIN(TestGdappCli)
#include "tst_gdappcli.moc"
