// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorprocess.h"

#include <QNetworkReply>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

namespace {
// Writes bytes on the socket, connected to port when it is not yet, and reads until the text
// contains what, or the wait runs out.
QByteArray talk(QTcpSocket &socket, quint16 port, const QByteArray &bytes, const QByteArray &what)
{
    if (socket.state() != QAbstractSocket::ConnectedState) {
        socket.connectToHost(QHostAddress::LocalHost, port);
        socket.waitForConnected();
    }
    socket.write(bytes);
    QByteArray data;
    QDeadlineTimer deadline(10000);
    while (!data.contains(what) && !deadline.hasExpired()) {
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
    void initTestCase() { QVERIFY(m_emulator.start()); }
    void init();

    void chunkedRequestBody();
    void expectContinue();
    void malformedRequests_data();
    void malformedRequests();
    void oversizedBodyIsRefusedUnread();
    void faultGivenAtStart();
    void dataFolderIsOneEmulators();

private:
    QByteArray auth() const { return "Bearer " + m_token.toUtf8(); }
    QNetworkReply *upload(QNetworkAccessManager &manager, EmulatorProcess &emulator,
                          const QString &token, const QString &name, const QByteArray &content);

    EmulatorProcess m_emulator;
    BlockingHttpClient m_http;
    QString m_token;
};

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
    const QByteArray answer =
            talk(socket, m_emulator.port(),
                 "POST /upload/drive/v3/files?uploadType=media&fields=size,md5Checksum HTTP/1.1\r\n"
                 "Host: x\r\nAuthorization: "
                         + auth()
                         + "\r\nTransfer-Encoding: chunked\r\nContent-Type: text/plain\r\n\r\n"
                           "5\r\nhello\r\n7;ext=1\r\n, world\r\n0\r\n\r\n",
                 "}\n");
    QVERIFY2(answer.startsWith("HTTP/1.1 200"), answer.constData());
    QVERIFY(answer.contains("\"size\": \"12\""));
    QVERIFY(answer.contains("e4d7f1b4ed2e42d15898f4b27b019da4")); // MD5 of "hello, world"
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
}

void TestEmulatorServer::malformedRequests()
{
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, status);
    QTcpSocket socket;
    QVERIFY(talk(socket, m_emulator.port(), request, "\r\n\r\n").startsWith("HTTP/1.1 " + status));
    // The server lives on.
    QCOMPARE(m_http.get(m_emulator.url(QStringLiteral("/_emulator/health"))).status, 200);
}

void TestEmulatorServer::oversizedBodyIsRefusedUnread()
{
    EmulatorProcess small;
    QVERIFY(small.start({ "--max-body", "1000" }));
    const QString token = small.issueAccessToken();
    QTcpSocket socket;
    // The answer comes before any of the announced body is sent.
    QVERIFY(talk(socket, small.port(),
                 "POST /upload/drive/v3/files?uploadType=media HTTP/1.1\r\nHost: x\r\n"
                 "Authorization: Bearer "
                         + token.toUtf8() + "\r\nContent-Length: 1001\r\n\r\n",
                 "\r\n\r\n")
                    .startsWith("HTTP/1.1 413"));
    QVERIFY(socket.state() == QAbstractSocket::UnconnectedState
            || socket.waitForDisconnected(10000));
    QCOMPARE(small.files().size(), 0);
}

// curl asks before it sends a body over 1 MiB (the window tests seed the emulator so): without
// the answer it waits a second for nothing.
void TestEmulatorServer::expectContinue()
{
    QTcpSocket socket;
    QCOMPARE(talk(socket, m_emulator.port(),
                  "POST /upload/drive/v3/files?uploadType=media HTTP/1.1\r\nHost: x\r\n"
                  "Authorization: "
                          + auth() + "\r\nContent-Length: 4\r\nExpect: 100-continue\r\n\r\n",
                  "\r\n\r\n"),
             QByteArray("HTTP/1.1 100 Continue\r\n\r\n"));
    QVERIFY(talk(socket, m_emulator.port(), "data", "}\n").startsWith("HTTP/1.1 200"));
}

void TestEmulatorServer::faultGivenAtStart()
{
    EmulatorProcess faulty;
    QVERIFY(faulty.start(
            { "--fault", QStringLiteral("method=POST,path=/o/oauth2/token,status=503") }));
    const auto reply =
            m_http.send("POST", faulty.url(QStringLiteral("/o/oauth2/token")),
                        { { "Content-Type", "application/x-www-form-urlencoded" } }, "x=y");
    QCOMPARE(reply.status, 503);
    QCOMPARE(reply.json().value(QStringLiteral("error")).toString(),
             QStringLiteral("server_error"));

    EmulatorProcess refused;
    QVERIFY(!refused.start({ "--fault", QStringLiteral("status=abc") }));
}

// What the emulator acknowledged survives its death, and a second emulator started on its
// folder, on its port or on another, changes nothing: it exits at once, naming the folder and
// the process that holds it.
void TestEmulatorServer::dataFolderIsOneEmulators()
{
    QTemporaryDir data;
    QMap<QString, QByteArray> acknowledged;
    QString token;
    {
        EmulatorProcess emulator;
        QVERIFY(emulator.start({ "--data", data.path() }));
        token = emulator.issueAccessToken();
        const QString gone = idOf(emulator.seedFile(QStringLiteral("/gone.txt"), "deleted"));
        QCOMPARE(m_http.send("DELETE", emulator.url(QStringLiteral("/drive/v3/files/") + gone),
                             { { "Authorization", "Bearer " + token.toUtf8() } })
                         .status,
                 204);
        QNetworkAccessManager manager;
        // Uploads one after the other; the emulator dies in the middle of the series.
        for (int i = 0; i < 100000 && emulator.isRunning(); ++i) {
            const QString name = QStringLiteral("f%1").arg(i);
            const QByteArray content = QByteArray::number(i).repeated(2000 + i % 7);
            QNetworkReply *reply = upload(manager, emulator, token, name, content);
            QSignalSpy finished(reply, &QNetworkReply::finished);
            QVERIFY(finished.wait(30000));
            if (reply->error() == QNetworkReply::NoError)
                acknowledged.insert(name, content);
            reply->deleteLater();
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

    EmulatorProcess restarted;
    QVERIFY(restarted.start({ "--data", data.path() }));
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
