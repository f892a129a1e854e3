// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorprocess.h"

#include <QRegularExpression>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

// The emulator as an HTTP/1.1 server and as a process: connections, bodies, faults, storage.
class TestEmulatorServer : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void rawRequests_data();
    void rawRequests();
    void dataFolderIsOneEmulators();

private:
    EmulatorProcess m_emulator;
    BlockingHttpClient m_http;
    QByteArray m_upload; // the head of an upload, without the lines that describe its body
};

// An emulator that refuses bodies over 1000 bytes and has a fault rule from its command line; one
// whose rule it cannot read does not start.
void TestEmulatorServer::initTestCase()
{
    QVERIFY(!m_emulator.start({ "--fault", QStringLiteral("status=abc") }));
    QVERIFY(m_emulator.start({ "--max-body", "1000", "--fault",
                               QStringLiteral("method=POST,path=/o/oauth2/token,status=503") }));
    m_upload = "POST /upload/drive/v3/files?uploadType=media&fields=md5Checksum HTTP/1.1\r\n"
               "Host: x\r\nAuthorization: Bearer "
            + m_emulator.issueAccessToken().toUtf8() + "\r\n";
}

void TestEmulatorServer::rawRequests_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QString>("answer"); // a pattern

    QTest::newRow("chunked body") << m_upload
                    + "Transfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n7;ext=1\r\n, world\r\n"
                      "0\r\n\r\n"
                                  << "e4d7f1b4ed2e42d15898f4b27b019da4"; // MD5 of "hello, world"
    // curl asks before it sends a body over 1 MiB (the window tests seed the emulator so):
    // without the answer it waits a second for nothing.
    QTest::newRow("100 Continue") << m_upload
                    + "Content-Length: 4\r\nExpect: 100-continue\r\n\r\ndata"
                                  << "^HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200";
    QTest::newRow("body over --max-body") << m_upload + "Content-Length: 1001\r\n\r\n"
                                          << "^HTTP/1.1 413 ";
    QTest::newRow("fault from the command line")
            << QByteArray("POST /o/oauth2/token HTTP/1.1\r\nContent-Length: 0\r\n\r\n")
            << "^HTTP/1.1 503 (?s).*\"error\": \"server_error\"";
    QTest::newRow("header without colon")
            << QByteArray("GET / HTTP/1.1\r\nBroken\r\n\r\n") << "^HTTP/1.1 400 ";
    QTest::newRow("bad length") << QByteArray("POST / HTTP/1.1\r\nContent-Length: -4\r\n\r\n")
                                << "^HTTP/1.1 400 ";
    QTest::newRow("head too large")
            << QByteArray("GET / HTTP/1.1\r\nX: " + QByteArray(70000, 'a') + "\r\n\r\n")
            << "^HTTP/1.1 431 ";
}

void TestEmulatorServer::rawRequests()
{
    QFETCH(QByteArray, request);
    QFETCH(QString, answer);
    const QRegularExpression pattern(answer);
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, m_emulator.port());
    QVERIFY(socket.waitForConnected());
    socket.write(request);
    QByteArray got;
    while (!pattern.match(QString::fromLatin1(got)).hasMatch() && socket.waitForReadyRead(10000))
        got += socket.readAll();
    QVERIFY2(pattern.match(QString::fromLatin1(got)).hasMatch(), got.constData());
    // What the server refuses before its end leaves it no way to the next request: it closes,
    // unread bodies and all.
    if (got.startsWith("HTTP/1.1 4"))
        QVERIFY(socket.state() == QAbstractSocket::UnconnectedState
                || socket.waitForDisconnected(10000));
    QCOMPARE(m_http.get(m_emulator.url(QStringLiteral("/_emulator/health"))).status, 200);
}

// What the emulator acknowledged survives its death, and a second emulator started on its
// folder, on its port or on another, changes nothing: it exits at once, naming the folder and
// the process that holds it.
void TestEmulatorServer::dataFolderIsOneEmulators()
{
    QTemporaryDir data;
    QMap<QString, QByteArray> acknowledged; // by identifier
    BlockingHttpClient::Headers authorization;
    QString gone;
    {
        EmulatorProcess emulator;
        QVERIFY(emulator.start({ "--data", data.path() }));
        authorization = { { "Authorization", "Bearer " + emulator.issueAccessToken().toUtf8() } };
        gone = idOf(emulator.seedFile(QStringLiteral("/gone.txt"), "deleted"));
        m_http.send("DELETE", emulator.url("/drive/v3/files/" + gone), authorization);
        // Uploads one after the other; the emulator dies in the middle of the series.
        for (int i = 0; i < 100000 && emulator.isRunning(); ++i) {
            const QByteArray content = QByteArray::number(i).repeated(2000 + i % 7);
            const auto reply = m_http.send(
                    "POST", emulator.url(QStringLiteral("/upload/drive/v3/files?uploadType=media")),
                    authorization, content);
            if (reply.status == 200)
                acknowledged.insert(idOf(reply.json()), content);
            if (i != 10)
                continue;
            QFile journal(QDir(data.path()).filePath(QStringLiteral("journal.jsonl")));
            QVERIFY(journal.open(QIODevice::ReadOnly));
            const QByteArray written = journal.readAll();
            for (const QString &port : { QString::number(emulator.port()), QStringLiteral("0") }) {
                EmulatorProcess second;
                QVERIFY(!second.start({ "--data", data.path(), "--port", port }));
                const QString said = second.output();
                QVERIFY2(said.contains(data.path())
                                 && said.contains(QString::number(emulator.processId())),
                         qPrintable(said));
            }
            QVERIFY(journal.seek(0));
            QCOMPARE(journal.readAll(), written);
            QTimer::singleShot(700, [&emulator] { emulator.kill(); });
        }
        QVERIFY(!emulator.isRunning());
    }
    QVERIFY(acknowledged.size() > 12);

    // Its tokens survive too.
    EmulatorProcess restarted;
    QVERIFY(restarted.start({ "--data", data.path() }));
    QCOMPARE(m_http.get(restarted.url("/drive/v3/files/" + gone), authorization).status, 404);
    for (auto it = acknowledged.cbegin(); it != acknowledged.cend(); ++it) {
        const QString media = QStringLiteral("/drive/v3/files/%1?alt=media").arg(it.key());
        QCOMPARE(m_http.get(restarted.url(media), authorization).body, it.value());
    }
}

QTEST_GUILESS_MAIN(TestEmulatorServer)
#include "tst_emulatorserver.moc"
