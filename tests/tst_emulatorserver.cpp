// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorprocess.h"

#include <QCryptographicHash>
#include <QNetworkReply>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

namespace {
QByteArray md5(const QByteArray &data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex();
}

// Reads from socket until the text contains what, or the wait runs out.
QByteArray readUntil(QTcpSocket &socket, const QByteArray &what, int count = 1)
{
    QByteArray data;
    QDeadlineTimer deadline(10000);
    while (data.count(what) < count && !deadline.hasExpired()) {
        if (socket.bytesAvailable() == 0 && !socket.waitForReadyRead(int(deadline.remainingTime())))
            break;
        data += socket.readAll();
    }
    return data;
}

QByteArray multipartBody(const QString &name, const QByteArray &content)
{
    return "--b\nContent-Type: application/json; charset=UTF-8\n\n{\"name\":\"" + name.toUtf8()
            + "\",\"parents\":[\"appDataFolder\"]}\n--b\nContent-Type: application/tarnwick\n\n"
            + content + "\n--b--\n";
}
} // namespace

// The emulator as an HTTP/1.1 server and as a process: connections, bodies, faults, storage.
class TestEmulatorServer : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void chunkedRequestBody();
    void expectContinue();
    void malformedRequests_data();
    void malformedRequests();
    void oversizedBodyIsRefusedUnread();
    void chunkedAnswers();
    void faultCountsDown();
    void faultGivenAtStart();
    void killDuringWritesLosesNothingAcknowledged();

private:
    QByteArray auth() const { return "Bearer " + m_token.toUtf8(); }
    QNetworkReply *upload(QNetworkAccessManager &manager, EmulatorProcess &emulator,
                          const QString &token, const QString &name, const QByteArray &content);

    EmulatorProcess m_emulator;
    BlockingHttpClient m_http;
    QString m_token;
};

void TestEmulatorServer::initTestCase()
{
    QVERIFY(m_emulator.start());
}

void TestEmulatorServer::init()
{
    m_emulator.control("POST", QStringLiteral("reset"));
    m_token = m_emulator.issueAccessToken();
}

QNetworkReply *TestEmulatorServer::upload(QNetworkAccessManager &manager, EmulatorProcess &emulator,
                                          const QString &token, const QString &name,
                                          const QByteArray &content)
{
    QNetworkRequest request(
            emulator.url(QStringLiteral("/upload/drive/v3/files?uploadType=multipart")));
    request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    request.setRawHeader("Content-Type", "multipart/related; boundary=b");
    return manager.post(request, multipartBody(name, content));
}

void TestEmulatorServer::chunkedRequestBody()
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, m_emulator.port());
    QVERIFY(socket.waitForConnected());
    socket.write("POST /upload/drive/v3/files?uploadType=media&fields=size,md5Checksum HTTP/1.1\r\n"
                 "Host: x\r\nAuthorization: "
                 + auth()
                 + "\r\nTransfer-Encoding: chunked\r\n"
                   "Content-Type: text/plain\r\n\r\n"
                   "5\r\nhello\r\n7;ext=1\r\n, world\r\n0\r\n\r\n");
    const QByteArray answer = readUntil(socket, "}\n");
    QVERIFY2(answer.startsWith("HTTP/1.1 200"), answer.constData());
    QVERIFY(answer.contains("\"size\": \"12\""));
    QVERIFY(answer.contains(md5("hello, world")));
}

void TestEmulatorServer::malformedRequests_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("status");

    QTest::newRow("no version") << QByteArray("GET /\r\n\r\n") << QByteArray("400");
    QTest::newRow("not HTTP") << QByteArray("HELLO there friend\r\n\r\n") << QByteArray("400");
    QTest::newRow("header without colon")
            << QByteArray("GET / HTTP/1.1\r\nBroken\r\n\r\n") << QByteArray("400");
    QTest::newRow("bad length") << QByteArray("POST / HTTP/1.1\r\nContent-Length: -4\r\n\r\n")
                                << QByteArray("400");
    QTest::newRow("head too large")
            << QByteArray("GET / HTTP/1.1\r\nX: " + QByteArray(70000, 'a') + "\r\n\r\n")
            << QByteArray("431");
    QTest::newRow("unknown path") << QByteArray("GET /elsewhere HTTP/1.1\r\n\r\n")
                                  << QByteArray("404");
}

void TestEmulatorServer::malformedRequests()
{
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, status);
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, m_emulator.port());
    QVERIFY(socket.waitForConnected());
    socket.write(request);
    QVERIFY(readUntil(socket, "\r\n\r\n").startsWith("HTTP/1.1 " + status));
    // The server lives on.
    QCOMPARE(m_http.get(m_emulator.url(QStringLiteral("/_emulator/health"))).status, 200);
}

void TestEmulatorServer::oversizedBodyIsRefusedUnread()
{
    EmulatorProcess small;
    QVERIFY(small.start({ QStringLiteral("--max-body"), QStringLiteral("1000") }));
    const QString token = small.issueAccessToken();
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, small.port());
    QVERIFY(socket.waitForConnected());
    // The answer comes before any of the announced body is sent.
    socket.write("POST /upload/drive/v3/files?uploadType=media HTTP/1.1\r\nHost: x\r\n"
                 "Authorization: Bearer "
                 + token.toUtf8() + "\r\nContent-Length: 1001\r\n\r\n");
    QVERIFY(readUntil(socket, "\r\n\r\n").startsWith("HTTP/1.1 413"));
    QVERIFY(socket.state() == QAbstractSocket::UnconnectedState
            || socket.waitForDisconnected(10000));
    QCOMPARE(small.files().size(), 0);
}

// The "chunked" fault: the answer comes without a Content-Length, in chunks.
void TestEmulatorServer::chunkedAnswers()
{
    m_emulator.addFault(json(R"({"action": "chunked"})"));
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, m_emulator.port());
    QVERIFY(socket.waitForConnected());
    socket.write("GET /drive/v3/files HTTP/1.1\r\nHost: x\r\nAuthorization: " + auth()
                 + "\r\n\r\n");
    const QByteArray answer = readUntil(socket, "\r\n0\r\n\r\n");
    const QByteArray head = answer.left(answer.indexOf("\r\n\r\n")).toLower();
    QVERIFY2(head.startsWith("http/1.1 200"), answer.constData());
    QVERIFY(head.contains("transfer-encoding: chunked"));
    QVERIFY(!head.contains("content-length"));
    QVERIFY(answer.endsWith("\r\n0\r\n\r\n"));
}

// curl asks before it sends a body over 1 MiB (the window tests seed the emulator so): without
// the answer it waits a second for nothing.
void TestEmulatorServer::expectContinue()
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, m_emulator.port());
    QVERIFY(socket.waitForConnected());
    socket.write("POST /upload/drive/v3/files?uploadType=media HTTP/1.1\r\nHost: x\r\n"
                 "Authorization: "
                 + auth() + "\r\nContent-Length: 4\r\nExpect: 100-continue\r\n\r\n");
    QCOMPARE(readUntil(socket, "\r\n\r\n"), QByteArray("HTTP/1.1 100 Continue\r\n\r\n"));
    socket.write("data");
    QVERIFY(readUntil(socket, "}\n").startsWith("HTTP/1.1 200"));
}

void TestEmulatorServer::faultCountsDown()
{
    m_emulator.addFault(json(R"({"path": "/drive/v3/files", "status": 500, "count": 2})"));
    const QUrl url = m_emulator.url(QStringLiteral("/drive/v3/files"));
    QCOMPARE(m_http.get(url, { { "Authorization", auth() } }).status, 500);
    QCOMPARE(m_http.get(url, { { "Authorization", auth() } }).status, 500);
    QCOMPARE(m_http.get(url, { { "Authorization", auth() } }).status, 200);
    // Bad rules are refused: a throttle needs a pace, and can answer nothing itself.
    for (const char *rule : { R"({"action": "explode"})", R"({"action": "throttle"})",
                              R"({"action": "throttle", "bytesPerSecond": 1000, "status": 500})",
                              R"({"bytesPerSecond": 1000})" }) {
        QCOMPARE(m_emulator.control("POST", QStringLiteral("faults"), json(rule)).status, 400);
    }
}

void TestEmulatorServer::faultGivenAtStart()
{
    EmulatorProcess faulty;
    QVERIFY(faulty.start({ QStringLiteral("--fault"),
                           QStringLiteral("method=POST,path=/o/oauth2/token,status=503") }));
    const auto reply =
            m_http.send("POST", faulty.url(QStringLiteral("/o/oauth2/token")),
                        { { "Content-Type", "application/x-www-form-urlencoded" } }, "x=y");
    QCOMPARE(reply.status, 503);
    QCOMPARE(reply.json().value(QStringLiteral("error")).toString(),
             QStringLiteral("server_error"));

    EmulatorProcess refused;
    QVERIFY(!refused.start({ QStringLiteral("--fault"), QStringLiteral("status=abc") }));
}

// What the emulator acknowledged survives its death: files written, a file deleted, the tokens.
void TestEmulatorServer::killDuringWritesLosesNothingAcknowledged()
{
    QTemporaryDir data;
    QMap<QString, QByteArray> acknowledged;
    QString token;
    {
        EmulatorProcess emulator;
        QVERIFY(emulator.start({ QStringLiteral("--data"), data.path() }));
        token = emulator.issueAccessToken();
        const QString gone = idOf(emulator.seedFile(QStringLiteral("/gone.txt"), "deleted"));
        QCOMPARE(m_http.send("DELETE", emulator.url(QStringLiteral("/drive/v3/files/") + gone),
                             { { "Authorization", "Bearer " + token.toUtf8() } })
                         .status,
                 204);
        QNetworkAccessManager manager;
        // Uploads one after the other; the emulator dies in the middle of the series.
        QTimer::singleShot(700, [&emulator] { emulator.kill(); });
        for (int i = 0; i < 100000 && emulator.isRunning(); ++i) {
            const QString name = QStringLiteral("f%1").arg(i);
            const QByteArray content = QByteArray::number(i).repeated(2000 + i % 7);
            QNetworkReply *reply = upload(manager, emulator, token, name, content);
            QSignalSpy finished(reply, &QNetworkReply::finished);
            QVERIFY(finished.wait(30000));
            if (reply->error() == QNetworkReply::NoError)
                acknowledged.insert(name, content);
            reply->deleteLater();
        }
        QVERIFY(!emulator.isRunning());
    }
    QVERIFY(acknowledged.size() > 3);

    EmulatorProcess restarted;
    QVERIFY(restarted.start({ QStringLiteral("--data"), data.path() }));
    QMap<QString, QString> stored;
    for (const QJsonValue &file : restarted.files())
        stored.insert(file.toObject().value(QStringLiteral("path")).toString(),
                      file.toObject().value(QStringLiteral("id")).toString());
    QVERIFY(!stored.contains(QStringLiteral("/gone.txt")));
    for (auto it = acknowledged.cbegin(); it != acknowledged.cend(); ++it) {
        const QString id = stored.value(QLatin1Char('/') + it.key());
        QVERIFY2(!id.isEmpty(), qPrintable(it.key()));
        QCOMPARE(restarted.content(id), it.value());
    }
    const QString first = stored.value(QStringLiteral("/f0"));
    const auto media =
            m_http.get(restarted.url(QStringLiteral("/drive/v3/files/%1?alt=media").arg(first)),
                       { { "Authorization", "Bearer " + token.toUtf8() } });
    QCOMPARE(media.status, 200);
    QCOMPARE(media.body, acknowledged.value(QStringLiteral("f0")));
}

QTEST_GUILESS_MAIN(TestEmulatorServer)
#include "tst_emulatorserver.moc"
