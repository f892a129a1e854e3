// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "authoriseddrive.h"
#include "cloudcodes.h"
#include "exitcode.h"
#include "gdapprunner.h"
#include "messagecapture.h"
#include "probedfile.h"

#include <QNetworkReply>
#include <QtTest>

// Each fault that the service or the connection puts in a transfer or a removal, proved once
// where users meet it: through the plug-in, as a host does, and through gdapp. The plug-in reports
// it and keeps what its buffer held; the service is left as it was; gdapp exits with the status
// that tells the fault.
namespace {
const QByteArray Remote = QByteArray("remote content\n").repeated(20000);
const QByteArray Previous = "what the buffer held before";
const QByteArray Replacement = QByteArray("replacement\n").repeated(20000);
const QString RemoteUrl = QStringLiteral("gdapp:/f.bin");
} // namespace

class TestFaultInjection : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void faultToError_data();
    void faultToError();
    void slowAndChunkedAnswersAreReadWhole();
    void throttledUploadReportsProgressAsItGoes();

private:
    // Empties the service, seeds the remote file and puts the fault on the requests that the
    // operation (gdapp's command) makes of it: the download of its content, any upload, or its
    // removal. Returns the file's identifier.
    QString seedWithFault(const QString &operation, QJsonObject fault);
    QString local(const QString &name) const { return QDir(m_work.path()).filePath(name); }

    AuthorisedDrive m_drive;
    EmulatorProcess &m_emulator { m_drive.emulator() };
    QTemporaryDir m_config;
    QTemporaryDir m_work;
    GdappRunner m_gdapp { QStringLiteral(GDAPP_PROGRAM) };
};

void TestFaultInjection::initTestCase()
{
    QVERIFY(m_config.isValid() && m_work.isValid());
    QVERIFY(m_drive.startService(QStringLiteral("tst_faultinjection")));
    m_gdapp.setEnvironment(GdappRunner::environmentFor(m_emulator.url(), m_config.path()));
    m_gdapp.setWorkingDirectory(m_work.path());
    const GdappRunner::Run login = m_gdapp.run({ QStringLiteral("login") });
    QVERIFY2(login.exitCode == 0, login.err.constData());
    QVERIFY(m_drive.authorise());
    QFile source(local(QStringLiteral("new.bin")));
    QVERIFY(source.open(QIODevice::WriteOnly) && source.write(Replacement) > 0);
}

QString TestFaultInjection::seedWithFault(const QString &operation, QJsonObject fault)
{
    m_drive.reset();
    const QString id = idOf(m_emulator.seedFile(QStringLiteral("/f.bin"), Remote));
    const QString entry = QStringLiteral("/drive/v3/files/") + id;
    if (operation == QLatin1String("get")) {
        fault.insert(QStringLiteral("path"), entry);
        fault.insert(QStringLiteral("query"), QStringLiteral("alt=media"));
    } else if (operation == QLatin1String("put")) {
        fault.insert(QStringLiteral("path"), QStringLiteral("/upload/*"));
    } else {
        fault.insert(QStringLiteral("path"), entry);
        fault.insert(QStringLiteral("method"), QStringLiteral("DELETE"));
    }
    m_emulator.addFault(fault);
    return id;
}

void TestFaultInjection::faultToError_data()
{
    QTest::addColumn<QString>("operation"); // gdapp's command
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<QList<int>>("codes"); // the plug-in's error code
    QTest::addColumn<QList<ExitCode>>("exitStatuses"); // gdapp's

    const auto row = [](const char *operation, const char *name, const char *fault,
                        const QList<int> &codes, const QList<ExitCode> &exitStatuses) {
        QTest::addRow("%s, %s", operation, name)
                << QString::fromLatin1(operation) << json(fault) << codes << exitStatuses;
    };
    using Exit = ExitCode;
    // Statuses become Qt's codes by Qt's own table: one of each kind that gdapp tells apart.
    row("get", "credentials refused", R"({"status": 401})",
        { QNetworkReply::AuthenticationRequiredError }, { Exit::NotAuthorised });
    row("get", "gone meanwhile", R"({"status": 404})", { QNetworkReply::ContentNotFoundError },
        { Exit::NotFound });
    // Qt resends an idempotent request on a closed connection: every attempt fails.
    row("get", "connection dropped", R"({"action": "drop", "count": -1})",
        { QNetworkReply::RemoteHostClosedError }, { Exit::ServiceError });
    // Depending on when it notices the close, Qt reports it or takes the short body as complete,
    // which the checksum then refuses.
    row("get", "cut mid-body", R"({"action": "truncate", "count": -1})",
        { QNetworkReply::RemoteHostClosedError, Cloud::CorruptedData },
        { Exit::ServiceError, Exit::CorruptedData });
    row("get", "corrupted", R"({"action": "corrupt"})", { Cloud::CorruptedData },
        { Exit::CorruptedData });
    row("put", "service error", R"({"status": 500})", { QNetworkReply::InternalServerError },
        { Exit::ServiceError });
    // Qt resends even an upload when the connection closes before any answer.
    row("put", "connection dropped", R"({"action": "drop", "count": -1})",
        { QNetworkReply::RemoteHostClosedError }, { Exit::ServiceError });
    row("put", "a slow answer, no fault", R"({"delayMs": 2000})", { QNetworkReply::NoError },
        { Exit::Success });
    row("rm", "service error", R"({"status": 500})", { QNetworkReply::InternalServerError },
        { Exit::ServiceError });
}

void TestFaultInjection::faultToError()
{
    QFETCH(QString, operation);
    QFETCH(QJsonObject, fault);
    QFETCH(QList<int>, codes);
    QFETCH(QList<ExitCode>, exitStatuses);
    const bool succeeds = codes == QList<int> { QNetworkReply::NoError };

    // Through the plug-in; the file goes before gdapp runs.
    {
        const QString id = seedWithFault(operation, fault);
        const QJsonArray service = m_emulator.files();
        ProbedFile file(m_drive.flow(), RemoteUrl);
        QByteArray before; // rm leaves the buffer empty
        if (operation != QLatin1String("rm")) {
            before = operation == QLatin1String("put") ? Replacement : Previous;
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(before);
        }
        if (operation == QLatin1String("get"))
            file.close();

        MessageCapture messages;
        bool done = false;
        QString logged; // the one debug line of a failure
        if (operation == QLatin1String("get")) {
            done = file.open(QIODevice::ReadOnly);
            logged = QStringLiteral("virtual bool GoogleFile::getFile() \"%1\"");
        } else if (operation == QLatin1String("put")) {
            done = file.flush();
            logged = QStringLiteral("virtual bool GoogleFile::putFile() %1  -  \"%2\"")
                             .arg(file.errorCode());
        } else {
            done = file.remove();
            logged = QStringLiteral("virtual bool GoogleFile::remove(const CloudObject*) \"%1\"");
        }
        QCOMPARE(done, succeeds);
        QVERIFY2(codes.contains(file.errorCode()),
                 QByteArray::number(file.errorCode()).constData());
        // A checksum refused leaves what arrived in the buffer, for the host to look at.
        if (file.errorCode() == Cloud::CorruptedData)
            QVERIFY(file.buffer() != Remote && file.buffer() != Previous);
        else
            QCOMPARE(file.buffer(), before);
        if (succeeds) {
            QCOMPARE(m_emulator.content(id), Replacement);
        } else {
            QVERIFY(!file.errorString().isEmpty());
            QCOMPARE(messages.debugLines(), QStringList(logged.arg(file.errorString())));
            QCOMPARE(m_emulator.files(), service);
        }
    }

    // Through gdapp: get into no file and onto one, put from a file, rm.
    const QString target = local(QStringLiteral("got.bin"));
    const QList<QByteArray> locals = operation == QLatin1String("get")
            ? QList<QByteArray> { QByteArray(), Previous }
            : QList<QByteArray> { QByteArray() };
    for (const QByteArray &local : locals) {
        QFile::remove(target);
        if (!local.isEmpty()) {
            QFile existing(target);
            QVERIFY(existing.open(QIODevice::WriteOnly) && existing.write(local) > 0);
        }
        const QString remoteId = seedWithFault(operation, fault);
        const QJsonArray untouched = m_emulator.files();
        QStringList command { operation, RemoteUrl };
        if (operation == QLatin1String("get"))
            command.append(target);
        else if (operation == QLatin1String("put"))
            command = QStringList { operation, QStringLiteral("new.bin"), RemoteUrl };
        const GdappRunner::Run run = m_gdapp.run(command);
        QVERIFY2(exitStatuses.contains(ExitCode(run.exitCode)),
                 qPrintable(QStringLiteral("exit %1: %2")
                                    .arg(run.exitCode)
                                    .arg(QString::fromUtf8(run.err))));
        if (succeeds)
            QCOMPARE(m_emulator.content(remoteId), Replacement);
        else
            QCOMPARE(m_emulator.files(), untouched);
        // Nothing half-written is left, and a file that was there stays as it was.
        QCOMPARE(QDir(m_work.path())
                         .entryList({ QStringLiteral("*got.bin*") }, QDir::Files | QDir::Hidden),
                 local.isEmpty() ? QStringList() : QStringList(QStringLiteral("got.bin")));
        if (!local.isEmpty()) {
            QFile kept(target);
            QVERIFY(kept.open(QIODevice::ReadOnly));
            QCOMPARE(kept.readAll(), local);
        }
    }
}

// Answers may come slowly, or chunked without a Content-Length: lookups (which are listings) and
// downloads read them all the same, and nothing times out.
void TestFaultInjection::slowAndChunkedAnswersAreReadWhole()
{
    seedWithFault(QStringLiteral("get"), json(R"({"action": "chunked", "delayMs": 2000})"));
    m_emulator.addFault(json(R"({"action": "chunked", "count": -1})"));
    ProbedFile file(m_drive.flow(), RemoteUrl);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.buffer(), Remote);
}

// A service that takes the body slowly: the file reports how far the upload is while it goes,
// in percentages that only grow, and the body arrives whole.
void TestFaultInjection::throttledUploadReportsProgressAsItGoes()
{
    // More than the kernel takes in at once for the client: about 7 MiB. Taken in over some
    // seconds, so that a busy machine, which may hand the reply's progress to this thread in one
    // burst, still shows some of it apart.
    const QByteArray large = Replacement.repeated(32);
    const QString id = seedWithFault(QStringLiteral("put"),
                                     json(R"({"action": "throttle", "bytesPerSecond": 2000000})"));
    ProbedFile file(m_drive.flow(), RemoteUrl);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(large);

    QList<int> seen;
    connect(&file, &CloudFile::progress, this, [&seen](int percent) { seen.append(percent); });
    QVERIFY(file.flush());
    QCOMPARE(m_emulator.content(id), large);
    QVERIFY(std::any_of(seen.cbegin(), seen.cend(),
                        [](int percent) { return percent > 0 && percent < 100; }));
    QVERIFY(std::is_sorted(seen.cbegin(), seen.cend()));
    QCOMPARE(seen.last(), 100);
}

QTEST_MAIN(TestFaultInjection)
#include "tst_faultinjection.moc"
