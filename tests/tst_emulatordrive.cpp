// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorprocess.h"

#include <QCryptographicHash>
#include <QtTest>

namespace {
const QString Folder = QStringLiteral("application/vnd.google-apps.folder");

QByteArray md5(const QByteArray &data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex();
}

QString errorReason(const TestHttpClient::Reply &reply)
{
    return reply.json()
            .value(QStringLiteral("error"))
            .toObject()
            .value(QStringLiteral("errors"))
            .toArray()
            .at(0)
            .toObject()
            .value(QStringLiteral("reason"))
            .toString();
}

QString errorMessage(const TestHttpClient::Reply &reply)
{
    return reply.json()
            .value(QStringLiteral("error"))
            .toObject()
            .value(QStringLiteral("message"))
            .toString();
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
    void listFiltersInCreationOrder();
    void listPages();
    void listRejects_data();
    void listRejects();
    void getMetadataAndContent();
    void getErrors();
    void rangeDownload();
    void createFoldersAndEmptyFiles();
    void createRejects_data();
    void createRejects();
    void renameWithAnEmptyQuery();
    void updateRejects_data();
    void updateRejects();
    void moveBetweenFolders();
    void deleteTakesDescendants();
    void deleteRejects();
    void copyLandsBesideItsSource();
    void copyRejects();
    void multipartUpload_data();
    void multipartUpload();
    void mediaUploadCreatesAndReplaces();
    void uploadRejects_data();
    void uploadRejects();
    void requestLogKeepsTheShape();

private:
    TestHttpClient::Reply drive(const QByteArray &method, const QString &pathAndQuery,
                                const QByteArray &body = QByteArray(),
                                const QByteArray &contentType = "application/json");
    TestHttpClient::Reply list(const QString &q, const QString &extra = QString());

    EmulatorProcess m_emulator;
    TestHttpClient m_http;
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

TestHttpClient::Reply TestEmulatorDrive::drive(const QByteArray &method,
                                               const QString &pathAndQuery, const QByteArray &body,
                                               const QByteArray &contentType)
{
    TestHttpClient::Headers headers { { "Authorization", "Bearer " + m_token.toUtf8() } };
    if (!body.isEmpty())
        headers.append({ "Content-Type", contentType });
    return m_http.send(method, m_emulator.url(pathAndQuery), headers, body);
}

TestHttpClient::Reply TestEmulatorDrive::list(const QString &q, const QString &extra)
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
    QTest::newRow("other scheme") << QByteArray("Basic dXNlcjpwYXNz") << "authError";
    QTest::newRow("empty bearer") << QByteArray("Bearer ") << "authError";
}

void TestEmulatorDrive::authentication()
{
    QFETCH(QByteArray, authorization);
    TestHttpClient::Headers headers;
    if (!authorization.isEmpty())
        headers.append({ "Authorization", authorization });
    const auto reply = m_http.get(m_emulator.url(QStringLiteral("/drive/v3/files")), headers);
    QCOMPARE(reply.status, 401);
    QTEST(errorReason(reply), "reason");
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
    QTest::newRow("everything") << "*" << QStringList { "files", "incompleteSearch", "kind" }
                                << QStringList();
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
    if (!fileKeys.isEmpty())
        QCOMPARE(file.keys(), fileKeys);
    if (file.contains(QStringLiteral("size"))) {
        QCOMPARE(file.value(QStringLiteral("size")), QJsonValue(QStringLiteral("3")));
        QCOMPARE(file.value(QStringLiteral("md5Checksum")).toString(),
                 QString::fromLatin1(md5("abc")));
        const QString modified = file.value(QStringLiteral("modifiedTime")).toString();
        QVERIFY2(QRegularExpression(
                         QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z$"))
                         .match(modified)
                         .hasMatch(),
                 qPrintable(modified));
        QCOMPARE(file.value(QStringLiteral("parents")).toArray(),
                 QJsonArray { QStringLiteral("appDataFolder") });
    }
}

void TestEmulatorDrive::listFiltersInCreationOrder()
{
    const QString docs =
            m_emulator.seedFolder(QStringLiteral("/docs")).value(QStringLiteral("id")).toString();
    m_emulator.seedFile(QStringLiteral("/docs/b.txt"), "1");
    m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "2");
    m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "3"); // same name again
    m_emulator.seedFile(QStringLiteral("/docs/gone.txt"), "4",
                        { { QStringLiteral("trashed"), true } });
    m_emulator.seedFolder(QStringLiteral("/docs/sub"));
    m_emulator.seedFile(QStringLiteral("/top.txt"), "5");

    const QString inDocs = QStringLiteral("'%1' in parents").arg(docs);
    QCOMPARE(names(list(inDocs + QStringLiteral(" and trashed=false")).json()),
             (QStringList { "b.txt", "a.txt", "a.txt", "sub" }));
    QCOMPARE(names(list(inDocs).json()),
             (QStringList { "b.txt", "a.txt", "a.txt", "gone.txt", "sub" }));
    QCOMPARE(names(list(inDocs + QStringLiteral(" and name='a.txt'")).json()),
             (QStringList { "a.txt", "a.txt" }));
    QCOMPARE(names(list(inDocs + QStringLiteral(" and mimeType='%1'").arg(Folder)).json()),
             QStringList { "sub" });
    QCOMPARE(names(list(QStringLiteral("'appDataFolder' in parents and trashed=false")).json()),
             (QStringList { "docs", "top.txt" }));
    // Listing with no condition shows the whole space, trash included.
    QCOMPARE(names(list(QString()).json()).size(), 7);
}

void TestEmulatorDrive::listPages()
{
    for (int i = 0; i < 7; ++i)
        m_emulator.seedFile(QStringLiteral("/f%1").arg(i), "x");
    QStringList seen;
    QString token;
    int pages = 0;
    do {
        QString extra = QStringLiteral("&pageSize=3&fields=nextPageToken,files(name)");
        if (!token.isEmpty())
            extra += QStringLiteral("&pageToken=") + token;
        const QJsonObject page = list(QStringLiteral("trashed=false"), extra).json();
        seen += names(page);
        token = page.value(QStringLiteral("nextPageToken")).toString();
        ++pages;
    } while (!token.isEmpty() && pages < 10);
    QCOMPARE(pages, 3);
    QCOMPARE(seen, (QStringList { "f0", "f1", "f2", "f3", "f4", "f5", "f6" }));

    // Without asking for it, a selection leaves the token out although more results exist.
    const QJsonObject first =
            list(QStringLiteral("trashed=false"), QStringLiteral("&pageSize=3&fields=files(name)"))
                    .json();
    QVERIFY(!first.contains(QStringLiteral("nextPageToken")));
    // The default answer carries it.
    QVERIFY(list(QStringLiteral("trashed=false"), QStringLiteral("&pageSize=3"))
                    .json()
                    .contains(QStringLiteral("nextPageToken")));
}

void TestEmulatorDrive::listRejects_data()
{
    QTest::addColumn<QString>("q");
    QTest::addColumn<QString>("extra");
    QTest::addColumn<QString>("location");

    QTest::newRow("apostrophe in a name") << "name='it's'" << QString() << "q";
    QTest::newRow("unknown term") << "title='a'" << QString() << "q";
    QTest::newRow("page size zero") << ""
                                    << "&pageSize=0"
                                    << "pageSize";
    QTest::newRow("page size too big") << ""
                                       << "&pageSize=1001"
                                       << "pageSize";
    QTest::newRow("foreign page token") << ""
                                        << "&pageToken=abc"
                                        << "pageToken";
    QTest::newRow("unknown space") << ""
                                   << "&spaces=nowhere"
                                   << "spaces";
    QTest::newRow("bad order") << ""
                               << "&orderBy=size"
                               << "orderBy";
    QTest::newRow("bad alt") << ""
                             << "&alt=xml"
                             << "alt";
}

void TestEmulatorDrive::listRejects()
{
    QFETCH(QString, q);
    QFETCH(QString, extra);
    const auto reply = list(q, extra);
    QCOMPARE(reply.status, 400);
    QCOMPARE(errorReason(reply), QStringLiteral("invalid"));
    QCOMPARE(errorMessage(reply), QStringLiteral("Invalid Value"));
    const QJsonObject detail = reply.json()
                                       .value(QStringLiteral("error"))
                                       .toObject()
                                       .value(QStringLiteral("errors"))
                                       .toArray()
                                       .at(0)
                                       .toObject();
    QTEST(detail.value(QStringLiteral("location")).toString(), "location");
    QCOMPARE(detail.value(QStringLiteral("locationType")).toString(), QStringLiteral("parameter"));
    QCOMPARE(reply.json()
                     .value(QStringLiteral("error"))
                     .toObject()
                     .value(QStringLiteral("code"))
                     .toInt(),
             400);
}

void TestEmulatorDrive::getMetadataAndContent()
{
    const QByteArray content("some content\n");
    const QString id = m_emulator.seedFile(QStringLiteral("/a.txt"), content)
                               .value(QStringLiteral("id"))
                               .toString();

    const auto metadata = drive("GET", QStringLiteral("/drive/v3/files/") + id);
    QCOMPARE(metadata.status, 200);
    QCOMPARE(metadata.json().keys(), (QStringList { "id", "kind", "mimeType", "name" }));
    QCOMPARE(metadata.json().value(QStringLiteral("kind")).toString(),
             QStringLiteral("drive#file"));

    const auto selected =
            drive("GET", QStringLiteral("/drive/v3/files/%1?fields=size,md5Checksum").arg(id));
    QCOMPARE(selected.json().value(QStringLiteral("size")).toString(),
             QString::number(content.size()));
    QCOMPARE(selected.json().value(QStringLiteral("md5Checksum")).toString(),
             QString::fromLatin1(md5(content)));

    const auto media = drive("GET", QStringLiteral("/drive/v3/files/%1?alt=media").arg(id));
    QCOMPARE(media.status, 200);
    QCOMPARE(media.body, content);
    const auto prefixed =
            drive("GET", QStringLiteral("/download/drive/v3/files/%1?alt=media").arg(id));
    QCOMPARE(prefixed.body, content);
    // The root alias answers too.
    QCOMPARE(drive("GET", QStringLiteral("/drive/v3/files/appDataFolder?fields=id"))
                     .json()
                     .value(QStringLiteral("id"))
                     .toString(),
             QStringLiteral("appDataFolder"));
}

void TestEmulatorDrive::getErrors()
{
    const auto missing = drive("GET", QStringLiteral("/drive/v3/files/nope"));
    QCOMPARE(missing.status, 404);
    QCOMPARE(errorReason(missing), QStringLiteral("notFound"));
    QCOMPARE(errorMessage(missing), QStringLiteral("File not found: nope."));

    const QString folder =
            m_emulator.seedFolder(QStringLiteral("/docs")).value(QStringLiteral("id")).toString();
    const auto notDownloadable =
            drive("GET", QStringLiteral("/drive/v3/files/%1?alt=media").arg(folder));
    QCOMPARE(notDownloadable.status, 403);
    QCOMPARE(errorReason(notDownloadable), QStringLiteral("fileNotDownloadable"));

    const auto badFields =
            drive("GET", QStringLiteral("/drive/v3/files/%1?fields=nosuch").arg(folder));
    QCOMPARE(badFields.status, 400);
    QCOMPARE(errorMessage(badFields), QStringLiteral("Invalid field selection nosuch"));
}

void TestEmulatorDrive::rangeDownload()
{
    const QString id = m_emulator.seedFile(QStringLiteral("/r.bin"), "0123456789")
                               .value(QStringLiteral("id"))
                               .toString();
    const QUrl url = m_emulator.url(QStringLiteral("/drive/v3/files/%1?alt=media").arg(id));
    const TestHttpClient::Headers auth { { "Authorization", "Bearer " + m_token.toUtf8() } };
    const auto part = m_http.get(url, auth + TestHttpClient::Headers { { "Range", "bytes=2-4" } });
    QCOMPARE(part.status, 206);
    QCOMPARE(part.body, QByteArray("234"));
    QCOMPARE(part.header("Content-Range"), QByteArray("bytes 2-4/10"));
    const auto suffix = m_http.get(url, auth + TestHttpClient::Headers { { "Range", "bytes=-3" } });
    QCOMPARE(suffix.body, QByteArray("789"));
    const auto beyond =
            m_http.get(url, auth + TestHttpClient::Headers { { "Range", "bytes=20-" } });
    QCOMPARE(beyond.status, 416);
}

void TestEmulatorDrive::createFoldersAndEmptyFiles()
{
    const auto folder = drive(
            "POST", QStringLiteral("/drive/v3/files"),
            R"({"name":"Notes","mimeType":"application/vnd.google-apps.folder","parents":["appDataFolder"]})");
    QCOMPARE(folder.status, 200);
    QCOMPARE(folder.json().value(QStringLiteral("mimeType")).toString(), Folder);
    const QString folderId = folder.json().value(QStringLiteral("id")).toString();
    QVERIFY(QRegularExpression(QStringLiteral("^[A-Za-z0-9_-]{20,}$")).match(folderId).hasMatch());

    const auto file =
            drive("POST", QStringLiteral("/drive/v3/files?fields=id,size,md5Checksum,parents"),
                  QStringLiteral(R"({"name":"empty.txt","mimeType":"text/plain","parents":["%1"]})")
                          .arg(folderId)
                          .toUtf8());
    QCOMPARE(file.status, 200);
    QCOMPARE(file.json().value(QStringLiteral("size")).toString(), QStringLiteral("0"));
    QCOMPARE(file.json().value(QStringLiteral("md5Checksum")).toString(),
             QString::fromLatin1(md5("")));
    QCOMPARE(file.json().value(QStringLiteral("parents")).toArray(), QJsonArray { folderId });
    QCOMPARE(m_emulator.fileAt(QStringLiteral("/Notes/empty.txt")).value(QStringLiteral("id")),
             file.json().value(QStringLiteral("id")));
}

void TestEmulatorDrive::createRejects_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("reason");

    QTest::newRow("two parents") << QByteArray(R"({"name":"x","parents":["appDataFolder","root"]})")
                                 << 403 << "cannotAddParent";
    QTest::newRow("unknown parent")
            << QByteArray(R"({"name":"x","parents":["nope"]})") << 404 << "notFound";
    QTest::newRow("document in the app folder") << QByteArray(
            R"({"name":"x","mimeType":"application/vnd.google-apps.spreadsheet","parents":["appDataFolder"]})")
                                                << 403 << "notSupportedForAppDataFolderFiles";
    QTest::newRow("not JSON") << QByteArray("{name") << 400 << "parseError";
}

void TestEmulatorDrive::createRejects()
{
    QFETCH(QByteArray, body);
    const auto reply = drive("POST", QStringLiteral("/drive/v3/files"), body);
    QTEST(reply.status, "status");
    QTEST(errorReason(reply), "reason");
}

void TestEmulatorDrive::renameWithAnEmptyQuery()
{
    const QJsonObject seeded = m_emulator.seedFile(QStringLiteral("/old.txt"), "x");
    const QString id = seeded.value(QStringLiteral("id")).toString();
    const auto reply = drive("PATCH", QStringLiteral("/drive/v3/files/%1?").arg(id),
                             "{\n    \"name\": \"new.txt\"\n}\n");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.json().value(QStringLiteral("name")).toString(), QStringLiteral("new.txt"));
    const QJsonObject renamed = m_emulator.fileAt(QStringLiteral("/new.txt"));
    QCOMPARE(renamed.value(QStringLiteral("id")).toString(), id);
    QCOMPARE(renamed.value(QStringLiteral("version")).toString(), QStringLiteral("2"));
    QVERIFY(m_emulator.fileAt(QStringLiteral("/old.txt")).isEmpty());
}

void TestEmulatorDrive::updateRejects_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("reason");

    QTest::newRow("parents") << QByteArray(R"({"parents":["root"]})") << "fieldNotWritable";
    QTest::newRow("read-only field") << QByteArray(R"({"size":"3"})") << "fieldNotWritable";
    QTest::newRow("trash in the app folder")
            << QByteArray(R"({"trashed":true})") << "notSupportedForAppDataFolderFiles";
}

void TestEmulatorDrive::updateRejects()
{
    QFETCH(QByteArray, body);
    const QString id = m_emulator.seedFile(QStringLiteral("/a.txt"), "x")
                               .value(QStringLiteral("id"))
                               .toString();
    const auto reply = drive("PATCH", QStringLiteral("/drive/v3/files/") + id, body);
    QCOMPARE(reply.status, 403);
    QTEST(errorReason(reply), "reason");
    QCOMPARE(drive("PATCH", QStringLiteral("/drive/v3/files/nope"), "{}").status, 404);
}

void TestEmulatorDrive::moveBetweenFolders()
{
    const QString a =
            m_emulator.seedFolder(QStringLiteral("/a")).value(QStringLiteral("id")).toString();
    const QString b =
            m_emulator.seedFolder(QStringLiteral("/b")).value(QStringLiteral("id")).toString();
    const QString file =
            m_emulator.seedFile(QStringLiteral("/a/f"), "x").value(QStringLiteral("id")).toString();
    const auto moved =
            drive("PATCH",
                  QStringLiteral("/drive/v3/files/%1?addParents=%2&removeParents=%3&fields=parents")
                          .arg(file, b, a),
                  "{}");
    QCOMPARE(moved.status, 200);
    QCOMPARE(moved.json().value(QStringLiteral("parents")).toArray(), QJsonArray { b });
    // Adding a second parent is refused.
    const auto twice =
            drive("PATCH", QStringLiteral("/drive/v3/files/%1?addParents=%2").arg(file, a), "{}");
    QCOMPARE(twice.status, 403);
    // A folder cannot go into itself.
    const auto cycle = drive(
            "PATCH",
            QStringLiteral("/drive/v3/files/%1?addParents=%1&removeParents=appDataFolder").arg(b),
            "{}");
    QCOMPARE(cycle.status, 400);
}

void TestEmulatorDrive::deleteTakesDescendants()
{
    const QString docs =
            m_emulator.seedFolder(QStringLiteral("/docs")).value(QStringLiteral("id")).toString();
    m_emulator.seedFile(QStringLiteral("/docs/sub/deep.txt"), "x");
    m_emulator.seedFile(QStringLiteral("/keep.txt"), "y");
    const auto reply = drive("DELETE", QStringLiteral("/drive/v3/files/") + docs);
    QCOMPARE(reply.status, 204);
    QVERIFY(reply.body.isEmpty());
    const QJsonArray left = m_emulator.files();
    QCOMPARE(left.size(), 1);
    QCOMPARE(left.at(0).toObject().value(QStringLiteral("path")).toString(),
             QStringLiteral("/keep.txt"));
}

void TestEmulatorDrive::deleteRejects()
{
    const auto root = drive("DELETE", QStringLiteral("/drive/v3/files/appDataFolder"));
    QCOMPARE(root.status, 403);
    const auto unknown = drive("DELETE", QStringLiteral("/drive/v3/files/nope"));
    QCOMPARE(unknown.status, 404);
    const auto empty = drive("DELETE", QStringLiteral("/drive/v3/files/"));
    QCOMPARE(empty.status, 404);
    QCOMPARE(errorMessage(empty), QStringLiteral("File not found: ."));
}

void TestEmulatorDrive::copyLandsBesideItsSource()
{
    const QJsonObject source =
            m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "payload",
                                { { QStringLiteral("mimeType"), QStringLiteral("text/plain") } });
    const QString id = source.value(QStringLiteral("id")).toString();
    const QString docs = source.value(QStringLiteral("parents")).toArray().at(0).toString();

    const auto named = drive(
            "POST",
            QStringLiteral("/drive/v3/files/%1/copy?fields=id,name,parents,mimeType,md5Checksum")
                    .arg(id),
            QStringLiteral(R"({"name":"b.txt","parents":["%1"],"mimeType":"text/plain"})")
                    .arg(docs)
                    .toUtf8());
    QCOMPARE(named.status, 200);
    QCOMPARE(named.json().value(QStringLiteral("name")).toString(), QStringLiteral("b.txt"));
    QCOMPARE(named.json().value(QStringLiteral("parents")).toArray(), QJsonArray { docs });
    QCOMPARE(named.json().value(QStringLiteral("md5Checksum")).toString(),
             QString::fromLatin1(md5("payload")));
    QVERIFY(named.json().value(QStringLiteral("id")).toString() != id);

    const auto unnamed =
            drive("POST", QStringLiteral("/drive/v3/files/%1/copy?fields=name,parents").arg(id));
    QCOMPARE(unnamed.json().value(QStringLiteral("name")).toString(),
             QStringLiteral("Copy of a.txt"));
    QCOMPARE(unnamed.json().value(QStringLiteral("parents")).toArray(), QJsonArray { docs });
}

void TestEmulatorDrive::copyRejects()
{
    const QString folder =
            m_emulator.seedFolder(QStringLiteral("/f")).value(QStringLiteral("id")).toString();
    const auto ofFolder = drive("POST", QStringLiteral("/drive/v3/files/%1/copy").arg(folder));
    QCOMPARE(ofFolder.status, 403);
    QCOMPARE(errorMessage(ofFolder), QStringLiteral("This file cannot be copied by the user."));
    QCOMPARE(drive("POST", QStringLiteral("/drive/v3/files/nope/copy")).status, 404);
}

void TestEmulatorDrive::multipartUpload_data()
{
    QTest::addColumn<QByteArray>("lineEnd");
    QTest::addColumn<QByteArray>("boundary");
    QTest::addColumn<QString>("query");
    QTest::addColumn<int>("size");
    QTest::addColumn<QByteArray>("epilogue");

    QTest::newRow("LF, query with an empty pair")
            << QByteArray("\n") << QByteArray("tarnwick_boundary") << "?&uploadType=multipart"
            << 4096 << QByteArray();
    QTest::newRow("CRLF") << QByteArray("\r\n") << QByteArray("other-Boundary_42")
                          << "?uploadType=multipart" << 4096 << QByteArray();
    // Of a megabyte and more, the checksum is computed while the body arrives.
    QTest::newRow("large") << QByteArray("\n") << QByteArray("tarnwick_boundary")
                           << "?&uploadType=multipart" << 3 * 1024 * 1024 << QByteArray();
    QTest::newRow("large, CRLF") << QByteArray("\r\n") << QByteArray("b") << "?uploadType=multipart"
                                 << 3 * 1024 * 1024 << QByteArray();
    QTest::newRow("large, with an epilogue")
            << QByteArray("\n") << QByteArray("tarnwick_boundary") << "?uploadType=multipart"
            << 3 * 1024 * 1024 << QByteArray(10000, 'e');
}

void TestEmulatorDrive::multipartUpload()
{
    QFETCH(QByteArray, lineEnd);
    QFETCH(QByteArray, boundary);
    QFETCH(QString, query);
    QFETCH(int, size);
    QFETCH(QByteArray, epilogue);

    QByteArray content;
    for (int i = 0; i < size; ++i)
        content += char(i * 31 + (i >> 12));
    // Content may hold the boundary text; only the last delimiter closes the media part.
    content.replace(size - 100, 30, "\n--" + boundary + "--\r\n--" + boundary);
    content.truncate(size);
    const QByteArray &n = lineEnd;
    const QByteArray body = "--" + boundary + n + "Content-Type: application/json; charset=UTF-8"
            + n + n
            + R"({"name":"données.bin","parents":["appDataFolder"],"mimeType":"application/tarnwick"})"
            + n + "--" + boundary + n + "Content-Type: application/tarnwick" + n + n + content + n
            + "--" + boundary + "--" + n + epilogue;
    const auto reply = drive("POST", QStringLiteral("/upload/drive/v3/files") + query, body,
                             "multipart/related; boundary=" + boundary);
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.json().keys(), (QStringList { "id", "kind", "mimeType", "name" }));
    QCOMPARE(reply.json().value(QStringLiteral("name")).toString(), QStringLiteral("données.bin"));
    QCOMPARE(reply.json().value(QStringLiteral("mimeType")).toString(),
             QStringLiteral("application/tarnwick"));
    const QJsonObject stored = m_emulator.fileAt(QStringLiteral("/données.bin"));
    QCOMPARE(stored.value(QStringLiteral("md5Checksum")).toString(),
             QString::fromLatin1(md5(content)));
    QCOMPARE(m_emulator.content(stored.value(QStringLiteral("id")).toString()), content);
}

void TestEmulatorDrive::mediaUploadCreatesAndReplaces()
{
    const auto created = drive("POST", QStringLiteral("/upload/drive/v3/files?uploadType=media"),
                               "raw", "text/plain");
    QCOMPARE(created.status, 200);
    QCOMPARE(created.json().value(QStringLiteral("name")).toString(), QStringLiteral("Untitled"));

    const QJsonObject seeded =
            m_emulator.seedFile(QStringLiteral("/keep-name.txt"), "old",
                                { { QStringLiteral("mimeType"), QStringLiteral("text/plain") } });
    const QString id = seeded.value(QStringLiteral("id")).toString();
    // Large enough to be hashed while it arrives.
    const QByteArray content = QByteArray("new content ").repeated(300000);
    const auto replaced =
            drive("PATCH", QStringLiteral("/upload/drive/v3/files/%1?&uploadType=media").arg(id),
                  content, "application/octet-stream");
    QCOMPARE(replaced.status, 200);
    const QJsonObject after = m_emulator.fileAt(QStringLiteral("/keep-name.txt"));
    QCOMPARE(after.value(QStringLiteral("id")).toString(), id);
    QCOMPARE(after.value(QStringLiteral("mimeType")).toString(), QStringLiteral("text/plain"));
    QCOMPARE(after.value(QStringLiteral("md5Checksum")).toString(),
             QString::fromLatin1(md5(content)));
    QCOMPARE(m_emulator.content(id), content);
}

void TestEmulatorDrive::uploadRejects_data()
{
    QTest::addColumn<QString>("query");
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<QByteArray>("body");

    QTest::newRow("no upload type") << "" << QByteArray("text/plain") << QByteArray("x");
    QTest::newRow("multipart without boundary")
            << "?uploadType=multipart" << QByteArray("multipart/related")
            << QByteArray("--b\n\n{}\n--b\n\nx\n--b--\n");
    QTest::newRow("multipart of another kind")
            << "?uploadType=multipart" << QByteArray("multipart/form-data; boundary=b")
            << QByteArray("--b\n\n{}\n--b\n\nx\n--b--\n");
    QTest::newRow("truncated multipart")
            << "?uploadType=multipart" << QByteArray("multipart/related; boundary=b")
            << QByteArray("--b\n\n{}\n--b\n\nx");
}

void TestEmulatorDrive::uploadRejects()
{
    QFETCH(QString, query);
    QFETCH(QByteArray, contentType);
    QFETCH(QByteArray, body);
    const auto reply =
            drive("POST", QStringLiteral("/upload/drive/v3/files") + query, body, contentType);
    QCOMPARE(reply.status, 400);
    QVERIFY(reply.json().contains(QStringLiteral("error")));
    QCOMPARE(m_emulator.files().size(), 0);
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

    const QJsonArray log = m_emulator.requests();
    QCOMPARE(log.size(), 1);
    const QJsonObject entry = log.at(0).toObject();
    QCOMPARE(entry.value(QStringLiteral("method")).toString(), QStringLiteral("PATCH"));
    QCOMPARE(entry.value(QStringLiteral("path")).toString(), QStringLiteral("/drive/v3/files/x"));
    QCOMPARE(entry.value(QStringLiteral("target")).toString(),
             QStringLiteral("/drive/v3/files/x?"));
    QVERIFY(entry.value(QStringLiteral("hasQuery")).toBool());
    QCOMPARE(entry.value(QStringLiteral("query")).toString(), QString());
    QCOMPARE(entry.value(QStringLiteral("status")).toInt(), 404);
    QCOMPARE(QByteArray::fromBase64(entry.value(QStringLiteral("body")).toString().toLatin1()),
             QByteArray("{}"));
    QStringList headerNames;
    for (const QJsonValue &header : entry.value(QStringLiteral("headers")).toArray())
        headerNames.append(header.toArray().at(0).toString());
    // Set by the client first, in the order it set them.
    QVERIFY(headerNames.indexOf(QStringLiteral("User-Agent"))
            < headerNames.indexOf(QStringLiteral("Authorization")));
    QVERIFY(headerNames.indexOf(QStringLiteral("Authorization"))
            < headerNames.indexOf(QStringLiteral("Content-Type")));
}

QTEST_GUILESS_MAIN(TestEmulatorDrive)
#include "tst_emulatordrive.moc"
