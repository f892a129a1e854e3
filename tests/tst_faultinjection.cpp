// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "authoriseddrive.h"
#include "messagecapture.h"
#include "oauthgoogle.h"
#include "probedfile.h"

#include <QNetworkReply>
#include <QtTest>

// Transfers that the service or the connection breaks: the file reports the failure, keeps what
// it had, and the remote file stays as it was.
namespace {
const QByteArray Remote = QByteArray("remote content\n").repeated(20000);
const QByteArray Previous = "what the buffer held before";
const QByteArray Replacement = QByteArray("replacement\n").repeated(20000);

} // namespace

class TestFaultInjection : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void download_data();
    void download();
    void upload_data();
    void upload();
    void slowAndChunkedAnswersAreReadWhole();
    void throttledUploadReportsProgressAsItGoes();

private:
    void addFaultsOn(const QString &path, const QString &query, QJsonObject rule);

    AuthorisedDrive m_drive;
    EmulatorProcess &m_emulator { m_drive.emulator() };
};

void TestFaultInjection::initTestCase()
{
    QVERIFY(m_drive.start(QStringLiteral("tst_faultinjection")));
}

void TestFaultInjection::cleanupTestCase()
{
    m_drive.stop();
}

void TestFaultInjection::init()
{
    m_drive.reset();
}

void TestFaultInjection::addFaultsOn(const QString &path, const QString &query, QJsonObject rule)
{
    rule.insert(QStringLiteral("path"), path);
    if (!query.isEmpty())
        rule.insert(QStringLiteral("query"), query);
    m_emulator.addFault(rule);
}

// A cut body is either reported by Qt or, when Qt takes the short body as complete, caught by the
// checksum (and then the received bytes stay in the buffer, as for any checksum failure).
void TestFaultInjection::download_data()
{
    QTest::addColumn<QJsonObject>("rule");
    QTest::addColumn<QList<int>>("codes");
    QTest::addColumn<QString>("text"); // a pattern the error text matches

    QTest::newRow("500") << json(R"({"status": 500})")
                         << QList<int> { QNetworkReply::InternalServerError }
                         << "server replied: Internal Server Error";
    QTest::newRow("503") << json(R"({"status": 503})")
                         << QList<int> { QNetworkReply::ServiceUnavailableError }
                         << "server replied: Service Unavailable";
    QTest::newRow("401") << json(R"({"status": 401})")
                         << QList<int> { QNetworkReply::AuthenticationRequiredError }
                         << "requires authentication";
    QTest::newRow("404") << json(R"({"status": 404})")
                         << QList<int> { QNetworkReply::ContentNotFoundError }
                         << "server replied: Not Found";
    // Qt resends an idempotent request on a closed connection: every attempt fails.
    QTest::newRow("dropped") << json(R"({"action": "drop", "count": -1})")
                             << QList<int> { QNetworkReply::RemoteHostClosedError } << "closed";
    QTest::newRow("cut mid-body") << json(R"({"action": "truncate", "count": -1})")
                                  << QList<int> { QNetworkReply::RemoteHostClosedError, 299 }
                                  << "closed|^Les données reçues sont corrompues$";
    QTest::newRow("corrupted") << json(R"({"action": "corrupt"})") << QList<int> { 299 }
                               << "^Les données reçues sont corrompues$";
}

void TestFaultInjection::download()
{
    QFETCH(QJsonObject, rule);
    QFETCH(QList<int>, codes);
    QFETCH(QString, text);

    const QString id = idOf(m_emulator.seedFile(QStringLiteral("/f.bin"), Remote));
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/f.bin"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(Previous);
    file.close();
    addFaultsOn(QStringLiteral("/drive/v3/files/") + id, QStringLiteral("alt=media"), rule);

    MessageCapture messages;
    QVERIFY(!file.open(QIODevice::ReadOnly));
    QVERIFY(file.isOpen()); // open even when the fetch failed
    QVERIFY2(codes.contains(file.errorCode()), QByteArray::number(file.errorCode()).constData());
    QVERIFY2(file.errorString().contains(QRegularExpression(text)), qPrintable(file.errorString()));
    QCOMPARE(messages.debugLines(),
             QStringList(QStringLiteral("virtual bool GoogleFile::getFile() \"%1\"")
                                 .arg(file.errorString())));
    if (file.errorCode() == 299)
        QVERIFY(file.buffer() != Remote);
    else
        QCOMPARE(file.buffer(), Previous);
    QCOMPARE(m_emulator.content(id), Remote);
}

void TestFaultInjection::upload_data()
{
    QTest::addColumn<QJsonObject>("rule");
    QTest::addColumn<int>("code");

    QTest::newRow("500") << json(R"({"status": 500})") << int(QNetworkReply::InternalServerError);
    QTest::newRow("401") << json(R"({"status": 401})")
                         << int(QNetworkReply::AuthenticationRequiredError);
    QTest::newRow("404") << json(R"({"status": 404})") << int(QNetworkReply::ContentNotFoundError);
    // Qt resends even an upload when the connection closes before any answer: every attempt
    // is dropped.
    QTest::newRow("dropped") << json(R"({"action": "drop", "count": -1})")
                             << int(QNetworkReply::RemoteHostClosedError);
    QTest::newRow("very slow") << json(R"({"delayMs": 2000})") << 0;
}

void TestFaultInjection::upload()
{
    QFETCH(QJsonObject, rule);
    QFETCH(int, code);

    const QString id = idOf(m_emulator.seedFile(QStringLiteral("/f.bin"), Remote));
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/f.bin"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(Replacement);
    addFaultsOn(QStringLiteral("/upload/*"), QString(), rule);

    MessageCapture messages;
    QCOMPARE(file.flush(), code == 0);
    QCOMPARE(file.errorCode(), code);
    QCOMPARE(file.buffer(), Replacement); // nothing written is lost
    if (code == 0) {
        QCOMPARE(m_emulator.content(id), Replacement);
        return;
    }
    QVERIFY(!file.errorString().isEmpty());
    QCOMPARE(messages.debugLines(),
             QStringList(QStringLiteral("virtual bool GoogleFile::putFile() %1  -  \"%2\"")
                                 .arg(code)
                                 .arg(file.errorString())));
    QCOMPARE(m_emulator.content(id), Remote);
    QCOMPARE(m_emulator.files().size(), 1);
}

// Answers may come slowly, or chunked without a Content-Length: lookups, listings and downloads
// read them all the same, and nothing times out.
void TestFaultInjection::slowAndChunkedAnswersAreReadWhole()
{
    const QString id = idOf(m_emulator.seedFile(QStringLiteral("/docs/a.txt"), Remote));
    addFaultsOn(QStringLiteral("/drive/v3/files/") + id, QStringLiteral("alt=media"),
                json(R"({"action": "chunked", "delayMs": 2000})"));
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
    QVERIFY(m_emulator.requests().last().toObject().value(QStringLiteral("status")).toInt() == 200);
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
    addFaultsOn(QStringLiteral("/upload/*"), QString(),
                json(R"({"action": "throttle", "bytesPerSecond": 2000000})"));

    QList<int> seen;
    QString shown; // for the failure message
    connect(&file, &CloudFile::progress, this, [&seen, &shown](int percent) {
        seen.append(percent);
        shown += QLatin1Char(' ') + QString::number(percent);
    });
    QVERIFY(file.flush());
    QCOMPARE(m_emulator.content(id), large);
    QVERIFY2(std::any_of(seen.cbegin(), seen.cend(),
                         [](int percent) { return percent > 0 && percent < 100; }),
             qPrintable(shown));
    QVERIFY2(std::is_sorted(seen.cbegin(), seen.cend()), qPrintable(shown));
    QCOMPARE(seen.last(), 100);
}

QTEST_MAIN(TestFaultInjection)
#include "tst_faultinjection.moc"
