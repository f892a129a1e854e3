// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorprocess.h"
#include "gdapprunner.h"
#include "loggedrequest.h"

#include <QCryptographicHash>
#include <QLibraryInfo>
#include <QNetworkInterface>
#include <QSettings>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QLocalServer>
#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {
using Run = GdappRunner::Run;

QByteArray md5(const QByteArray &data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex();
}

// The type of what is at path, as lstat(2) tells it.
mode_t fileType(const QString &path)
{
    struct stat status;
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & S_IFMT : 0;
}

// One command of a session: what the user types, and the exit status and words that follow.
struct Step
{
    const char *line;
    int exitCode;
    const char *says = "";
};
} // namespace

// gdapp, the command-line host, run as a user runs it, against the emulator. Commands are
// written as a user types them; they run in a scratch folder of their own.
class TestGdappCli : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void helpForEveryCommand_data();
    void helpForEveryCommand();
    void exitStatusesAsTheManualLists();
    void usageErrors_data();
    void usageErrors();
    void session();
    void listingAndStat();
    void transfersThroughStandardStreams();
    void notFound_data();
    void notFound();
    void notAuthorisedWithoutAnswer();
    void logoutThenFreshConsent();
    void pluginLookup();
    void progressOnlyOnATerminal();
    void chooserNeedsADisplay();
    void refusedBeforeAnyChange_data();
    void refusedBeforeAnyChange();
    void serviceErrorsNameTheHttpStatus_data();
    void serviceErrorsNameTheHttpStatus();
    void mvOntoAFileLosesNothing_data();
    void mvOntoAFileLosesNothing();
    void newFileNearTheSizeLimit_data();
    void newFileNearTheSizeLimit();
    void malformedServiceUrl_data();
    void malformedServiceUrl();
    void settingsAreForTheOwnerOnly();
    void loopbackPortTaken_data();
    void loopbackPortTaken();
    void refusedTokenRequests_data();
    void refusedTokenRequests();
    void listenerAnswersOnLoopbackOnly();
    void pluginTextsInTheUsersLanguage_data();
    void pluginTextsInTheUsersLanguage();

    void urlsAsTypedAndAsPrinted_data();
    void urlsAsTypedAndAsPrinted();
    void getIntoWhatIsNotARegularFile_data();
    void getIntoWhatIsNotARegularFile();
    void standardOutputThatTakesNothing_data();
    void standardOutputThatTakesNothing();
    void fullDiskKeepsTheOldFile();
    void failingBrowserCommandIsTold_data();
    void failingBrowserCommandIsTold();
    void settingsPathThatIsNotAFile_data();
    void settingsPathThatIsNotAFile();
    void bashCompletion_data();
    void bashCompletion();

private:
    Run gdapp(const QString &line, const QByteArray &input = QByteArray(),
              const QProcessEnvironment &environment = QProcessEnvironment())
    {
        return m_gdapp.run(QProcess::splitCommand(line), input, environment);
    }
    void runSteps(std::initializer_list<Step> steps);
    QProcessEnvironment environmentFor(const EmulatorProcess &emulator) const
    {
        return GdappRunner::environmentFor(emulator.url(), m_config.path());
    }
    int requestsTo(const QString &path, int since);
    QString local(const QString &name) const { return QDir(m_work.path()).filePath(name); }
    void writeLocal(const QString &name, const QByteArray &content);
    QByteArray readLocal(const QString &name) const;
    QStringList remotePaths();

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

void TestGdappCli::runSteps(std::initializer_list<Step> steps)
{
    for (const Step &step : steps) {
        const Run run = gdapp(QString::fromUtf8(step.line));
        QVERIFY2(run.exitCode == step.exitCode && run.err.contains(step.says),
                 qPrintable(QStringLiteral("%1: exit %2: %3")
                                    .arg(QString::fromUtf8(step.line))
                                    .arg(run.exitCode)
                                    .arg(QString::fromUtf8(run.err))));
    }
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

QByteArray TestGdappCli::readLocal(const QString &name) const
{
    QFile file(local(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<no such file>");
}

QStringList TestGdappCli::remotePaths()
{
    QStringList paths;
    for (const QJsonValue &file : m_emulator.files())
        paths.append(file.toObject().value(QStringLiteral("path")).toString());
    paths.sort();
    return paths;
}

// Each command's help shows its usage and lists what it takes, not the command itself.
void TestGdappCli::helpForEveryCommand_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("usage");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("overview"); // its line in gdapp --help

    const auto row = [](const char *usage, const QStringList &arguments, const char *overview) {
        const QString command = QString::fromLatin1(usage).section(QLatin1Char(' '), 0, 0);
        QTest::newRow(usage) << command << QString::fromLatin1(usage) << arguments
                             << QString::fromLatin1(overview);
    };
    row("ls [URL]", { "URL" }, "ls [URL]");
    row("stat URL", { "URL" }, "stat URL");
    row("get URL [FILE|-]", { "URL", "FILE" }, "get URL [FILE|-]");
    row("put FILE|- URL", { "FILE", "URL" }, "put FILE|- URL");
    row("cp URL URL", { "SOURCE", "DESTINATION" }, "cp URL URL");
    row("mv URL URL", { "SOURCE", "DESTINATION" }, "mv URL URL");
    row("rm [-r] URL", { "URL" }, "rm [-r] URL");
    row("mkdir [-p] URL", { "URL" }, "mkdir [-p] URL");
    row("open-dialog [--filter F] [--caption T]", {}, "open-dialog [--filter F] [--caption T]");
    row("save-dialog [--filter F] [--caption T]", {}, "save-dialog [--filter F] [--caption T]");
    row("login", {}, "login");
    row("logout", {}, "logout");
}

void TestGdappCli::helpForEveryCommand()
{
    QFETCH(QString, command);
    QFETCH(QString, usage);
    QFETCH(QStringList, arguments);
    QFETCH(QString, overview);
    const Run run = gdapp(command + QStringLiteral(" --help"));
    QCOMPARE(run.exitCode, 0);
    const QString out = QString::fromUtf8(run.out);
    QVERIFY2(out.contains(QStringLiteral("[options] ") + usage + QLatin1Char('\n'))
                     && out.contains(QLatin1String("--plugin")),
             run.out.constData());
    // Each argument's name begins a line; its description may go on over more.
    QStringList listed;
    const QRegularExpression name(QStringLiteral("^  (\\S+)"));
    for (const QString &line : out.section(QStringLiteral("Arguments:\n"), 1).split('\n')) {
        if (const QRegularExpressionMatch match = name.match(line); match.hasMatch())
            listed.append(match.captured(1));
    }
    if (!arguments.isEmpty())
        QCOMPARE(listed, arguments);
    QVERIFY(gdapp(QStringLiteral("--help")).out.contains(overview.toUtf8()));
}

// The help's one line and the manual's EXIT STATUS section name the same statuses, in order.
void TestGdappCli::exitStatusesAsTheManualLists()
{
    const QString help = QString::fromUtf8(gdapp(QStringLiteral("--help")).out);
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

void TestGdappCli::usageErrors_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("no command") << "";
    QTest::newRow("unknown command") << "frobnicate";
    QTest::newRow("not a gdapp URL") << "ls http://example.org/x";
    QTest::newRow("URL with a host") << "stat gdapp://host/x";
    QTest::newRow("missing argument") << "cp gdapp:/a";
    QTest::newRow("too many arguments") << "rm gdapp:/a gdapp:/b";
    QTest::newRow("unknown option") << "ls --frobnicate";
    QTest::newRow("bad consent mode") << "ls --consent telepathy";
    QTest::newRow("mv onto itself") << "mv gdapp:/a.txt gdapp:/a.txt";
    QTest::newRow("mv across folders") << "mv gdapp:/a.txt gdapp:/b/a.txt";
    QTest::newRow("cp across folders") << "cp gdapp:/a.txt gdapp:/b/a.txt";
    QTest::newRow("rm of the top folder") << "rm -r gdapp:/";
    // Read as 0, it would wait for ever.
    QTest::newRow("a time-out that is no number") << "ls --timeout soon";
    QTest::newRow("a negative time-out") << "ls --timeout -5";
    QTest::newRow("--proxy with --no-proxy") << "ls --proxy http://proxy.example:3128 --no-proxy";
    QTest::newRow("a proxy gdapp cannot use") << "ls --proxy https://proxy.example:3128";
    // "mv a b/" keeps the name in b, here the source's own folder: onto itself.
    QTest::newRow("mv into its own folder") << "mv gdapp:/T/b.txt gdapp:/T/";
    QTest::newRow("cp into another folder") << "cp gdapp:/T/b.txt gdapp:/U/";
    // Its own folder names the source itself, which "remove it first" would have lost.
    QTest::newRow("cp into its own folder") << "cp gdapp:/T/b.txt gdapp:/T/";
    QTest::newRow("a query in the URL") << "rm gdapp:/a?b.txt";
    QTest::newRow("a fragment in the URL") << "rm gdapp:/a#b.txt";
    QTest::newRow("a path without its slash") << "rm gdapp:a.txt";
}

void TestGdappCli::usageErrors()
{
    QFETCH(QString, line);
    const Run run = gdapp(line);
    QCOMPARE(run.exitCode, 2);
    QVERIFY2(run.err.startsWith("gdapp: ") && run.err.contains("--help"), run.err.constData());
}

// A session as a user types it, the mistakes included.
void TestGdappCli::session()
{
    const QByteArray content = QByteArray("Tarnwick document\n").repeated(100);
    writeLocal(QStringLiteral("report.txt"), content);
    QVERIFY(QDir(m_work.path()).mkpath(QStringLiteral("downloads")));
    runSteps({
            { "login", 0, "Authorised." },
            { "mkdir gdapp:/docs", 0 },
            { "put report.txt gdapp:/docs/", 0 },
            { "put missing.txt gdapp:/docs/", 1, "missing.txt" },
            { "get gdapp:/docs/report.txt back.txt", 0 },
            { "get gdapp:/docs/report.txt downloads", 0 },
            { "cp gdapp:/docs/report.txt gdapp:/docs/copy.txt", 0 },
            { "cp gdapp:/docs/report.txt gdapp:/docs/copy.txt", 1, "exists already" },
            { "mv gdapp:/docs/copy.txt gdapp:/docs/moved.txt", 0 },
            { "cp gdapp:/docs/report.txt gdapp:/docs/other.txt", 0 },
            { "mv gdapp:/docs/other.txt gdapp:/docs/moved.txt", 0 }, // replaces it
            { "rm gdapp:/docs/moved.txt", 0 },
            { "mkdir gdapp:/a/b/c", 3, "use -p" },
            { "mkdir -p gdapp:/a/b/c", 0 },
            { "mkdir -p gdapp:/a/b/c", 0 },
            { "mkdir gdapp:/a/b", 1, "exists already" },
            { "mkdir -p gdapp:/docs/report.txt/sub", 1, "gdapp:/docs/report.txt is a file" },
            { "rm gdapp:/a", 1, "use -r" },
            { "rm -r gdapp:/a", 0 },
    });
    QCOMPARE(remotePaths(),
             QStringList({ QStringLiteral("/docs"), QStringLiteral("/docs/report.txt") }));
    QCOMPARE(m_emulator.fileAt(QStringLiteral("/docs/report.txt"))
                     .value(QStringLiteral("md5Checksum"))
                     .toString()
                     .toLatin1(),
             md5(content));
    QCOMPARE(readLocal(QStringLiteral("back.txt")), content);
    QCOMPARE(readLocal(QStringLiteral("downloads/report.txt")), content);
}

void TestGdappCli::listingAndStat()
{
    m_emulator.seedFile(QStringLiteral("/docs/report.txt"), QByteArray(1800, 'r'));
    const Run listing = gdapp(QStringLiteral("ls gdapp:/docs"));
    QCOMPARE(listing.exitCode, 0);
    QVERIFY2(QRegularExpression(
                     QStringLiteral(
                             "^- +1800  \\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d  report\\.txt\\n$"))
                     .match(QString::fromUtf8(listing.out))
                     .hasMatch(),
             listing.out.constData());
    const Run top = gdapp(QStringLiteral("ls"));
    QVERIFY2(top.out.startsWith("d            -  ") && top.out.endsWith("docs/\n"),
             top.out.constData());

    // One line an entry: control characters are escaped, and backslashes that would read as
    // an escape.
    m_emulator.seedFile(QStringLiteral("/odd/two\nlines\ttab\x1b\\n.txt"), "o");
    const Run odd = gdapp(QStringLiteral("ls gdapp:/odd"));
    QCOMPARE(odd.exitCode, 0);
    QVERIFY2(odd.out.endsWith("  two\\nlines\\ttab\\x1b\\\\n.txt\n") && odd.out.count('\n') == 1,
             odd.out.constData());

    const Run stat = gdapp(QStringLiteral("stat gdapp:/docs/report.txt"));
    QCOMPARE(stat.exitCode, 0);
    QVERIFY(stat.out.contains("type:     file\n"));
    QVERIFY(stat.out.contains("size:     1800\n"));
    QVERIFY(stat.out.contains("md5:      " + md5(QByteArray(1800, 'r')) + '\n'));
}

void TestGdappCli::transfersThroughStandardStreams()
{
    QByteArray binary(300000, Qt::Uninitialized);
    for (int i = 0; i < binary.size(); ++i)
        binary[i] = char(i * 13 + (i >> 8));
    QCOMPARE(gdapp(QStringLiteral("put - gdapp:/piped.bin"), binary).exitCode, 0);
    const Run fetched = gdapp(QStringLiteral("get gdapp:/piped.bin -"));
    QCOMPARE(fetched.exitCode, 0);
    QCOMPARE(fetched.out, binary);

    // Replacing keeps the file and its identifier.
    const QString id = idOf(m_emulator.fileAt(QStringLiteral("/piped.bin")));
    QCOMPARE(gdapp(QStringLiteral("put - gdapp:/piped.bin"), "short").exitCode, 0);
    QCOMPARE(m_emulator.content(id), QByteArray("short"));
    QCOMPARE(m_emulator.files().size(), 1);
}

void TestGdappCli::notFound_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("get") << "get gdapp:/missing.txt";
    QTest::newRow("stat") << "stat gdapp:/missing/deeper.txt";
    QTest::newRow("ls") << "ls gdapp:/missing";
    QTest::newRow("rm") << "rm gdapp:/missing.txt";
    QTest::newRow("mv") << "mv gdapp:/missing.txt gdapp:/other.txt";
    QTest::newRow("put into a missing folder") << "put - gdapp:/missing/x.txt";
}

void TestGdappCli::notFound()
{
    QFETCH(QString, line);
    const Run run = gdapp(line, "x");
    QCOMPARE(run.exitCode, 3);
    QVERIFY2(run.err.contains("no such file or folder (plug-in error 403)"), run.err.constData());
}

void TestGdappCli::notAuthorisedWithoutAnswer()
{
    EmulatorProcess manual;
    QVERIFY(manual.start());
    QTemporaryDir config;
    QProcessEnvironment environment = environmentFor(manual);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config.path());
    const Run run = gdapp(QStringLiteral("ls"), QByteArray(), environment);
    QCOMPARE(run.exitCode, 4);
    QVERIFY2(run.err.contains("needs a person") || run.err.contains("asks for a person"),
             run.err.constData());
    QVERIFY(run.err.contains("/o/oauth2/v2/auth?"));
}

void TestGdappCli::logoutThenFreshConsent()
{
    const QString consent = QStringLiteral("/o/oauth2/v2/auth");
    QCOMPARE(gdapp(QStringLiteral("ls")).exitCode, 0);
    int mark = m_emulator.nextRequest();
    QCOMPARE(gdapp(QStringLiteral("ls")).exitCode, 0);
    QCOMPARE(requestsTo(consent, mark), 0); // the stored refresh token did

    QCOMPARE(gdapp(QStringLiteral("logout")).exitCode, 0);
    QVERIFY(!readLocal(m_config.filePath(QStringLiteral("Tarnwick/gdapp.conf"))).contains("gdapp"));
    // Once more, with nothing left to forget: it says so rather than "signed out".
    QVERIFY(gdapp(QStringLiteral("logout")).err.startsWith("Not signed in"));

    mark = m_emulator.nextRequest();
    const Run after = gdapp(QStringLiteral("ls"));
    QCOMPARE(after.exitCode, 0);
    QCOMPARE(requestsTo(consent, mark), 1);
    QVERIFY(after.err.contains("Authorisation needed"));
}

void TestGdappCli::pluginLookup()
{
    const Run missing = gdapp(QStringLiteral("ls --plugin /nonexistent/libgdrive.so"));
    QCOMPARE(missing.exitCode, 1);
    QVERIFY2(missing.err.contains("no plug-in found")
                     && missing.err.contains("/nonexistent/libgdrive.so"),
             missing.err.constData());

    const Run foreign =
            gdapp(QStringLiteral("ls --plugin ") + QLibraryInfo::path(QLibraryInfo::PluginsPath)
                  + QStringLiteral("/platforms/libqminimal.so"));
    QCOMPARE(foreign.exitCode, 1);
    QVERIFY2(foreign.err.contains("is not a storage provider plug-in"), foreign.err.constData());

    QProcessEnvironment environment = environmentFor(m_emulator);
    environment.insert(QStringLiteral("GDAPP_PLUGIN_PATH"),
                       QStringLiteral("/elsewhere/libgdrive.so"));
    const Run fromEnvironment = gdapp(QStringLiteral("ls"), QByteArray(), environment);
    QCOMPARE(fromEnvironment.exitCode, 1);
    QVERIFY(fromEnvironment.err.contains("/elsewhere/libgdrive.so"));

    environment.insert(QStringLiteral("GDAPP_PLUGIN_PATH"), QStringLiteral(GDAPP_PLUGIN_PATH));
    QCOMPARE(gdapp(QStringLiteral("ls"), QByteArray(), environment).exitCode, 0);
}

void TestGdappCli::progressOnlyOnATerminal()
{
    m_emulator.seedFile(QStringLiteral("/big.bin"), QByteArray(2 * 1024 * 1024, 'x'));
    const Run piped = gdapp(QStringLiteral("get gdapp:/big.bin -"));
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
    const Run run = gdapp(QStringLiteral("open-dialog"));
    QCOMPARE(run.exitCode, 1);
    QVERIFY(run.err.contains("needs a display"));
}

// Whatever would destroy or mangle what is there is refused before any request that changes
// anything: the plug-in's rename deletes a folder of the new name with its content, and an
// upload onto a folder would send it content.
void TestGdappCli::refusedBeforeAnyChange_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("saying");

    QTest::newRow("mv onto a folder")
            << "mv gdapp:/a.txt gdapp:/Reports" << QByteArray("is a folder");
    QTest::newRow("cp onto a folder")
            << "cp gdapp:/a.txt gdapp:/Reports" << QByteArray("is a folder");
    QTest::newRow("standard input onto a folder")
            << "put - gdapp:/Reports" << QByteArray("is a folder");
    QTest::newRow("into a folder, where a folder has the local name")
            << "put in.txt gdapp:/Reports/" << QByteArray("is a folder");
    QTest::newRow("local file of 2 GiB") << "put huge.bin gdapp:/huge.bin" << QByteArray("2 GiB");
    QTest::newRow("remote file of 2 GiB") << "get gdapp:/reported-huge.bin" << QByteArray("2 GiB");
    QTest::newRow("cp of a folder") << "cp gdapp:/Reports gdapp:/Reports2"
                                    << QByteArray("gdapp:/Reports is a folder: the service "
                                                  "copies files only");
    // The service matches names whatever their case: the plug-in would remove the source.
    QTest::newRow("mv to another case of the name")
            << "mv gdapp:/a.txt gdapp:/A.txt" << QByteArray("gdapp:/a.txt itself");
    // A trailing slash names a folder, as in a Unix path.
    QTest::newRow("rm of a file as a folder")
            << "rm gdapp:/a.txt/" << QByteArray("gdapp:/a.txt/ is not a folder");
    // Names that the plug-in's lookup could not find again; "a b.txt" is what "a+b.txt"
    // would find.
    QTest::newRow("+ in a name") << "put in.txt gdapp:/a+b.txt"
                                 << QByteArray(R"(send "+" as a space)");
    QTest::newRow("+ in a name to remove")
            << "rm gdapp:/a+b.txt" << QByteArray(R"(send "+" as a space)");
    QTest::newRow("+ in a local name")
            << "put a+b.txt gdapp:/Reports/" << QByteArray(R"(refused name "a+b.txt")");
    QTest::newRow("+ in a local name, into a folder written without its slash")
            << "put a+b.txt gdapp:/Reports" << QByteArray(R"(refused name "a+b.txt")");
    QTest::newRow("' in a name") << "put in.txt gdapp:/it's.txt"
                                 << QByteArray(R"(take "'" for the end of the name)");
    QTest::newRow("backslash in a name")
            << R"(put in.txt gdapp:/back\slash.txt)" << QByteArray(R"(an escape of the next)");
    QTest::newRow("an escape in a name")
            << "put in.txt gdapp:/50%2520.txt" << QByteArray(R"(send "%20" as the character)");
    QTest::newRow("an empty name")
            << "put in.txt gdapp:/Reports//x.txt" << QByteArray("a name cannot be empty");
    QTest::newRow("a slash in a name")
            << "mkdir gdapp:/a%2Fb" << QByteArray(R"("/" cannot be part of a name)");
    // Its name is no name for a remote file, but it is a folder before anything else.
    QTest::newRow("put of the current folder")
            << "put . gdapp:/Reports/" << QByteArray(". is a folder: put uploads one file");
    QTest::newRow("put into a file as a folder")
            << "put in.txt gdapp:/a.txt/" << QByteArray("gdapp:/a.txt/ is not a folder");
}

void TestGdappCli::refusedBeforeAnyChange()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, saying);

    m_emulator.seedFile(QStringLiteral("/a.txt"), "a");
    m_emulator.seedFile(QStringLiteral("/a b.txt"), "a b");
    m_emulator.seedFile(QStringLiteral("/Reports/r.txt"), "r");
    m_emulator.seedFolder(QStringLiteral("/Reports/in.txt"));
    m_emulator.seedFile(QStringLiteral("/reported-huge.bin"), "small",
                        { { QStringLiteral("size"), 2147483648.0 } });
    writeLocal(QStringLiteral("in.txt"), "local");
    writeLocal(QStringLiteral("a+b.txt"), "local");
    QFile huge(local(QStringLiteral("huge.bin")));
    QVERIFY(huge.open(QIODevice::WriteOnly));
    QVERIFY(huge.resize(qint64(2) * 1024 * 1024 * 1024)); // sparse: nothing is written
    huge.close();
    const QJsonArray before = m_emulator.files();
    const int mark = m_emulator.nextRequest();

    const Run run = gdapp(line, "piped");
    huge.remove();
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.err.contains(saying), run.err.constData());
    // Lookups only, and the token's refresh.
    for (const LoggedRequest &request : LoggedRequest::list(m_emulator.requests(mark))) {
        QVERIFY2((request.method() == QLatin1String("GET")
                  && !request.target().contains(QLatin1String("alt=media")))
                         || request.path().startsWith(QLatin1String("/o/")),
                 qPrintable(request.method() + QLatin1Char(' ') + request.target()));
    }
    QCOMPARE(m_emulator.files(), before);
}

// The plug-in's code is no HTTP status, whatever it looks like: 401 is its code for a 500, 403
// its code for a path that did not resolve, whatever the service answered to the lookup.
void TestGdappCli::serviceErrorsNameTheHttpStatus_data()
{
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("says");

    QTest::newRow("a download refused")
            << json(R"({"query": "alt=media", "status": 500})") << "get gdapp:/f.txt -" << 5
            << QByteArray("gdapp: get: gdapp:/f.txt: server replied: Internal Server Error (HTTP "
                          "500, plug-in error 401)\n");
    QTest::newRow("a lookup refused")
            << json(R"({"path": "/drive/v3/files", "status": 500})") << "ls gdapp:/x" << 5
            << QByteArray("gdapp: ls: gdapp:/x: server replied: Internal Server Error (HTTP 500, "
                          "plug-in error 403)\n");
    // The lookup's code is 403 whatever the service said: the credentials' refusal is told by
    // the reply.
    QTest::newRow("a lookup's credentials refused")
            << json(R"({"method": "GET", "path": "/drive/v3/files", "status": 401})")
            << "ls gdapp:/x" << 4
            << QByteArray("gdapp: ls: gdapp:/x: server replied: Unauthorized (HTTP 401, plug-in "
                          "error 403)\n");
    QTest::newRow("an upload refused")
            << json(R"({"path": "/upload/drive/v3/files", "status": 503})")
            << "put - gdapp:/new.txt" << 5
            << QByteArray("server replied: Service Unavailable (HTTP 503, plug-in error 403)\n");
}

void TestGdappCli::serviceErrorsNameTheHttpStatus()
{
    QFETCH(QJsonObject, fault);
    QFETCH(QString, line);
    QFETCH(QByteArray, says);
    m_emulator.seedFile(QStringLiteral("/f.txt"), "content");
    m_emulator.addFault(fault);
    const Run run = gdapp(line, "piped");
    QTEST(run.exitCode, "exitCode");
    QVERIFY2(run.err.endsWith(says), run.err.constData());
}

void TestGdappCli::mvOntoAFileLosesNothing_data()
{
    QTest::addColumn<QJsonArray>("faults");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QStringList>("left"); // path=content; "aside" for the name set aside
    QTest::addColumn<QByteArray>("says");

    // The renames are PATCH requests: the destination's aside, the source's, and the one that
    // puts the destination back. A delay of a millisecond lets one through.
    const QJsonObject through = json(R"({"method": "PATCH", "delayMs": 1})");
    const QJsonObject refused = json(R"({"method": "PATCH", "status": 500})");
    const QStringList asItWas { "/M/draft.odt=draft", "/M/report.odt=report" };
    const QStringList replaced { "/M/report.odt=draft" };
    QTest::newRow("nothing fails") << QJsonArray() << 0 << replaced << QByteArray();
    QTest::newRow("setting the destination aside fails")
            << QJsonArray { refused } << 5 << asItWas
            << QByteArray("gdapp:/M/report.odt is as it was\n");
    QTest::newRow("the connection dropped, and again on the retry")
            << QJsonArray { json(R"({"method": "PATCH", "action": "drop", "count": 2})") } << 5
            << asItWas << QByteArray("gdapp:/M/report.odt is as it was\n");
    QTest::newRow("the source's rename fails: the destination gets its name back")
            << QJsonArray { through, refused } << 5 << asItWas
            << QByteArray("gdapp:/M/report.odt is as it was\n");
    QTest::newRow("the source's rename fails, and the way back too")
            << QJsonArray { through, refused, refused } << 5
            << QStringList { "/M/draft.odt=draft", "aside=report" }
            << QByteArray("the old gdapp:/M/report.odt is now gdapp:/M/.gdapp-replaced-");
    QTest::newRow("removing the file set aside fails")
            << QJsonArray { json(R"({"method": "DELETE", "status": 500})") } << 5
            << QStringList { "/M/report.odt=draft", "aside=report" }
            << QByteArray("but the file it replaced could not be removed");
    // The service renamed it, and the answer was lost.
    QTest::newRow("the source's rename done, its answer cut")
            << QJsonArray { through,
                            json(R"({"method": "PATCH", "action": "truncate", "count": -1})") }
            << 0 << replaced << QByteArray();
}

// mv onto an existing file removes it only once the source has its name: a failure at any step
// leaves it as it was, or says where it is, and never loses it.
void TestGdappCli::mvOntoAFileLosesNothing()
{
    QFETCH(QJsonArray, faults);
    QFETCH(QStringList, left);
    QFETCH(QByteArray, says);

    m_emulator.seedFile(QStringLiteral("/M/report.odt"), "report");
    const QString draftId = idOf(m_emulator.seedFile(QStringLiteral("/M/draft.odt"), "draft"));
    QCOMPARE(gdapp(QStringLiteral("ls gdapp:/M")).exitCode, 0); // authorised, before the faults
    for (const QJsonValue &fault : faults)
        m_emulator.addFault(fault.toObject());

    const Run run = gdapp(QStringLiteral("mv gdapp:/M/draft.odt gdapp:/M/report.odt"));
    QTEST(run.exitCode, "exitCode");
    QVERIFY2(run.err.contains(says), run.err.constData());
    QStringList found;
    for (const QJsonValue &value : m_emulator.files()) {
        const QJsonObject file = value.toObject();
        QString path = file.value(QStringLiteral("path")).toString();
        if (path == QLatin1String("/M"))
            continue;
        if (path.startsWith(QLatin1String("/M/.gdapp-replaced-")))
            path = QStringLiteral("aside");
        found.append(path + QLatin1Char('=') + QString::fromUtf8(m_emulator.content(idOf(file))));
    }
    found.sort();
    QCOMPARE(found, left);
    // The file renamed is the source itself, not a copy.
    if (left.contains(QStringLiteral("/M/report.odt=draft")))
        QCOMPARE(idOf(m_emulator.fileAt(QStringLiteral("/M/report.odt"))), draftId);
}

void TestGdappCli::newFileNearTheSizeLimit_data()
{
    QTest::addColumn<QString>("name"); // as typed in the URL
    QTest::newRow("a short name") << "new";
    QTest::newRow("a name with a quote, which JSON escapes") << "say \"hi\"";
    QTest::newRow("a name in another script") << "日本語のファイル";
    QTest::newRow("a tab, escaped") << "tab%09here";
}

// Qt sends a request body of 2 GiB at most, and a new file's holds its metadata besides the
// content: a file that would not fit is refused before it is read, with the exact limit, which
// is 2 GiB less what the plug-in sends around the content.
void TestGdappCli::newFileNearTheSizeLimit()
{
    QFETCH(QString, name);
    m_emulator.seedFolder(QStringLiteral("/D"));
    const QString url = QStringLiteral("gdapp:/D/") + name;
    writeLocal(QStringLiteral("small.bin"), "small");
    int mark = m_emulator.nextRequest();
    QCOMPARE(m_gdapp.run({ QStringLiteral("put"), QStringLiteral("small.bin"), url }).exitCode, 0);
    qint64 envelope = -1;
    for (const LoggedRequest &request : LoggedRequest::list(m_emulator.requests(mark))) {
        if (request.path() == QLatin1String("/upload/drive/v3/files"))
            envelope = request.header(QStringLiteral("Content-Length")).toLongLong() - 5;
    }
    QVERIFY(envelope > 0);
    QCOMPARE(m_gdapp.run({ QStringLiteral("rm"), url }).exitCode, 0);

    const qint64 limit = (qint64(1) << 31) - envelope;
    QFile large(local(QStringLiteral("large.bin")));
    QVERIFY(large.open(QIODevice::WriteOnly));
    QVERIFY(large.resize(limit + 1)); // sparse: nothing is written
    large.close();
    mark = m_emulator.nextRequest();
    const Run run = m_gdapp.run({ QStringLiteral("put"), QStringLiteral("large.bin"), url });
    large.remove();
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.err.contains(QStringLiteral("room for %1 bytes").arg(limit).toUtf8()),
             run.err.constData());
    QCOMPARE(requestsTo(QStringLiteral("/upload/drive/v3/files"), mark), 0);
}

void TestGdappCli::malformedServiceUrl_data()
{
    QTest::addColumn<QString>("variable");
    QTest::addColumn<QString>("value");
    QTest::newRow("no URL") << "GDAPP_DRIVE_URL"
                            << "notaurl";
    QTest::newRow("no web URL") << "GDAPP_DRIVE_URL"
                                << "ftp://127.0.0.1:21";
    QTest::newRow("no host") << "GDAPP_OAUTH_URL"
                             << "http:/token";
    QTest::newRow("a query") << "GDAPP_OAUTH_URL"
                             << "http://127.0.0.1:1/?x=y";
}

// A service address the plug-in would take as it stands is refused before any request, naming
// the variable, rather than left to fail on the way with Qt's words.
void TestGdappCli::malformedServiceUrl()
{
    QFETCH(QString, variable);
    QFETCH(QString, value);
    QProcessEnvironment environment = environmentFor(m_emulator);
    environment.insert(variable, value);
    const int mark = m_emulator.nextRequest();
    const Run run = gdapp(QStringLiteral("ls"), QByteArray(), environment);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.err.startsWith(
                     QStringLiteral("gdapp: ls: %1 is \"%2\"").arg(variable, value).toUtf8()),
             run.err.constData());
    QCOMPARE(m_emulator.requests(mark), QJsonArray());
}

// The settings hold the tokens, enciphered against a casual look only.
void TestGdappCli::settingsAreForTheOwnerOnly()
{
    QTemporaryDir config;
    QProcessEnvironment environment = environmentFor(m_emulator);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config.filePath(QStringLiteral("new")));
    QCOMPARE(gdapp(QStringLiteral("login"), QByteArray(), environment).exitCode, 0);

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
    QCOMPARE(gdapp(QStringLiteral("ls"), QByteArray(), environment).exitCode, 0);
    QCOMPARE(QFile::permissions(file) & Mask, QFile::ReadOwner | QFile::WriteOwner);
}

void TestGdappCli::loopbackPortTaken_data()
{
    QTest::addColumn<QString>("consent");
    QTest::newRow("fetch") << QStringLiteral("fetch");
    QTest::newRow("print") << QStringLiteral("print");
}

// With the port held by another program, no answer can reach the plug-in: say so at once, and
// keep the sign-in stored before. Without one, --consent=none says so rather than talk of ports.
void TestGdappCli::loopbackPortTaken()
{
    QFETCH(QString, consent);
    QCOMPARE(gdapp(QStringLiteral("ls")).exitCode, 0);
    const QByteArray signIn = GdappRunner::storedRefreshToken(m_config.path());
    QVERIFY(!signIn.isEmpty());
    QTcpServer other;
    QVERIFY(other.listen(QHostAddress::LocalHost, 5479));
    const Run run = gdapp(QStringLiteral("--consent %1 login").arg(consent));
    QCOMPARE(run.exitCode, 4);
    QVERIFY2(run.err.contains("cannot listen on 127.0.0.1:5479") && run.err.contains("end it")
                     && !run.err.contains("Open this address"),
             run.err.constData());
    QCOMPARE(GdappRunner::storedRefreshToken(m_config.path()), signIn);
    QCOMPARE(gdapp(QStringLiteral("--consent none ls")).exitCode, 0);

    QTemporaryDir unauthorised;
    QProcessEnvironment environment = environmentFor(m_emulator);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), unauthorised.path());
    const Run none = gdapp(QStringLiteral("--consent none ls"), QByteArray(), environment);
    QCOMPARE(none.exitCode, 4);
    QVERIFY2(none.err.contains(R"(not signed in: run "gdapp login")") && !none.err.contains("5479"),
             none.err.constData());
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
    QFETCH(QByteArray, saying);

    QCOMPARE(gdapp(QStringLiteral("ls")).exitCode, 0);
    const QByteArray signIn = GdappRunner::storedRefreshToken(m_config.path());
    m_emulator.addFault({ { QStringLiteral("path"), QStringLiteral("/o/oauth2/token") },
                          { QStringLiteral("status"), status },
                          { QStringLiteral("count"), count } });
    const int mark = m_emulator.nextRequest();
    const Run run = gdapp(QStringLiteral("login"));
    QTEST(run.exitCode, "exitCode");
    QVERIFY2(run.err.contains(saying), run.err.constData());
    QTEST(requestsTo(QStringLiteral("/o/oauth2/token"), mark), "tokenRequests");
    // A login that fails costs nothing: the sign-in stored before stays.
    if (run.exitCode != 0)
        QCOMPARE(GdappRunner::storedRefreshToken(m_config.path()), signIn);
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

// gdapp shows the plug-in's texts in the language Qt reads from the environment, French where it
// has no catalogue, and French too when the user puts it before a language it has.
void TestGdappCli::pluginTextsInTheUsersLanguage_data()
{
    QTest::addColumn<QStringList>("variables");
    QTest::addColumn<QString>("says");

    const QString english = QStringLiteral("The data received is corrupt (plug-in error 299)");
    const QString german =
            QStringLiteral("Die empfangenen Daten sind beschädigt (plug-in error 299)");
    const QString french = QStringLiteral("Les données reçues sont corrompues (plug-in error 299)");
    QTest::newRow("LANG") << QStringList { "LANG=en_US.UTF-8" } << english;
    QTest::newRow("LC_MESSAGES over LANG")
            << QStringList { "LANG=en_GB.UTF-8", "LC_MESSAGES=de_DE.UTF-8" } << german;
    QTest::newRow("LC_ALL over LC_MESSAGES")
            << QStringList { "LC_MESSAGES=de_DE.UTF-8", "LC_ALL=en_US.UTF-8" } << english;
    QTest::newRow("LANGUAGE first")
            << QStringList { "LANG=en_US.UTF-8", "LANGUAGE=de:en" } << german;
    QTest::newRow("French before German")
            << QStringList { "LANG=de_DE.UTF-8", "LANGUAGE=fr:de" } << french;
    QTest::newRow("a language without a catalogue") << QStringList { "LANG=it_IT.UTF-8" } << french;
    QTest::newRow("C") << QStringList { "LANG=C" } << french;
}

void TestGdappCli::pluginTextsInTheUsersLanguage()
{
    QFETCH(QStringList, variables);
    QFETCH(QString, says);

    m_emulator.seedFile(QStringLiteral("/f.bin"), "content",
                        json(R"({"md5Checksum": "00000000000000000000000000000000"})"));
    QProcessEnvironment environment = m_gdapp.environment();
    environment.remove(QStringLiteral("LC_ALL"));
    for (const QString &variable : variables)
        environment.insert(variable.section(QLatin1Char('='), 0, 0),
                           variable.section(QLatin1Char('='), 1));
    const Run run = m_gdapp.run(
            { QStringLiteral("get"), QStringLiteral("gdapp:/f.bin"), QStringLiteral("-") },
            QByteArray(), environment);
    QCOMPARE(run.exitCode, 6);
    QVERIFY2(QString::fromUtf8(run.err).contains(says), run.err.constData());
}

// A space is written as it is, and every URL gdapp prints is one it takes back.
void TestGdappCli::urlsAsTypedAndAsPrinted_data()
{
    QTest::addColumn<QString>("path"); // on the service
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("printed");

    QTest::newRow("a space") << "/with space.txt"
                             << "gdapp:/with space.txt"
                             << "gdapp:/with space.txt";
    QTest::newRow("a space escaped") << "/with space.txt"
                                     << "gdapp:/with%20space.txt"
                                     << "gdapp:/with space.txt";
    QTest::newRow("a lone %") << "/100%.txt"
                              << "gdapp:/100%.txt"
                              << "gdapp:/100%25.txt";
    QTest::newRow("a ? escaped") << "/what?.txt"
                                 << "gdapp:/what%3F.txt"
                                 << "gdapp:/what%3F.txt";
    QTest::newRow("a # escaped") << "/no#1.txt"
                                 << "gdapp:/no%231.txt"
                                 << "gdapp:/no%231.txt";
    QTest::newRow("not ASCII") << "/Ünïcødé 日本.txt"
                               << "gdapp:/Ünïcødé 日本.txt"
                               << "gdapp:/Ünïcødé 日本.txt";
    QTest::newRow("a folder, with a trailing slash") << "/my docs/a.txt"
                                                     << "gdapp:/my docs/"
                                                     << "gdapp:/my docs";
}

void TestGdappCli::urlsAsTypedAndAsPrinted()
{
    QFETCH(QString, path);
    QFETCH(QString, typed);
    QFETCH(QString, printed);
    m_emulator.seedFile(path, "content");

    const Run stat = m_gdapp.run({ QStringLiteral("stat"), typed });
    QCOMPARE(stat.exitCode, 0);
    QVERIFY2(QString::fromUtf8(stat.out).startsWith(QStringLiteral("url:      %1\n").arg(printed)),
             stat.out.constData());
    // Taken back, the URL printed names the same entry.
    const Run again = m_gdapp.run({ QStringLiteral("stat"), printed });
    QCOMPARE(again.exitCode, 0);
    QCOMPARE(again.out, stat.out);
}

void TestGdappCli::getIntoWhatIsNotARegularFile_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("device"); // the kernel's null or full device, for character devices
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("says");

    QTest::newRow("a character device") << int(S_IFCHR) << 3 << 0 << QByteArray();
    QTest::newRow("a full device")
            << int(S_IFCHR) << 7 << 1 << QByteArray("target: No space left on device\n");
    QTest::newRow("a FIFO") << int(S_IFIFO) << 0 << 0 << QByteArray();
    QTest::newRow("a socket") << int(S_IFSOCK) << 0 << 1
                              << QByteArray("target: No such device or address\n");
}

// Written directly, as cp does: renaming over it would replace the node itself.
void TestGdappCli::getIntoWhatIsNotARegularFile()
{
    QFETCH(int, type);
    QFETCH(int, device);
    QFETCH(int, exitCode);
    QFETCH(QByteArray, says);

    const QByteArray content = QByteArray("remote content\n").repeated(1000);
    m_emulator.seedFile(QStringLiteral("/x.txt"), content);
    QTemporaryDir folder(m_work.filePath(QStringLiteral("nodes-XXXXXX")));
    const QString target = folder.filePath(QStringLiteral("target"));
    const QByteArray name = QFile::encodeName(target);
    QLocalServer socket;
    QProcess reader;
    if (type == S_IFCHR) {
        // The machine's own /dev/null is not to be put at risk: a node of its own.
        if (::mknod(name.constData(), S_IFCHR | 0666, makedev(1, device)) != 0
            || ::access(name.constData(), W_OK) != 0)
            QSKIP("no device node can be made and written here (not root, or a nodev mount)");
    } else if (type == S_IFIFO) {
        QCOMPARE(::mkfifo(name.constData(), 0666), 0);
        reader.start(QStringLiteral("cat"), { target });
    } else {
        QVERIFY(socket.listen(target));
    }

    const Run run = gdapp(QStringLiteral("get gdapp:/x.txt ") + target);
    QCOMPARE(run.exitCode, exitCode);
    QVERIFY2(run.err.endsWith(says), run.err.constData());
    QCOMPARE(int(fileType(target)), type);
    QCOMPARE(QDir(folder.path())
                     .entryList(QDir::AllEntries | QDir::System | QDir::Hidden
                                | QDir::NoDotAndDotDot),
             QStringList(QStringLiteral("target")));
    if (type == S_IFIFO) {
        if (!reader.waitForFinished(30000))
            reader.kill();
        QCOMPARE(reader.readAllStandardOutput(), content);
    }
}

void TestGdappCli::standardOutputThatTakesNothing_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("closed"); // else the full device
    QTest::addColumn<QByteArray>("says");

    QTest::newRow("get to a full disk")
            << "get gdapp:/x.txt -" << false << QByteArray("No space left on device\n");
    QTest::newRow("get to a closed one")
            << "get gdapp:/x.txt -" << true << QByteArray("Bad file descriptor\n");
    QTest::newRow("ls to a full disk") << "ls" << false << QByteArray("No space left on device\n");
    QTest::newRow("stat to a closed one")
            << "stat gdapp:/x.txt" << true << QByteArray("Bad file descriptor\n");
    QTest::newRow("help to a full disk")
            << "--help" << false << QByteArray("No space left on device\n");
    QTest::newRow("version to a closed one")
            << "--version" << true << QByteArray("Bad file descriptor\n");
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
    const Run run = m_gdapp.runWith(QProcess::splitCommand(line), [closed](QProcess &process) {
        if (closed)
            process.setChildProcessModifier([] { ::close(STDOUT_FILENO); });
        else
            process.setStandardOutputFile(QStringLiteral("/dev/full"));
    });
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.err.endsWith(": standard output: " + says), run.err.constData());
}

// Written beside the target, the download that does not fit leaves the old file as it was.
void TestGdappCli::fullDiskKeepsTheOldFile()
{
    if (QProcess::execute(QStringLiteral("unshare"),
                          { QStringLiteral("--mount"), QStringLiteral("mount"),
                            QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("tmpfs"),
                            m_work.path() })
        != 0)
        QSKIP("no small file system can be mounted here (unshare and mount need root)");
    m_emulator.seedFile(QStringLiteral("/big.bin"), QByteArray(1024 * 1024, 'b'));
    // In a mount namespace of its own, a file system of 64 KiB holding the old file.
    const QString session = QStringLiteral(
            "mount -t tmpfs -o size=64k tmpfs \"$0\" && cd \"$0\" && echo previous >big.bin "
            "&& \"$@\"; status=$?; ls -A; cat big.bin; exit $status");
    QProcess process;
    process.setProcessEnvironment(m_gdapp.environment());
    process.start(QStringLiteral("unshare"),
                  { QStringLiteral("--mount"), QStringLiteral("sh"), QStringLiteral("-c"), session,
                    m_work.path(), m_gdapp.program(), QStringLiteral("--consent"),
                    QStringLiteral("fetch"), QStringLiteral("get"),
                    QStringLiteral("gdapp:/big.bin"), QStringLiteral("big.bin") });
    QVERIFY(process.waitForFinished(120000));
    const QByteArray said = process.readAllStandardError();
    QCOMPARE(process.exitCode(), 1);
    QVERIFY2(said.endsWith("big.bin: No space left on device\n"), said.constData());
    QCOMPARE(process.readAllStandardOutput(), QByteArray("big.bin\nprevious\n"));
}

void TestGdappCli::failingBrowserCommandIsTold_data()
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

void TestGdappCli::failingBrowserCommandIsTold()
{
    QFETCH(QString, browser);
    QFETCH(QByteArray, says);
    QTemporaryDir config;
    QProcessEnvironment environment = environmentFor(m_emulator);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config.path());
    QProcess waiting;
    waiting.setProcessEnvironment(environment);
    waiting.start(QStringLiteral(GDAPP_PROGRAM),
                  { QStringLiteral("--consent"), QStringLiteral("browser"),
                    QStringLiteral("--browser"), browser, QStringLiteral("login") });
    QByteArray said;
    QTRY_VERIFY2_WITH_TIMEOUT((said += waiting.readAllStandardError()).contains(says),
                              said.constData(), 30000);
    QVERIFY2(!said.contains("Opening it in the browser") || said.contains("failed"),
             said.constData());
    waiting.kill();
    waiting.waitForFinished();
}

// Made private, a folder there would never hold the tokens.
void TestGdappCli::settingsPathThatIsNotAFile_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("login") << "login";
    QTest::newRow("ls") << "ls";
    QTest::newRow("logout") << "logout";
}

void TestGdappCli::settingsPathThatIsNotAFile()
{
    QFETCH(QString, line);
    QTemporaryDir config;
    const QString settings = config.filePath(QStringLiteral("Tarnwick/gdapp.conf"));
    QVERIFY(QDir().mkpath(settings));
    const QFile::Permissions before = QFile::permissions(settings);
    QProcessEnvironment environment = environmentFor(m_emulator);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config.path());
    const int mark = m_emulator.nextRequest();

    const Run run = gdapp(line, QByteArray(), environment);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.err.endsWith(
                     QStringLiteral("the settings file %1 is not a file\n").arg(settings).toUtf8()),
             run.err.constData());
    QCOMPARE(QFile::permissions(settings), before);
    QCOMPARE(m_emulator.requests(mark), QJsonArray());
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
    QCOMPARE(gdapp(QStringLiteral("ls")).exitCode, 0); // authorised
    QTemporaryDir unauthorised;
    QProcessEnvironment environment = environmentFor(m_emulator);
    if (!authorised)
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), unauthorised.path());
    const int mark = m_emulator.nextRequest();

    // compopt works only while bash completes a line: here it tells what it was asked.
    const QString script = QStringLiteral(
            "source \"$1\"; compopt() { printf 'compopt %s\\n' \"$*\"; }; COMP_LINE=$2; "
            "COMP_POINT=${#COMP_LINE}; _gdapp; printf '%s\\n' \"${COMPREPLY[@]}\"");
    QProcess bash;
    bash.setProcessEnvironment(environment);
    bash.setWorkingDirectory(m_work.path());
    bash.start(QStringLiteral("bash"),
               { QStringLiteral("-c"), script, QStringLiteral("bash"),
                 QStringLiteral(GDAPP_COMPLETION), QStringLiteral(GDAPP_PROGRAM " ") + typed });
    QVERIFY(bash.waitForFinished(60000));
    QStringList lines = QString::fromUtf8(bash.readAllStandardOutput())
                                .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    const QStringList asked = lines.filter(QRegularExpression(QStringLiteral("^compopt ")));
    for (const QString &line : asked)
        lines.removeOne(line);
    lines.sort();
    QCOMPARE(lines, replies);
    QCOMPARE(asked.join(QLatin1Char(' ')).contains(QLatin1String("nospace")), noSpace);
    QCOMPARE(requestsTo(QStringLiteral("/o/oauth2/v2/auth"), mark), 0);
}

QTEST_GUILESS_MAIN(TestGdappCli)
#include "tst_gdappcli.moc"
