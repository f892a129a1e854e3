// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "authoriseddrive.h"
#include "cloudcodes.h"
#include "gdapprunner.h"
#include "messagecapture.h"
#include "oauthgoogle.h"
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
    void init();

    void faultToError_data();
    void faultToError();
    void slowAndChunkedAnswersAreReadWhole();
    void throttledUploadReportsProgressAsItGoes();

private:
    // Puts the fault on the requests that the operation (gdapp's command) makes of the remote
    // file: the download of its content, any upload, or its removal.
    void addFaultFor(const QString &operation, const QString &id, QJsonObject fault);
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
}

void TestFaultInjection::init()
{
    m_drive.reset();
}

void TestFaultInjection::addFaultFor(const QString &operation, const QString &id, QJsonObject fault)
{
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
}

void TestFaultInjection::faultToError_data()
{
    QTest::addColumn<QString>("operation"); // gdapp's command
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<QList<int>>("codes"); // the plug-in's error code
    QTest::addColumn<QList<int>>("exitStatuses"); // gdapp's

    const auto row = [](const char *operation, const char *name, const char *fault,
                        const QList<int> &codes, const QList<int> &exitStatuses) {
        QTest::addRow("%s, %s", operation, name)
                << QString::fromLatin1(operation) << json(fault) << codes << exitStatuses;
    };
    // Statuses become Qt's codes by Qt's own table: one of each kind that gdapp tells apart.
    row("get", "service error", R"({"status": 500})", { QNetworkReply::InternalServerError },
        { 5 });
    row("get", "credentials refused", R"({"status": 401})",
        { QNetworkReply::AuthenticationRequiredError }, { 4 });
    row("get", "gone meanwhile", R"({"status": 404})", { QNetworkReply::ContentNotFoundError },
        { 3 });
    // Qt resends an idempotent request on a closed connection: every attempt fails.
    row("get", "connection dropped", R"({"action": "drop", "count": -1})",
        { QNetworkReply::RemoteHostClosedError }, { 5 });
    // Depending on when it notices the close, Qt reports it or takes the short body as complete,
    // which the checksum then refuses.
    row("get", "cut mid-body", R"({"action": "truncate", "count": -1})",
        { QNetworkReply::RemoteHostClosedError, Cloud::CorruptedData }, { 5, 6 });
    row("get", "corrupted", R"({"action": "corrupt"})", { Cloud::CorruptedData }, { 6 });
    row("put", "service error", R"({"status": 500})", { QNetworkReply::InternalServerError },
        { 5 });
    row("put", "credentials refused", R"({"status": 401})",
        { QNetworkReply::AuthenticationRequiredError }, { 4 });
    // Qt resends even an upload when the connection closes before any answer.
    row("put", "connection dropped", R"({"action": "drop", "count": -1})",
        { QNetworkReply::RemoteHostClosedError }, { 5 });
    row("put", "a slow answer, no fault", R"({"delayMs": 2000})", { QNetworkReply::NoError },
        { 0 });
    row("rm", "service error", R"({"status": 500})", { QNetworkReply::InternalServerError }, { 5 });
    row("rm", "connection dropped", R"({"action": "drop", "count": -1})",
        { QNetworkReply::RemoteHostClosedError }, { 5 });
}

void TestFaultInjection::faultToError()
{
    QFETCH(QString, operation);
    QFETCH(QJsonObject, fault);
    QFETCH(QList<int>, codes);
    QFETCH(QList<int>, exitStatuses);
    const bool succeeds = codes == QList<int> { QNetworkReply::NoError };

    // Through the plug-in; the file goes before gdapp runs.
    {
        const QString id = idOf(m_emulator.seedFile(QStringLiteral("/f.bin"), Remote));
        ProbedFile file(m_drive.flow(), RemoteUrl);
        QByteArray before; // rm leaves the buffer empty
        if (operation != QLatin1String("rm")) {
            before = operation == QLatin1String("put") ? Replacement : Previous;
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(before);
        }
        if (operation == QLatin1String("get"))
            file.close();
        addFaultFor(operation, id, fault);
        const QJsonArray service = m_emulator.files();

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
    const QString source = local(QStringLiteral("new.bin"));
    QFile sourceFile(source);
    QVERIFY(sourceFile.open(QIODevice::WriteOnly) && sourceFile.write(Replacement) > 0);
    sourceFile.close();
    const QList<QByteArray> locals = operation == QLatin1String("get")
            ? QList<QByteArray> { QByteArray(), Previous }
            : QList<QByteArray> { QByteArray() };
    for (const QByteArray &local : locals) {
        QFile::remove(target);
        if (!local.isEmpty()) {
            QFile existing(target);
            QVERIFY(existing.open(QIODevice::WriteOnly) && existing.write(local) > 0);
        }
        m_drive.reset();
        const QString remoteId = idOf(m_emulator.seedFile(QStringLiteral("/f.bin"), Remote));
        addFaultFor(operation, remoteId, fault);
        const QJsonArray untouched = m_emulator.files();
        QStringList command { operation, RemoteUrl };
        if (operation == QLatin1String("get"))
            command.append(target);
        else if (operation == QLatin1String("put"))
            command = QStringList { operation, source, RemoteUrl };
        const GdappRunner::Run run = m_gdapp.run(command);
        QVERIFY2(exitStatuses.contains(run.exitCode),
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

// Answers may come slowly, or chunked without a Content-Length: lookups, listings and downloads
// read them all the same, and nothing times out.
void TestFaultInjection::slowAndChunkedAnswersAreReadWhole()
{
    const QString id = idOf(m_emulator.seedFile(QStringLiteral("/docs/a.txt"), Remote));
    addFaultFor(QStringLiteral("get"), id, json(R"({"action": "chunked", "delayMs": 2000})"));
    m_emulator.addFault(json(R"({"action": "chunked", "count": -1})"));
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/docs/a.txt"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.buffer(), Remote);

    QList<CloudObject *> listed;
    connect(&file, &CloudFile::objectList, this,
            [&listed](const QList<CloudObject *> &objects) { listed = objects; });
    const std::unique_ptr<CloudObject> root(file.getCloudObject());
    QVERIFY(file.listObjects(root.get()));
    QCOMPARE(listed.size(), 1);
    QCOMPARE(listed.first()->fileName(), QStringLiteral("docs"));
    qDeleteAll(listed);
}

// A service that takes the body slowly: the file reports how far the upload is while it goes,
// in percentages that only grow, and the body arrives whole.
void TestFaultInjection::throttledUploadReportsProgressAsItGoes()
{
    // More than the kernel takes in at once for the client: about 7 MiB. Taken in over some
    // seconds, so that a busy machine, which may hand the reply's progress to this thread in one
    // burst, still shows some of it apart.
    const QByteArray large = Replacement.repeated(32);
    const QString id = idOf(m_emulator.seedFile(QStringLiteral("/f.bin"), Remote));
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/f.bin"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(large);
    addFaultFor(QStringLiteral("put"), id,
                json(R"({"action": "throttle", "bytesPerSecond": 2000000})"));

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
