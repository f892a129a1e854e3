// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorprocess.h"
#include "gdapprunner.h"
#include "loggedrequest.h"

#include <QCryptographicHash>
#include <QLibraryInfo>
#include <QLocalServer>
#include <QNetworkInterface>
#include <QSettings>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {
using Run = GdappRunner::Run;

// The type and permissions of what is at path, as lstat(2) tells them.
mode_t modeOf(const QString &path)
{
    struct stat status;
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode : 0;
}
} // namespace

// gdapp, the command-line host, run as a user runs it, against the emulator. Commands are
// written as a user types them; they run in a scratch folder of their own. What any sequence of
// file commands does to the service and to local files is checked against a model by
// tests/model/gdapp_model.py; here, what it cannot see: texts, the sign-in, the terminal, the
// service failing half-way.
class TestGdappCli : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void helpAgreesWithItselfAndTheManual();
    void refusedBeforeAnyChange_data();
    void refusedBeforeAnyChange();
    void listingAndStat();
    void progressOnlyOnATerminal();
    void mvOntoAFileLosesNothing_data();
    void mvOntoAFileLosesNothing();
    void newFileNearTheSizeLimit();
    void signInKeptPrivateUntilLogout();
    void failedLoginKeepsTheSignIn_data();
    void failedLoginKeepsTheSignIn();
    void consentWaitingForTheBrowser_data();
    void consentWaitingForTheBrowser();
    void pluginTextsInTheUsersLanguage_data();
    void pluginTextsInTheUsersLanguage();
    void urlsAsTypedAndAsPrinted_data();
    void urlsAsTypedAndAsPrinted();
    void getIntoWhatIsNotARegularFile();
    void standardOutputThatTakesNothing_data();
    void standardOutputThatTakesNothing();
    void bashCompletion_data();
    void bashCompletion();

private:
    // variables ("NAME=value") change the environment for this command.
    Run gdapp(const QString &line, const QByteArray &input = QByteArray(),
              const QStringList &variables = QStringList()) const
    {
        return m_gdapp.run(QProcess::splitCommand(line), input, [&](QProcess &process) {
            process.setProcessEnvironment(withVariables(variables));
        });
    }
    QProcessEnvironment withVariables(const QStringList &variables) const;
    int requestsTo(const QString &path, int since);
    QString local(const QString &name) const { return QDir(m_work.path()).filePath(name); }
    void writeLocal(const QString &name, const QByteArray &content);

    EmulatorProcess m_emulator;
    QTemporaryDir m_config;
    QTemporaryDir m_work;
    // Settings where gdapp has no sign-in.
    const QString m_noSignIn = QStringLiteral("XDG_CONFIG_HOME=") + local(QStringLiteral("none"));
    GdappRunner m_gdapp { QStringLiteral(GDAPP_PROGRAM) };
};

void TestGdappCli::initTestCase()
{
    QVERIFY(m_config.isValid() && m_work.isValid());
    QVERIFY(m_emulator.start({ QStringLiteral("--auto-approve") }));
    m_gdapp.setEnvironment(GdappRunner::environmentFor(m_emulator.url(), m_config.path()));
    m_gdapp.setWorkingDirectory(m_work.path());
    // A folder where the settings file would be.
    QVERIFY(QDir().mkpath(local(QStringLiteral("folder/Tarnwick/gdapp.conf"))));
    QCOMPARE(gdapp(QStringLiteral("login")).exitCode, 0); // the sign-in that commands start from
}

void TestGdappCli::init()
{
    m_emulator.control("DELETE", QStringLiteral("files"));
    m_emulator.control("DELETE", QStringLiteral("faults"));
    m_emulator.setSettings(json(R"({"autoApprove": true})"));
}

QProcessEnvironment TestGdappCli::withVariables(const QStringList &variables) const
{
    QProcessEnvironment environment = m_gdapp.environment();
    for (const QString &variable : variables)
        environment.insert(variable.section(QLatin1Char('='), 0, 0),
                           variable.section(QLatin1Char('='), 1));
    return environment;
}

int TestGdappCli::requestsTo(const QString &path, int since)
{
    int count = 0;
    for (const LoggedRequest &request : LoggedRequest::list(m_emulator.requests(since)))
        count += request.path() == path;
    return count;
}

void TestGdappCli::writeLocal(const QString &name, const QByteArray &content)
{
    QFile file(local(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

// gdapp --help lists each command as the command's own help shows it, and the exit statuses as
// the manual's EXIT STATUS section does, in order.
void TestGdappCli::helpAgreesWithItselfAndTheManual()
{
    const QString help = QString::fromUtf8(gdapp(QStringLiteral("--help")).out);
    const QStringList commands = help.section(QStringLiteral("Commands:\n"), 1)
                                         .section(QStringLiteral("\n\n"), 0, 0)
                                         .split(QLatin1Char('\n'));
    QVERIFY2(commands.size() > 10, qPrintable(help));
    for (const QString &command : commands) {
        const QByteArray usage = command.trimmed().section(QStringLiteral("  "), 0, 0).toUtf8();
        const Run own = gdapp(QString::fromUtf8(usage.split(' ').first()) + " --help");
        QVERIFY2(own.exitCode == 0 && own.out.contains("[options] " + usage + '\n')
                         && own.out.contains("--plugin"),
                 qPrintable(command));
    }

    const QString line = help.section(QStringLiteral("Exit status: "), 1).section('\n', 0, 0);
    QStringList inHelp;
    const QRegularExpression helpEntry(QStringLiteral("(?:^|, )(\\d+) "));
    for (auto it = helpEntry.globalMatch(line); it.hasNext();)
        inHelp += it.next().captured(1);
    QFile manual(QStringLiteral(GDAPP_MANUAL));
    QVERIFY(manual.open(QIODevice::ReadOnly | QIODevice::Text));
    const QString section = QString::fromUtf8(manual.readAll())
                                    .section(QStringLiteral(".SH EXIT STATUS\n"), 1)
                                    .section(QStringLiteral(".SH "), 0, 0);
    QStringList inManual;
    const QRegularExpression manualEntry(QStringLiteral("^\\.TP\n\\.B (\\d+)$"),
                                         QRegularExpression::MultilineOption);
    for (auto it = manualEntry.globalMatch(section); it.hasNext();)
        inManual += it.next().captured(1);
    QVERIFY2(inHelp.size() > 1, qPrintable(line));
    QCOMPARE(inManual, inHelp);
}

// A command line gdapp cannot take (status 2), or a command that would destroy or mangle what
// is there, or cannot work here, fails saying why before any request that changes anything:
// the plug-in's rename deletes a folder of the new name with its content, and an upload onto a
// folder would send it content.
void TestGdappCli::refusedBeforeAnyChange_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("saying");
    QTest::addColumn<QStringList>("variables");
    QTest::addColumn<QJsonObject>("fault");

    const auto row = [](const char *name, const QString &line, int exitCode, const char *saying,
                        const QStringList &variables = {}, const char *fault = "{}") {
        QTest::newRow(name) << line << exitCode << QByteArray(saying) << variables << json(fault);
    };
    row("no command", "", 2, "--help");
    row("unknown command", "frobnicate", 2, "--help");
    row("missing argument", "cp gdapp:/a", 2, "--help");
    row("too many arguments", "rm gdapp:/a gdapp:/b", 2, "--help");
    row("unknown option", "ls --frobnicate", 2, "--help");
    row("bad consent mode", "ls --consent telepathy", 2, "--help");
    // Read as 0, it would wait for ever.
    row("a time-out that is no number", "ls --timeout soon", 2, "--help");
    row("a negative time-out", "ls --timeout -5", 2, "--help");
    row("--proxy with --no-proxy", "ls --proxy http://proxy.example:3128 --no-proxy", 2, "--help");
    row("a proxy gdapp cannot use", "ls --proxy https://proxy.example:3128", 2, "--help");
    row("rm of the top folder", "rm -r gdapp:/", 2, "--help");
    // "cp a b/" keeps the name in b, here the source's own folder: that names the source
    // itself, which "remove it first" would have lost.
    row("cp into its own folder", "cp gdapp:/T/b.txt gdapp:/T/", 2, "--help");

    row("mv onto a folder", "mv gdapp:/a.txt gdapp:/Reports", 1, "is a folder");
    row("cp of a folder", "cp gdapp:/Reports gdapp:/Reports2", 1,
        "gdapp:/Reports is a folder: the service copies files only");
    // The service matches names whatever their case: the plug-in would remove the source.
    row("mv to another case of the name", "mv gdapp:/a.txt gdapp:/A.txt", 1, "gdapp:/a.txt itself");
    row("rm of a folder without -r", "rm gdapp:/Reports", 1, "use -r");
    row("mkdir without -p", "mkdir gdapp:/x/y", 3, "use -p");
    row("remote file of 2 GiB", "get gdapp:/reported-huge.bin", 1, "2 GiB");
    // Names that the plug-in's lookup could not find again; "a b.txt" is what "a+b.txt"
    // would find.
    row("+ in a name", "put in.txt gdapp:/a+b.txt", 1, R"(send "+" as a space)");
    row("+ in a local name", "put a+b.txt gdapp:/Reports/", 1, R"(refused name "a+b.txt")");
    // Its name is no name for a remote file, but it is a folder before anything else.
    row("put of the current folder", "put . gdapp:/Reports/", 1,
        ". is a folder: put uploads one file");

    row("no display for the chooser", "open-dialog", 1, "the chooser needs a display");
    row("no plug-in there", "ls --plugin /nonexistent/libgdrive.so", 1,
        "no plug-in found; looked at:\n  /nonexistent/libgdrive.so\n");
    row("no storage provider plug-in",
        "ls --plugin " + QLibraryInfo::path(QLibraryInfo::PluginsPath)
                + "/platforms/libqminimal.so",
        1, "libqminimal.so is not a storage provider plug-in");
    // A service address the plug-in would take as it stands is refused, naming the variable,
    // rather than left to fail on the way with Qt's words.
    row("no URL", "ls", 1, R"(gdapp: ls: GDAPP_DRIVE_URL is "notaurl")",
        { "GDAPP_DRIVE_URL=notaurl" });
    row("no web URL", "ls", 1, R"(gdapp: ls: GDAPP_DRIVE_URL is "ftp://127.0.0.1:21")",
        { "GDAPP_DRIVE_URL=ftp://127.0.0.1:21" });
    row("no host", "ls", 1, R"(gdapp: ls: GDAPP_OAUTH_URL is "http:/token")",
        { "GDAPP_OAUTH_URL=http:/token" });
    row("a query", "ls", 1, R"(gdapp: ls: GDAPP_OAUTH_URL is "http://127.0.0.1:1/?x=y")",
        { "GDAPP_OAUTH_URL=http://127.0.0.1:1/?x=y" });
    // Made private, a folder there would never hold the tokens.
    row("the settings a folder", "ls", 1, "/folder/Tarnwick/gdapp.conf is not a file\n",
        { QStringLiteral("XDG_CONFIG_HOME=") + local(QStringLiteral("folder")) });
    row("--consent none without a sign-in", "--consent none ls", 4,
        R"(not signed in: run "gdapp login")", { m_noSignIn });

    // The plug-in's code is no HTTP status, whatever it looks like: 403 is its code for a path
    // that did not resolve, whatever the service answered to the lookup; the reply's status
    // decides (here credentials refused, 4, where the plug-in's code would give 5).
    row("a lookup's credentials refused", "ls gdapp:/x", 4,
        "server replied: Unauthorized (HTTP 401, plug-in error 403)\n", {},
        R"({"method": "GET", "path": "/drive/v3/files", "status": 401})");
}

void TestGdappCli::refusedBeforeAnyChange()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, saying);
    QFETCH(QStringList, variables);
    QFETCH(QJsonObject, fault);

    m_emulator.seedFile(QStringLiteral("/a.txt"), "a");
    m_emulator.seedFile(QStringLiteral("/a b.txt"), "a b");
    m_emulator.seedFile(QStringLiteral("/Reports/r.txt"), "r");
    m_emulator.seedFile(QStringLiteral("/reported-huge.bin"), "small",
                        { { QStringLiteral("size"), 2147483648.0 } });
    writeLocal(QStringLiteral("in.txt"), "local");
    writeLocal(QStringLiteral("a+b.txt"), "local");
    if (!fault.isEmpty())
        m_emulator.addFault(fault);
    const QJsonArray before = m_emulator.files();
    const int mark = m_emulator.nextRequest();

    const Run run = gdapp(line, "piped", variables);
    QTEST(run.exitCode, "exitCode");
    QVERIFY2(run.err.startsWith("gdapp: ") && run.err.contains(saying), run.err.constData());
    // Lookups only, and the token's refresh.
    for (const LoggedRequest &request : LoggedRequest::list(m_emulator.requests(mark))) {
        QVERIFY2((request.method() == QLatin1String("GET")
                  && !request.target().contains(QLatin1String("alt=media")))
                         || request.path().startsWith(QLatin1String("/o/")),
                 qPrintable(request.method() + QLatin1Char(' ') + request.target()));
    }
    QCOMPARE(m_emulator.files(), before);
}

// One line an entry, in columns: control characters are escaped, and backslashes that would
// read as an escape. stat tells what ls does not.
void TestGdappCli::listingAndStat()
{
    const QByteArray content(1800, 'r');
    m_emulator.seedFile(QStringLiteral("/docs/report.txt"), content);
    m_emulator.seedFile(QStringLiteral("/docs/two\nlines\ttab\x1b\\n.txt"), "o");
    const Run listing = gdapp(QStringLiteral("ls gdapp:/docs"));
    QVERIFY2(QString::fromUtf8(listing.out)
                     .contains(QRegularExpression(QStringLiteral(
                             "^- +1800  \\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d  report\\.txt\\n"
                             "- +1  [^\\n]+  two\\\\nlines\\\\ttab\\\\x1b\\\\\\\\n\\.txt\\n$"))),
             listing.out.constData());

    const Run stat = gdapp(QStringLiteral("stat gdapp:/docs/report.txt"));
    QVERIFY(stat.out.contains("type:     file\n"));
    QVERIFY(stat.out.contains("size:     1800\n"));
    QVERIFY(stat.out.contains(
            "md5:      " + QCryptographicHash::hash(content, QCryptographicHash::Md5).toHex()));
}

void TestGdappCli::progressOnlyOnATerminal()
{
    m_emulator.seedFile(QStringLiteral("/big.bin"), QByteArray(2 * 1024 * 1024, 'x'));
    const Run piped = gdapp(QStringLiteral("get gdapp:/big.bin -"));
    QCOMPARE(piped.exitCode, 0);
    QVERIFY(!piped.err.contains('%'));

    // On a terminal (script(1) gives it one) the bar shows.
    QProcess terminal;
    terminal.setProcessEnvironment(m_gdapp.environment());
    terminal.setWorkingDirectory(m_work.path());
    terminal.start(QStringLiteral("script"),
                   { QStringLiteral("-qec"),
                     QStringLiteral(GDAPP_PROGRAM " --consent fetch get gdapp:/big.bin big.bin"),
                     QStringLiteral("/dev/null") });
    QVERIFY(terminal.waitForFinished(60000));
    const QByteArray shown = terminal.readAllStandardOutput();
    QVERIFY2(shown.contains("] 100%"), shown.constData());
}

void TestGdappCli::mvOntoAFileLosesNothing_data()
{
    QTest::addColumn<QJsonArray>("faults");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QStringList>("left"); // path=content; "aside" for the name set aside
    QTest::addColumn<QByteArray>("says");

    const auto row = [](const char *name, const QJsonArray &faults, int exitCode,
                        const QStringList &left, const char *says) {
        QTest::newRow(name) << faults << exitCode << left << QByteArray(says);
    };
    // The renames are PATCH requests: the destination's aside, the source's, and the one that
    // puts the destination back. A delay of a millisecond lets one through.
    const QJsonObject through = json(R"({"method": "PATCH", "delayMs": 1})");
    const QJsonObject refused = json(R"({"method": "PATCH", "status": 500})");
    const QStringList asItWas { "/draft.odt=draft", "/report.odt=report" };
    const char *untouched = "gdapp:/report.odt is as it was\n";
    row("setting the destination aside fails", { refused }, 5, asItWas, untouched);
    row("the source's rename fails: the destination gets its name back", { through, refused }, 5,
        asItWas, untouched);
    row("the source's rename fails, and the way back too", { through, refused, refused }, 5,
        { "/draft.odt=draft", "aside=report" },
        "the old gdapp:/report.odt is now gdapp:/.gdapp-replaced-");
    row("removing the file set aside fails", { json(R"({"method": "DELETE", "status": 500})") }, 5,
        { "/report.odt=draft", "aside=report" }, "but the file it replaced could not be removed");
    // The service renamed it, and the answer was lost.
    row("the source's rename done, its answer cut",
        { through, json(R"({"method": "PATCH", "action": "truncate", "count": -1})") }, 0,
        { "/report.odt=draft" }, "");
}

// mv onto an existing file removes it only once the source has its name: a failure at any step
// leaves it as it was, or says where it is, and never loses it.
void TestGdappCli::mvOntoAFileLosesNothing()
{
    QFETCH(QJsonArray, faults);
    QFETCH(QStringList, left);
    QFETCH(QByteArray, says);

    m_emulator.seedFile(QStringLiteral("/report.odt"), "report");
    const QString draftId = idOf(m_emulator.seedFile(QStringLiteral("/draft.odt"), "draft"));
    for (const QJsonValue &fault : faults)
        m_emulator.addFault(fault.toObject());

    const Run run = gdapp(QStringLiteral("mv gdapp:/draft.odt gdapp:/report.odt"));
    QTEST(run.exitCode, "exitCode");
    QVERIFY2(run.err.contains(says), run.err.constData());
    QStringList found;
    for (const QJsonValue &file : m_emulator.files()) {
        const QString path = file[QLatin1String("path")].toString();
        found.append((path.startsWith(QLatin1String("/.gdapp-replaced-")) ? QStringLiteral("aside")
                                                                          : path)
                     + QLatin1Char('=')
                     + QString::fromUtf8(m_emulator.content(idOf(file.toObject()))));
    }
    found.sort();
    QCOMPARE(found, left);
    // The file renamed is the source itself, not a copy.
    if (left.contains(QStringLiteral("/report.odt=draft")))
        QCOMPARE(idOf(m_emulator.fileAt(QStringLiteral("/report.odt"))), draftId);
}

// Qt sends a request body of 2 GiB at most, and a new file's holds its metadata besides the
// content: a file that would not fit is refused before it is read, with the exact limit, which
// is 2 GiB less what the plug-in sends around the content, the name among it, escaped as JSON (a
// quote, a tab) and in UTF-8.
void TestGdappCli::newFileNearTheSizeLimit()
{
    m_emulator.seedFolder(QStringLiteral("/D"));
    const QString url = QStringLiteral("gdapp:/D/say \"hi\"%09日本語");
    writeLocal(QStringLiteral("small.bin"), "small");
    int mark = m_emulator.nextRequest();
    QCOMPARE(m_gdapp.run({ QStringLiteral("put"), QStringLiteral("small.bin"), url }).exitCode, 0);
    qint64 envelope = -1;
    for (const LoggedRequest &request : LoggedRequest::list(m_emulator.requests(mark))) {
        if (request.path() == QLatin1String("/upload/drive/v3/files"))
            envelope = request.header(QStringLiteral("Content-Length")).toLongLong() - 5;
    }
    QCOMPARE(m_gdapp.run({ QStringLiteral("rm"), url }).exitCode, 0);

    const qint64 limit = (qint64(1) << 31) - envelope;
    QFile large(local(QStringLiteral("large.bin")));
    QVERIFY(large.open(QIODevice::WriteOnly) && large.resize(limit + 1)); // sparse: nothing written
    large.close();
    mark = m_emulator.nextRequest();
    const Run run = m_gdapp.run({ QStringLiteral("put"), QStringLiteral("large.bin"), url });
    large.remove();
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.err.contains(QStringLiteral("room for %1 bytes").arg(limit).toUtf8()),
             run.err.constData());
    QCOMPARE(requestsTo(QStringLiteral("/upload/drive/v3/files"), mark), 0);
}

// The settings hold the tokens, enciphered against a casual look only: they are for the owner
// alone, again once a command has written them after a loosening by hand. logout forgets the
// whole sign-in, once.
void TestGdappCli::signInKeptPrivateUntilLogout()
{
    QTemporaryDir config;
    const QStringList variables { QStringLiteral("XDG_CONFIG_HOME=")
                                  + config.filePath(QStringLiteral("new")) };
    QCOMPARE(gdapp(QStringLiteral("login"), QByteArray(), variables).exitCode, 0);
    const QString folder = config.filePath(QStringLiteral("new/Tarnwick"));
    const QString file = folder + QStringLiteral("/gdapp.conf");
    QCOMPARE(modeOf(file) & 0777, mode_t(0600));
    QCOMPARE(modeOf(folder) & 0777, mode_t(0700));
    QVERIFY(QSettings(file, QSettings::IniFormat).contains(QStringLiteral("gdapp/refreshtoken")));
    QVERIFY(QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));
    QCOMPARE(gdapp(QStringLiteral("ls"), QByteArray(), variables).exitCode, 0);
    QCOMPARE(modeOf(file) & 0777, mode_t(0600));

    QCOMPARE(gdapp(QStringLiteral("logout"), QByteArray(), variables).exitCode, 0);
    QCOMPARE(QSettings(file, QSettings::IniFormat).childGroups(), QStringList());
    // Once more, with nothing left to forget: it says so rather than "signed out".
    QVERIFY(gdapp(QStringLiteral("logout"), QByteArray(), variables).err.startsWith("Not signed"));
}

// A login that fails costs nothing: the sign-in stored before stays. With the loopback port held
// by another program, no answer can reach the plug-in: it says so at once. --consent fetch cannot
// answer a consent page that waits for a person: it says where to go. The plug-in consents again,
// once, when the service refuses the code (a code can go stale); a second refusal, or a refusal
// it does not retry (a wrong client secret gets 401), ends the command instead of a wait or an
// endless round of consents.
void TestGdappCli::failedLoginKeepsTheSignIn_data()
{
    QTest::addColumn<QJsonObject>("fault"); // none: the port is taken
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<int>("tokenRequests");
    QTest::addColumn<QByteArray>("saying");

    QTest::newRow("port taken") << QJsonObject() << 4 << 0
                                << QByteArray("cannot listen on 127.0.0.1:5479 for the browser's "
                                              "answer");
    QTest::newRow("a consent page that waits for a person")
            << json(R"({"path": "/o/oauth2/v2/auth", "status": 200,
                        "body": "<html><body>Autoriser ?</body></html>", "contentType": "text/html"})")
            << 4 << 0 << QByteArray("the consent page asks for a person");
    const QByteArray client("client identifier or secret");
    QTest::newRow("one code refused")
            << json(R"({"path": "/o/oauth2/token", "status": 400, "count": 1})") << 0 << 2
            << QByteArray("Authorised.");
    QTest::newRow("every code refused")
            << json(R"({"path": "/o/oauth2/token", "status": 400, "count": -1})") << 4 << 2
            << client;
    QTest::newRow("client refused")
            << json(R"({"path": "/o/oauth2/token", "status": 401, "count": -1})") << 4 << 1
            << client;
}

void TestGdappCli::failedLoginKeepsTheSignIn()
{
    QFETCH(QJsonObject, fault);
    QFETCH(QByteArray, saying);

    const QByteArray signIn = GdappRunner::storedRefreshToken(m_config.path());
    QVERIFY(!signIn.isEmpty());
    QTcpServer other;
    if (fault.isEmpty())
        QVERIFY(other.listen(QHostAddress::LocalHost, 5479));
    else
        m_emulator.addFault(fault);
    const int mark = m_emulator.nextRequest();
    const Run run = gdapp(QStringLiteral("login"));
    QTEST(run.exitCode, "exitCode");
    QVERIFY2(run.err.contains(saying), run.err.constData());
    QCOMPARE(run.err.contains("Open this address"), !fault.isEmpty()); // none that cannot work
    QTEST(requestsTo(QStringLiteral("/o/oauth2/token"), mark), "tokenRequests");
    if (run.exitCode != 0)
        QCOMPARE(GdappRunner::storedRefreshToken(m_config.path()), signIn);
}

void TestGdappCli::consentWaitingForTheBrowser_data()
{
    QTest::addColumn<QString>("browser");
    QTest::addColumn<QByteArray>("says");
    QTest::newRow("it fails") << "false"
                              << QByteArray(R"(The browser command "false" failed)"
                                            R"( (exit status 1))");
    QTest::newRow("it is not there")
            << "/nonexistent/browser"
            << QByteArray(R"(The browser command "/nonexistent/browser" was not found)");
}

// While a consent waits, a browser command that fails is told, and the plug-in's listener takes
// connections on 127.0.0.1 and on no other address of the machine.
void TestGdappCli::consentWaitingForTheBrowser()
{
    QFETCH(QString, browser);
    QFETCH(QByteArray, says);
    QProcess waiting;
    waiting.setProcessEnvironment(withVariables({ m_noSignIn }));
    waiting.start(QStringLiteral(GDAPP_PROGRAM),
                  { QStringLiteral("--consent"), QStringLiteral("browser"),
                    QStringLiteral("--browser"), browser, QStringLiteral("login") });
    QByteArray said;
    QTRY_VERIFY2_WITH_TIMEOUT((said += waiting.readAllStandardError()).contains(says),
                              said.constData(), 30000);
    QVERIFY2(!said.contains("Opening it in the browser") || said.contains("failed"),
             said.constData());

    const auto reachable = [](const QHostAddress &address) {
        QTcpSocket socket;
        socket.connectToHost(address, 5479);
        return socket.waitForConnected(2000);
    };
    const QList<QHostAddress> addresses = QList<QHostAddress> {
        QHostAddress(QHostAddress::LocalHost), QHostAddress(QHostAddress::LocalHostIPv6),
        QHostAddress(QStringLiteral("127.0.0.2"))
    } + QNetworkInterface::allAddresses();
    for (const QHostAddress &address : addresses)
        QVERIFY2(reachable(address) == (address == QHostAddress::LocalHost),
                 qPrintable(address.toString()));
    waiting.kill();
    waiting.waitForFinished();
}

// gdapp shows the plug-in's texts in the language Qt reads from the environment, LANGUAGE first,
// and in French, the plug-in's own, where it has no catalogue.
void TestGdappCli::pluginTextsInTheUsersLanguage_data()
{
    QTest::addColumn<QStringList>("variables");
    QTest::addColumn<QString>("says");

    QTest::newRow("German") << QStringList { "LC_ALL=", "LANG=en_US.UTF-8", "LANGUAGE=de:en" }
                            << "Die empfangenen Daten sind beschädigt (plug-in error 299)";
    QTest::newRow("a language without a catalogue")
            << QStringList { "LC_ALL=", "LANG=it_IT.UTF-8" }
            << "Les données reçues sont corrompues (plug-in error 299)";
}

void TestGdappCli::pluginTextsInTheUsersLanguage()
{
    QFETCH(QStringList, variables);
    QFETCH(QString, says);
    m_emulator.seedFile(QStringLiteral("/f.bin"), "content",
                        json(R"({"md5Checksum": "00000000000000000000000000000000"})"));
    const Run run = gdapp(QStringLiteral("get gdapp:/f.bin -"), QByteArray(), variables);
    QCOMPARE(run.exitCode, 6);
    QVERIFY2(QString::fromUtf8(run.err).contains(says), run.err.constData());
}

// A space is written as it is, and every URL gdapp prints is one it takes back.
void TestGdappCli::urlsAsTypedAndAsPrinted_data()
{
    QTest::addColumn<QString>("path"); // on the service
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("printed");

    const auto row = [](const char *name, const char *path, const char *typed,
                        const char *printed) {
        QTest::newRow(name) << QString::fromUtf8(path) << QString::fromUtf8(typed)
                            << QString::fromUtf8(printed);
    };
    row("a # escaped", "/no#1.txt", "gdapp:/no%231.txt", "gdapp:/no%231.txt");
    row("not ASCII", "/Ünïcødé 日本.txt", "gdapp:/Ünïcødé 日本.txt", "gdapp:/Ünïcødé 日本.txt");
    row("a folder, with a trailing slash", "/my docs/a.txt", "gdapp:/my docs/", "gdapp:/my docs");
}

void TestGdappCli::urlsAsTypedAndAsPrinted()
{
    QFETCH(QString, path);
    QFETCH(QString, typed);
    QFETCH(QString, printed);
    m_emulator.seedFile(path, "content");

    const Run stat = m_gdapp.run({ QStringLiteral("stat"), typed });
    QVERIFY2(QString::fromUtf8(stat.out).startsWith(QStringLiteral("url:      %1\n").arg(printed)),
             stat.out.constData());
    // Taken back, the URL printed names the same entry.
    QCOMPARE(m_gdapp.run({ QStringLiteral("stat"), printed }).out, stat.out);
}

// Written directly, as cp does: renaming over a socket, a FIFO or a device would replace the node
// itself.
void TestGdappCli::getIntoWhatIsNotARegularFile()
{
    m_emulator.seedFile(QStringLiteral("/x.txt"), "remote content\n");
    QTemporaryDir folder(m_work.filePath(QStringLiteral("nodes-XXXXXX")));
    const QString target = folder.filePath(QStringLiteral("target"));
    QLocalServer socket;
    QVERIFY(socket.listen(target));

    const Run run = gdapp(QStringLiteral("get gdapp:/x.txt ") + target);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.err.endsWith("target: No such device or address\n"), run.err.constData());
    QCOMPARE(modeOf(target) & S_IFMT, mode_t(S_IFSOCK));
    QCOMPARE(QDir(folder.path())
                     .entryList(QDir::AllEntries | QDir::System | QDir::Hidden
                                | QDir::NoDotAndDotDot),
             QStringList(QStringLiteral("target")));
}

void TestGdappCli::standardOutputThatTakesNothing_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("closed"); // else the full device
    QTest::addColumn<QByteArray>("says");

    QTest::newRow("get to a full disk")
            << "get gdapp:/x.txt -" << false << QByteArray("No space left on device\n");
    QTest::newRow("help to a full disk")
            << "--help" << false << QByteArray("No space left on device\n");
    QTest::newRow("stat to a closed one")
            << "stat gdapp:/x.txt" << true << QByteArray("Bad file descriptor\n");
}

void TestGdappCli::standardOutputThatTakesNothing()
{
    QFETCH(QString, line);
    QFETCH(bool, closed);
    QFETCH(QByteArray, says);

    // Valgrind, tracing gdapp, opens files of its own before gdapp runs: the first takes the
    // number left free.
    if (closed && qEnvironmentVariable("LD_PRELOAD").contains(QLatin1String("vgpreload")))
        QSKIP("under valgrind, which takes the closed descriptor for itself");
    m_emulator.seedFile(QStringLiteral("/x.txt"), QByteArray(100000, 'x'));
    const Run run =
            m_gdapp.run(QProcess::splitCommand(line), QByteArray(), [closed](QProcess &process) {
                if (closed)
                    process.setChildProcessModifier([] { ::close(STDOUT_FILENO); });
                else
                    process.setStandardOutputFile(QStringLiteral("/dev/full"));
            });
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.err.endsWith(": standard output: " + says), run.err.constData());
}

void TestGdappCli::bashCompletion_data()
{
    QTest::addColumn<QString>("typed"); // after "gdapp "
    QTest::addColumn<QStringList>("replies");
    QTest::addColumn<bool>("noSpace");
    QTest::addColumn<bool>("authorised");

    // Bash takes the colon for a word break: replies complete what follows it.
    QTest::newRow("the scheme") << "rm gd" << QStringList { "gdapp:/" } << true << true;
    QTest::newRow("the top folder")
            << "rm gdapp:" << QStringList { "/docs/", R"(/with\ space.txt)" } << false << true;
    QTest::newRow("a folder") << "get gdapp:/d" << QStringList { "/docs/" } << true << true;
    QTest::newRow("in a folder") << "get gdapp:/docs/" << QStringList { "/docs/report.txt" }
                                 << false << true;
    QTest::newRow("a local file to upload")
            << "put loc" << QStringList { "local.txt", "localdir" } << false << true;
    QTest::newRow("where a download goes")
            << "get gdapp:/docs/report.txt loc" << QStringList { "local.txt", "localdir" } << false
            << true;
    QTest::newRow("not authorised: no consent asked")
            << "rm gdapp:/" << QStringList() << false << false;
}

void TestGdappCli::bashCompletion()
{
    QFETCH(QString, typed);
    QFETCH(QStringList, replies);
    QFETCH(bool, noSpace);
    QFETCH(bool, authorised);

    m_emulator.seedFile(QStringLiteral("/docs/report.txt"), "r");
    m_emulator.seedFile(QStringLiteral("/with space.txt"), "s");
    writeLocal(QStringLiteral("local.txt"), "l");
    QVERIFY(QDir(m_work.path()).mkpath(QStringLiteral("localdir")));
    const int mark = m_emulator.nextRequest();

    // compopt works only while bash completes a line: here it tells what it was asked.
    const QString script =
            QStringLiteral("source \"$1\"; compopt() { echo \"$*\" >&2; }; COMP_LINE=$2; "
                           "COMP_POINT=${#COMP_LINE}; _gdapp; printf '%s\\n' \"${COMPREPLY[@]}\"");
    QProcess bash;
    bash.setProcessEnvironment(withVariables(authorised ? QStringList() : QStringList(m_noSignIn)));
    bash.setWorkingDirectory(m_work.path());
    bash.start(QStringLiteral("bash"),
               { QStringLiteral("-c"), script, QStringLiteral("bash"),
                 QStringLiteral(GDAPP_COMPLETION), QStringLiteral(GDAPP_PROGRAM " ") + typed });
    QVERIFY(bash.waitForFinished(60000));
    QStringList lines = QString::fromUtf8(bash.readAllStandardOutput())
                                .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    lines.sort();
    QCOMPARE(lines, replies);
    QCOMPARE(bash.readAllStandardError().contains("nospace"), noSpace);
    QCOMPARE(requestsTo(QStringLiteral("/o/oauth2/v2/auth"), mark), 0);
}

QTEST_GUILESS_MAIN(TestGdappCli)
#include "tst_gdappcli.moc"
