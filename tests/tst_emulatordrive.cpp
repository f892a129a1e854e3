// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorprocess.h"
#include "loggedrequest.h"

#include <QCryptographicHash>
#include <QtTest>

namespace {
QByteArray md5(const QByteArray &data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex();
}

// The "message" of an error answer, or the "reason" of its first detail.
QString errorPart(const BlockingHttpClient::Reply &reply, const char *part)
{
    QJsonObject error = reply.json().value(QLatin1String("error")).toObject();
    if (qstrcmp(part, "message") != 0)
        error = error.value(QLatin1String("errors")).toArray().at(0).toObject();
    return error.value(QLatin1String(part)).toString();
}

QStringList names(const QJsonObject &list)
{
    QStringList result;
    for (const QJsonValue &file : list.value(QStringLiteral("files")).toArray())
        result.append(file.toObject().value(QStringLiteral("name")).toString());
    return result;
}
} // namespace

// The emulator's Drive endpoints, over HTTP.
class TestEmulatorDrive : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void authentication_data();
    void authentication();
    void listDefaultsToTheUserSpace();
    void listShapes_data();
    void listShapes();
    void rejects_data();
    void rejects();
    void requestLogKeepsTheShape();

private:
    BlockingHttpClient::Reply drive(const QByteArray &method, const QString &pathAndQuery,
                                    const QByteArray &body = QByteArray(),
                                    const QByteArray &contentType = "application/json");
    BlockingHttpClient::Reply list(const QString &q, const QString &extra = QString());

    EmulatorProcess m_emulator;
    BlockingHttpClient m_http;
    QString m_token;
};

void TestEmulatorDrive::initTestCase()
{
    QVERIFY(m_emulator.start());
}

void TestEmulatorDrive::init()
{
    m_emulator.control("POST", QStringLiteral("reset"));
    m_token = m_emulator.issueAccessToken();
    QVERIFY(!m_token.isEmpty());
}

BlockingHttpClient::Reply TestEmulatorDrive::drive(const QByteArray &method,
                                                   const QString &pathAndQuery,
                                                   const QByteArray &body,
                                                   const QByteArray &contentType)
{
    BlockingHttpClient::Headers headers { { "Authorization", "Bearer " + m_token.toUtf8() } };
    if (!body.isEmpty())
        headers.append({ "Content-Type", contentType });
    return m_http.send(method, m_emulator.url(pathAndQuery), headers, body);
}

BlockingHttpClient::Reply TestEmulatorDrive::list(const QString &q, const QString &extra)
{
    QUrlQuery query;
    if (!extra.contains(QLatin1String("spaces=")))
        query.addQueryItem(QStringLiteral("spaces"), QStringLiteral("appDataFolder"));
    query.addQueryItem(QStringLiteral("q"), q);
    QUrl url = m_emulator.url(QStringLiteral("/drive/v3/files"));
    url.setQuery(query.query(QUrl::FullyEncoded) + extra);
    return m_http.get(url, { { "Authorization", "Bearer " + m_token.toUtf8() } });
}

void TestEmulatorDrive::authentication_data()
{
    QTest::addColumn<QByteArray>("authorization");
    QTest::addColumn<QString>("reason");

    QTest::newRow("missing") << QByteArray() << "required";
    QTest::newRow("unknown") << QByteArray("Bearer ya29.unknown") << "authError";
}

void TestEmulatorDrive::authentication()
{
    QFETCH(QByteArray, authorization);
    BlockingHttpClient::Headers headers;
    if (!authorization.isEmpty())
        headers.append({ "Authorization", authorization });
    const auto reply = m_http.get(m_emulator.url(QStringLiteral("/drive/v3/files")), headers);
    QCOMPARE(reply.status, 401);
    QTEST(errorPart(reply, "reason"), "reason");
    QVERIFY(reply.header("WWW-Authenticate").startsWith("Bearer"));
    QCOMPARE(reply.json()
                     .value(QStringLiteral("error"))
                     .toObject()
                     .value(QStringLiteral("status"))
                     .toString(),
             QStringLiteral("UNAUTHENTICATED"));
}

void TestEmulatorDrive::listDefaultsToTheUserSpace()
{
    m_emulator.seedFile(QStringLiteral("/a.txt"), "a");
    const auto all = drive("GET", QStringLiteral("/drive/v3/files"));
    QCOMPARE(all.status, 200);
    QCOMPARE(names(all.json()), QStringList());
    const auto appData = drive("GET", QStringLiteral("/drive/v3/files?spaces=appDataFolder"));
    QCOMPARE(names(appData.json()), QStringList { "a.txt" });
}

void TestEmulatorDrive::listShapes_data()
{
    QTest::addColumn<QString>("fields");
    QTest::addColumn<QStringList>("topKeys");
    QTest::addColumn<QStringList>("fileKeys");

    QTest::newRow("default") << QString() << QStringList { "files", "incompleteSearch", "kind" }
                             << QStringList { "id", "kind", "mimeType", "name" };
    QTest::newRow("as the plug-in asks")
            << "files(id, name, parents, mimeType, size, modifiedTime, md5Checksum)"
            << QStringList { "files" }
            << QStringList { "id",   "md5Checksum", "mimeType", "modifiedTime",
                             "name", "parents",     "size" };
    QTest::newRow("everything")
            << "*" << QStringList { "files", "incompleteSearch", "kind" }
            << QStringLiteral("createdTime explicitlyTrashed id kind md5Checksum mimeType "
                              "modifiedTime name ownedByMe parents quotaBytesUsed size spaces "
                              "starred trashed version")
                       .split(QLatin1Char(' '));
}

void TestEmulatorDrive::listShapes()
{
    QFETCH(QString, fields);
    QFETCH(QStringList, topKeys);
    QFETCH(QStringList, fileKeys);

    m_emulator.seedFile(QStringLiteral("/a.txt"), "abc");
    const QString extra = fields.isEmpty()
            ? QString()
            : QStringLiteral("&fields=") + QString::fromLatin1(QUrl::toPercentEncoding(fields));
    const auto reply = list(QStringLiteral("trashed=false"), extra);
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.json().keys(), topKeys);
    const QJsonObject file = reply.json().value(QStringLiteral("files")).toArray().at(0).toObject();
    QCOMPARE(file.keys(), fileKeys);

    // The values the plug-in reads, in every row that selects them.
    const QJsonObject expected {
        { QStringLiteral("name"), QStringLiteral("a.txt") },
        { QStringLiteral("size"), QStringLiteral("3") },
        { QStringLiteral("md5Checksum"), QString::fromLatin1(md5("abc")) },
        { QStringLiteral("parents"), QJsonArray { QStringLiteral("appDataFolder") } },
    };
    for (auto it = expected.begin(); it != expected.end(); ++it) {
        if (fileKeys.contains(it.key()))
            QCOMPARE(file.value(it.key()), it.value());
    }
    const QString modified = file.value(QStringLiteral("modifiedTime")).toString();
    QVERIFY2(!fileKeys.contains(QStringLiteral("modifiedTime"))
                     || QRegularExpression(
                                QStringLiteral(
                                        "^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z$"))
                                .match(modified)
                                .hasMatch(),
             qPrintable(modified));
}

namespace {
// A refused request, "METHOD TARGET", with what the service answers; the body is JSON unless a
// content type is given.
void refusal(const char *name, const char *request, int status, const char *reason,
             const char *message = "", const QByteArray &body = QByteArray(),
             const QByteArray &contentType = "application/json")
{
    QTest::newRow(name) << QString::fromLatin1(request) << body << contentType << status
                        << QString::fromLatin1(reason) << QString::fromUtf8(message);
}
} // namespace

// Requests the service refuses, with its status and error reason ("" when any), and nothing
// changed. In the targets, {file} and {folder} stand for the identifiers of /a.txt and /docs.
void TestEmulatorDrive::rejects_data()
{
    QTest::addColumn<QString>("request");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("reason");
    QTest::addColumn<QString>("message");

    const char *const invalid = "Invalid Value";
    refusal("list: quote in a name", "GET /drive/v3/files?spaces=appDataFolder&q=name%3D'it's'",
            400, "invalid", invalid);
    refusal("list: page size zero", "GET /drive/v3/files?pageSize=0", 400, "invalid", invalid);
    refusal("list: page size too big", "GET /drive/v3/files?pageSize=1001", 400, "invalid");
    refusal("list: foreign page token", "GET /drive/v3/files?pageToken=abc", 400, "invalid");
    refusal("list: unknown space", "GET /drive/v3/files?spaces=nowhere", 400, "invalid");
    refusal("list: bad order", "GET /drive/v3/files?orderBy=size", 400, "invalid");
    refusal("list: bad alt", "GET /drive/v3/files?alt=xml", 400, "invalid");
    refusal("get: unknown", "GET /drive/v3/files/nope", 404, "notFound", "File not found: nope.");
    refusal("get: media of a folder", "GET /drive/v3/files/{folder}?alt=media", 403,
            "fileNotDownloadable");
    refusal("get: unknown field", "GET /drive/v3/files/{folder}?fields=nosuch", 400, "",
            "Invalid field selection nosuch");
    refusal("create: two parents", "POST /drive/v3/files", 403, "cannotAddParent", "",
            R"({"name":"x","parents":["appDataFolder","root"]})");
    refusal("create: unknown parent", "POST /drive/v3/files", 404, "notFound", "",
            R"({"name":"x","parents":["nope"]})");
    refusal("create: document in the app folder", "POST /drive/v3/files", 403,
            "notSupportedForAppDataFolderFiles", "",
            R"({"name":"x","mimeType":"application/vnd.google-apps.spreadsheet",)"
            R"("parents":["appDataFolder"]})");
    refusal("create: not JSON", "POST /drive/v3/files", 400, "parseError", "", "{name");
    refusal("update: parents", "PATCH /drive/v3/files/{file}", 403, "fieldNotWritable", "",
            R"({"parents":["root"]})");
    refusal("update: read-only field", "PATCH /drive/v3/files/{file}", 403, "fieldNotWritable", "",
            R"({"size":"3"})");
    refusal("update: trash in the app folder", "PATCH /drive/v3/files/{file}", 403,
            "notSupportedForAppDataFolderFiles", "", R"({"trashed":true})");
    refusal("update: unknown", "PATCH /drive/v3/files/nope", 404, "notFound", "", "{}");
    refusal("delete: the root", "DELETE /drive/v3/files/appDataFolder", 403, "");
    refusal("delete: unknown", "DELETE /drive/v3/files/nope", 404, "notFound");
    refusal("delete: empty identifier", "DELETE /drive/v3/files/", 404, "notFound",
            "File not found: .");
    refusal("copy: a folder", "POST /drive/v3/files/{folder}/copy", 403, "cannotCopyFile",
            "This file cannot be copied by the user.");
    refusal("copy: unknown", "POST /drive/v3/files/nope/copy", 404, "notFound");
    const QByteArray parts("--b\n\n{}\n--b\n\nx\n--b--\n");
    refusal("upload: no upload type", "POST /upload/drive/v3/files", 400, "", "", "x",
            "text/plain");
    refusal("upload: multipart without boundary",
            "POST /upload/drive/v3/files?uploadType=multipart", 400, "", "", parts,
            "multipart/related");
    refusal("upload: multipart of another kind", "POST /upload/drive/v3/files?uploadType=multipart",
            400, "", "", parts, "multipart/form-data; boundary=b");
}

void TestEmulatorDrive::rejects()
{
    QFETCH(QString, request);
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, contentType);
    QFETCH(int, status);
    QFETCH(QString, reason);
    QFETCH(QString, message);

    const QString file = idOf(m_emulator.seedFile(QStringLiteral("/a.txt"), "x"));
    const QString folder = idOf(m_emulator.seedFolder(QStringLiteral("/docs")));
    const QJsonArray before = m_emulator.files();
    request.replace(QLatin1String("{file}"), file).replace(QLatin1String("{folder}"), folder);

    const auto reply = drive(request.section(QLatin1Char(' '), 0, 0).toLatin1(),
                             request.section(QLatin1Char(' '), 1), body, contentType);
    QCOMPARE(reply.status, status);
    const QJsonObject error = reply.json().value(QStringLiteral("error")).toObject();
    QCOMPARE(error.value(QStringLiteral("code")).toInt(), status);
    if (!reason.isEmpty())
        QCOMPARE(errorPart(reply, "reason"), reason);
    if (!message.isEmpty())
        QCOMPARE(errorPart(reply, "message"), message);
    QCOMPARE(m_emulator.files(), before);
}

void TestEmulatorDrive::requestLogKeepsTheShape()
{
    m_emulator.clearRequests();
    QNetworkAccessManager manager;
    QNetworkRequest request(m_emulator.url(QStringLiteral("/drive/v3/files/x?")));
    request.setRawHeader("User-Agent", "Tarnwick");
    request.setRawHeader("Authorization", "Bearer " + m_token.toUtf8());
    request.setRawHeader("Content-Type", "application/json");
    QNetworkReply *reply = manager.sendCustomRequest(request, "PATCH", "{}");
    QSignalSpy finished(reply, &QNetworkReply::finished);
    QVERIFY(finished.wait());
    reply->deleteLater();

    const QList<LoggedRequest> log = LoggedRequest::list(m_emulator.requests());
    QCOMPARE(log.size(), 1);
    const LoggedRequest &entry = log.first();
    QCOMPARE(entry.method(), QStringLiteral("PATCH"));
    QCOMPARE(entry.path(), QStringLiteral("/drive/v3/files/x"));
    QCOMPARE(entry.target(), QStringLiteral("/drive/v3/files/x?"));
    QCOMPARE(entry.queryItems(), (QList<QPair<QString, QString>> { { QString(), QString() } }));
    QCOMPARE(entry.status(), 404);
    QCOMPARE(entry.body(), QByteArray("{}"));
    // Set by the client first, in the order it set them.
    const QStringList names = entry.headerNames();
    QVERIFY(names.indexOf(QStringLiteral("user-agent"))
            < names.indexOf(QStringLiteral("authorization")));
    QVERIFY(names.indexOf(QStringLiteral("authorization"))
            < names.indexOf(QStringLiteral("content-type")));
}

QTEST_GUILESS_MAIN(TestEmulatorDrive)
#include "tst_emulatordrive.moc"
