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

QJsonObject fault(std::initializer_list<QPair<QString, QJsonValue>> keys)
{
    QJsonObject rule;
    for (const auto &key : keys)
        rule.insert(key.first, key.second);
    return rule;
}
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
    void answersWithoutContentLength();

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

// Error codes, or -1 when the transfer must succeed. A cut body is either reported by Qt or,
// when Qt takes the short body as complete, caught by the checksum (and then the received bytes
// stay in the buffer, as for any checksum failure).
void TestFaultInjection::download_data()
{
    QTest::addColumn<QJsonObject>("rule");
    QTest::addColumn<QList<int>>("codes");
    QTest::addColumn<QString>("text");

    QTest::newRow("500") << fault({ { QStringLiteral("status"), 500 } })
                         << QList<int> { QNetworkReply::InternalServerError } << "server replied";
    QTest::newRow("503") << fault({ { QStringLiteral("status"), 503 } })
                         << QList<int> { QNetworkReply::ServiceUnavailableError }
                         << "server replied";
    QTest::newRow("401") << fault({ { QStringLiteral("status"), 401 } })
                         << QList<int> { QNetworkReply::AuthenticationRequiredError } << "";
    QTest::newRow("404") << fault({ { QStringLiteral("status"), 404 } })
                         << QList<int> { QNetworkReply::ContentNotFoundError } << "server replied";
    // Qt resends an idempotent request on a closed connection: every attempt fails.
    QTest::newRow("dropped") << fault({ { QStringLiteral("action"), QStringLiteral("drop") },
                                        { QStringLiteral("count"), -1 } })
                             << QList<int> { QNetworkReply::RemoteHostClosedError } << "closed";
    QTest::newRow("cut mid-body") << fault(
            { { QStringLiteral("action"), QStringLiteral("truncate") },
              { QStringLiteral("count"), -1 } })
                                  << QList<int> { QNetworkReply::RemoteHostClosedError, 299 } << "";
    QTest::newRow("corrupted") << fault({ { QStringLiteral("action"), QStringLiteral("corrupt") } })
                               << QList<int> { 299 } << "Les données reçues sont corrompues";
    QTest::newRow("very slow") << fault({ { QStringLiteral("delayMs"), 2000 } })
                               << QList<int> { -1 } << "";
    QTest::newRow("chunked, no length")
            << fault({ { QStringLiteral("action"), QStringLiteral("chunked") } })
            << QList<int> { -1 } << "";
}

void TestFaultInjection::download()
{
    QFETCH(QJsonObject, rule);
    QFETCH(QList<int>, codes);
    QFETCH(QString, text);

    const QString id = m_emulator.seedFile(QStringLiteral("/f.bin"), Remote)
                               .value(QStringLiteral("id"))
                               .toString();
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/f.bin"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(Previous);
    file.close();
    addFaultsOn(QStringLiteral("/drive/v3/files/") + id, QStringLiteral("alt=media"), rule);

    MessageCapture messages;
    const bool opened = file.open(QIODevice::ReadOnly);
    QCOMPARE(file.isOpen(), true); // open even when the fetch failed
    if (codes == QList<int> { -1 }) {
        QVERIFY(opened);
        QCOMPARE(file.errorCode(), 0);
        QCOMPARE(file.buffer(), Remote);
        return;
    }
    QVERIFY(!opened);
    QVERIFY2(codes.contains(file.errorCode()), QByteArray::number(file.errorCode()).constData());
    QVERIFY(!file.errorString().isEmpty());
    QVERIFY2(file.errorString().contains(text), qPrintable(file.errorString()));
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

    QTest::newRow("500") << fault({ { QStringLiteral("status"), 500 } })
                         << int(QNetworkReply::InternalServerError);
    QTest::newRow("401") << fault({ { QStringLiteral("status"), 401 } })
                         << int(QNetworkReply::AuthenticationRequiredError);
    QTest::newRow("404") << fault({ { QStringLiteral("status"), 404 } })
                         << int(QNetworkReply::ContentNotFoundError);
    // Qt resends even an upload when the connection closes before any answer: every attempt
    // is dropped.
    QTest::newRow("dropped") << fault({ { QStringLiteral("action"), QStringLiteral("drop") },
                                        { QStringLiteral("count"), -1 } })
                             << int(QNetworkReply::RemoteHostClosedError);
    QTest::newRow("very slow") << fault({ { QStringLiteral("delayMs"), 2000 } }) << 0;
}

void TestFaultInjection::upload()
{
    QFETCH(QJsonObject, rule);
    QFETCH(int, code);

    const QString id = m_emulator.seedFile(QStringLiteral("/f.bin"), Remote)
                               .value(QStringLiteral("id"))
                               .toString();
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

// Answers may come chunked, without a Content-Length: lookups, listings and downloads read them
// all the same.
void TestFaultInjection::answersWithoutContentLength()
{
    m_emulator.seedFile(QStringLiteral("/docs/a.txt"), Remote);
    m_emulator.addFault(fault({ { QStringLiteral("action"), QStringLiteral("chunked") },
                                { QStringLiteral("count"), -1 } }));
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

QTEST_MAIN(TestFaultInjection)
#include "tst_faultinjection.moc"
