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

    void keepAliveAndPipelining();
    void connectionClose();
    void chunkedRequestBody();
    void expectContinue();
    void malformedRequests_data();
    void malformedRequests();
    void oversizedBodyIsRefusedUnread();
    void concurrentClients();
    void largeUploadAndDownload();
    void faults_data();
    void faults();
    void faultCountsDown();
    void faultGivenAtStart();
    void faultBodyOverride();
    void controlRequestsAreNotLogged();
    void restartKeepsFilesAndTokens();
    void killDuringWritesLosesNothingAcknowledged();

private:
    QByteArray auth() const { return "Bearer " + m_token.toUtf8(); }
    QNetworkReply *upload(QNetworkAccessManager &manager, EmulatorProcess &emulator,
                          const QString &token, const QString &name, const QByteArray &content);

    EmulatorProcess m_emulator;
    TestHttpClient m_http;
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

void TestEmulatorServer::keepAliveAndPipelining()
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, m_emulator.port());
    QVERIFY(socket.waitForConnected());
    const QByteArray request = "GET /_emulator/health HTTP/1.1\r\nHost: x\r\n\r\n";
    socket.write(request);
    const QByteArray first = readUntil(socket, "\"ok\"");
    QVERIFY(first.startsWith("HTTP/1.1 200 OK\r\n"));
    QVERIFY(first.contains("Connection: keep-alive"));

    // Three more in one write, with bare LF line ends for one of them.
    socket.write(request + "GET /_emulator/health HTTP/1.1\nHost: x\n\n" + request);
    const QByteArray three = readUntil(socket, "\"ok\"", 3);
    QCOMPARE(three.count("HTTP/1.1 200 OK"), 3);
    QCOMPARE(socket.state(), QAbstractSocket::ConnectedState);
}

void TestEmulatorServer::connectionClose()
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, m_emulator.port());
    QVERIFY(socket.waitForConnected());
    socket.write("GET /_emulator/health HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
    QVERIFY(socket.waitForDisconnected(10000));
    const QByteArray answer = socket.readAll();
    QVERIFY(answer.contains("Connection: close"));
    QVERIFY(answer.endsWith("}\n"));
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

void TestEmulatorServer::concurrentClients()
{
    // Separate managers, so the requests really overlap on separate connections.
    QList<QNetworkAccessManager *> managers;
    QList<QNetworkReply *> replies;
    for (int i = 0; i < 12; ++i) {
        managers.append(new QNetworkAccessManager(this));
        replies.append(upload(*managers.last(), m_emulator, m_token, QStringLiteral("c%1").arg(i),
                              QByteArray(100000 + i, char('a' + i))));
    }
    for (QNetworkReply *reply : replies) {
        if (!reply->isFinished())
            QVERIFY(QSignalSpy(reply, &QNetworkReply::finished).wait(30000));
        QCOMPARE(reply->error(), QNetworkReply::NoError);
    }
    for (int i = 0; i < 12; ++i) {
        const QJsonObject file = m_emulator.fileAt(QStringLiteral("/c%1").arg(i));
        QCOMPARE(file.value(QStringLiteral("md5Checksum")).toString().toLatin1(),
                 md5(QByteArray(100000 + i, char('a' + i))));
    }
    qDeleteAll(managers);
}

void TestEmulatorServer::largeUploadAndDownload()
{
    QByteArray content(256 * 1024 * 1024, Qt::Uninitialized);
    quint32 *words = reinterpret_cast<quint32 *>(content.data());
    QRandomGenerator random(1);
    random.fillRange(words, content.size() / 4);
    const QByteArray expected = md5(content);

    QNetworkAccessManager manager;
    QNetworkReply *created =
            upload(manager, m_emulator, m_token, QStringLiteral("big.bin"), content);
    QVERIFY(QSignalSpy(created, &QNetworkReply::finished).wait(120000));
    QCOMPARE(created->error(), QNetworkReply::NoError);
    const QString id = QJsonDocument::fromJson(created->readAll())
                               .object()
                               .value(QStringLiteral("id"))
                               .toString();
    created->deleteLater();
    content.clear();

    QCOMPARE(m_emulator.fileAt(QStringLiteral("/big.bin"))
                     .value(QStringLiteral("md5Checksum"))
                     .toString()
                     .toLatin1(),
             expected);
    QNetworkRequest request(m_emulator.url(QStringLiteral("/drive/v3/files/%1?alt=media").arg(id)));
    request.setRawHeader("Authorization", auth());
    QNetworkReply *downloaded = manager.get(request);
    QVERIFY(QSignalSpy(downloaded, &QNetworkReply::finished).wait(120000));
    QCOMPARE(downloaded->error(), QNetworkReply::NoError);
    QCOMPARE(downloaded->header(QNetworkRequest::ContentLengthHeader).toLongLong(),
             256LL * 1024 * 1024);
    QCOMPARE(md5(downloaded->readAll()), expected);
    downloaded->deleteLater();
}

void TestEmulatorServer::faults_data()
{
    QTest::addColumn<QJsonObject>("rule");
    QTest::addColumn<int>("error");
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("intact");

    using R = QNetworkReply;
    const QJsonObject download { { QStringLiteral("method"), QStringLiteral("GET") },
                                 { QStringLiteral("path"), QStringLiteral("/drive/v3/files/*") },
                                 { QStringLiteral("query"), QStringLiteral("alt=media") } };
    auto with = [download](const QJsonObject &more) {
        QJsonObject rule = download;
        for (auto it = more.begin(); it != more.end(); ++it)
            rule.insert(it.key(), it.value());
        return rule;
    };
    QTest::newRow("server error") << with({ { QStringLiteral("status"), 500 } })
                                  << int(R::InternalServerError) << 500 << false;
    QTest::newRow("unavailable") << with({ { QStringLiteral("status"), 503 } })
                                 << int(R::ServiceUnavailableError) << 503 << false;
    QTest::newRow("unauthorised") << with({ { QStringLiteral("status"), 401 } })
                                  << int(R::AuthenticationRequiredError) << 401 << false;
    QTest::newRow("not found") << with({ { QStringLiteral("status"), 404 } })
                               << int(R::ContentNotFoundError) << 404 << false;
    // The client retries a request whose connection closed before any answer, twice.
    QTest::newRow("dropped") << with({ { QStringLiteral("action"), QStringLiteral("drop") },
                                       { QStringLiteral("count"), 3 } })
                             << int(R::RemoteHostClosedError) << 0 << false;
    QTest::newRow("truncated") << with({ { QStringLiteral("action"), QStringLiteral("truncate") } })
                               << int(R::RemoteHostClosedError) << 200 << false;
    QTest::newRow("corrupted") << with({ { QStringLiteral("action"), QStringLiteral("corrupt") } })
                               << int(R::NoError) << 200 << false;
    QTest::newRow("delayed") << with({ { QStringLiteral("delayMs"), 300 } }) << int(R::NoError)
                             << 200 << true;
    QTest::newRow("chunked") << with({ { QStringLiteral("action"), QStringLiteral("chunked") } })
                             << int(R::NoError) << 200 << true;
}

void TestEmulatorServer::faults()
{
    QFETCH(QJsonObject, rule);
    QFETCH(int, error);
    QFETCH(int, status);
    QFETCH(bool, intact);

    const QByteArray content = QByteArray("0123456789").repeated(1000);
    const QString id = m_emulator.seedFile(QStringLiteral("/f.bin"), content)
                               .value(QStringLiteral("id"))
                               .toString();
    m_emulator.addFault(rule);
    QNetworkAccessManager manager;
    QNetworkRequest request(m_emulator.url(QStringLiteral("/drive/v3/files/%1?alt=media").arg(id)));
    request.setRawHeader("Authorization", auth());
    QNetworkReply *reply = manager.get(request);
    QVERIFY(QSignalSpy(reply, &QNetworkReply::finished).wait(30000));
    QCOMPARE(int(reply->error()), error);
    QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), status);
    const QByteArray body = reply->readAll();
    QCOMPARE(body == content, intact);
    if (rule.value(QStringLiteral("action")) == QLatin1String("chunked")) {
        QVERIFY(!reply->hasRawHeader("Content-Length"));
        QCOMPARE(reply->rawHeader("Transfer-Encoding"), QByteArray("chunked"));
    }
    if (status >= 400)
        QCOMPARE(QJsonDocument::fromJson(body)
                         .object()
                         .value(QStringLiteral("error"))
                         .toObject()
                         .value(QStringLiteral("code"))
                         .toInt(),
                 status);
    reply->deleteLater();

    // Nothing else broke: without the fault the same request succeeds.
    m_emulator.control("DELETE", QStringLiteral("faults"));
    QNetworkReply *again = manager.get(request);
    QVERIFY(QSignalSpy(again, &QNetworkReply::finished).wait(30000));
    QCOMPARE(again->error(), QNetworkReply::NoError);
    QCOMPARE(again->readAll(), content);
    again->deleteLater();
}

void TestEmulatorServer::faultCountsDown()
{
    m_emulator.addFault({ { QStringLiteral("path"), QStringLiteral("/drive/v3/files") },
                          { QStringLiteral("status"), 500 },
                          { QStringLiteral("count"), 2 } });
    const QUrl url = m_emulator.url(QStringLiteral("/drive/v3/files"));
    QCOMPARE(m_http.get(url, { { "Authorization", auth() } }).status, 500);
    QCOMPARE(m_http.get(url, { { "Authorization", auth() } }).status, 500);
    QCOMPARE(m_http.get(url, { { "Authorization", auth() } }).status, 200);
    // Bad rules are refused.
    QCOMPARE(m_emulator
                     .control("POST", QStringLiteral("faults"),
                              QJsonObject {
                                      { QStringLiteral("action"), QStringLiteral("explode") } })
                     .status,
             400);
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

void TestEmulatorServer::faultBodyOverride()
{
    m_emulator.addFault({ { QStringLiteral("path"), QStringLiteral("/o/oauth2/token") },
                          { QStringLiteral("status"), 200 },
                          { QStringLiteral("body"), QStringLiteral("<html>not JSON</html>") },
                          { QStringLiteral("contentType"), QStringLiteral("text/html") } });
    const auto reply =
            m_http.send("POST", m_emulator.url(QStringLiteral("/o/oauth2/token")),
                        { { "Content-Type", "application/x-www-form-urlencoded" } }, "x=y");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.body, QByteArray("<html>not JSON</html>"));
    QCOMPARE(reply.header("Content-Type"), QByteArray("text/html"));
}

void TestEmulatorServer::controlRequestsAreNotLogged()
{
    m_emulator.clearRequests();
    m_emulator.files();
    m_http.get(m_emulator.url(QStringLiteral("/drive/v3/files?spaces=appDataFolder")),
               { { "Authorization", auth() } });
    const QJsonArray log = m_emulator.requests();
    QCOMPARE(log.size(), 1);
    QCOMPARE(log.at(0).toObject().value(QStringLiteral("query")).toString(),
             QStringLiteral("spaces=appDataFolder"));
    QCOMPARE(log.at(0).toObject().value(QStringLiteral("status")).toInt(), 200);
}

void TestEmulatorServer::restartKeepsFilesAndTokens()
{
    QTemporaryDir data;
    QString token;
    QString id;
    {
        EmulatorProcess first;
        QVERIFY(first.start({ QStringLiteral("--data"), data.path() }));
        token = first.issueAccessToken();
        id = first.seedFile(QStringLiteral("/kept/a.txt"), "persisted")
                     .value(QStringLiteral("id"))
                     .toString();
        first.seedFile(QStringLiteral("/gone.txt"), "deleted");
        const QString gone =
                first.fileAt(QStringLiteral("/gone.txt")).value(QStringLiteral("id")).toString();
        QCOMPARE(m_http.send("DELETE", first.url(QStringLiteral("/drive/v3/files/") + gone),
                             { { "Authorization", "Bearer " + token.toUtf8() } })
                         .status,
                 204);
        first.kill();
    }
    EmulatorProcess second;
    QVERIFY(second.start({ QStringLiteral("--data"), data.path() }));
    QCOMPARE(second.files().size(), 2); // the folder and the file
    const auto media =
            m_http.get(second.url(QStringLiteral("/drive/v3/files/%1?alt=media").arg(id)),
                       { { "Authorization", "Bearer " + token.toUtf8() } });
    QCOMPARE(media.status, 200);
    QCOMPARE(media.body, QByteArray("persisted"));
    QVERIFY(second.fileAt(QStringLiteral("/gone.txt")).isEmpty());
}

void TestEmulatorServer::killDuringWritesLosesNothingAcknowledged()
{
    QTemporaryDir data;
    QMap<QString, QByteArray> acknowledged;
    {
        EmulatorProcess emulator;
        QVERIFY(emulator.start({ QStringLiteral("--data"), data.path() }));
        const QString token = emulator.issueAccessToken();
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
    for (auto it = acknowledged.cbegin(); it != acknowledged.cend(); ++it) {
        const QString id = stored.value(QLatin1Char('/') + it.key());
        QVERIFY2(!id.isEmpty(), qPrintable(it.key()));
        QCOMPARE(restarted.content(id), it.value());
    }
}

QTEST_GUILESS_MAIN(TestEmulatorServer)
#include "tst_emulatorserver.moc"
