// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "authoriseddrive.h"
#include "cloudcodes.h"
#include "googlefile.h"
#include "googlefileobject.h"
#include "languagescope.h"
#include "loggedrequest.h"
#include "messagecapture.h"
#include "oauthgoogle.h"
#include "probedfile.h"

#include <QCryptographicHash>
#include <QNetworkReply>
#include <QtTest>

#include <functional>

using Operation = std::function<bool(ProbedFile &)>;
Q_DECLARE_METATYPE(Operation)

// The Drive back end against the emulator: results, request shapes, errors.
class TestGoogleFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void resolvePaths_data();
    void resolvePaths();
    void missingPathsSendOnlyLookups_data();
    void missingPathsSendOnlyLookups();

    void download_data();
    void download();
    void downloadOfAFolder();

    void uploadCreatesAFile_data();
    void uploadCreatesAFile();
    void uploadReplacesContent();

    void mkdirCreatesAndMovesDown();
    void mkdirRefuses_data();
    void mkdirRefuses();

    void copyLandsBesideTheSource_data();
    void copyLandsBesideTheSource();
    void renameRemovesWhatHasTheNewName_data();
    void renameRemovesWhatHasTheNewName();
    void renameOntoItselfDeletesTheFile();

    void listObjects();
    void expiredTokenIsSentAsItIs();

private:
    QList<LoggedRequest> requestsSince(int mark)
    {
        return LoggedRequest::list(m_emulator.requests(mark));
    }
    QString id(const QString &path) { return idOf(m_emulator.fileAt(path)); }
    QString seed(const QString &path, const QByteArray &content,
                 const QJsonObject &extra = QJsonObject())
    {
        return idOf(m_emulator.seedFile(path, content, extra));
    }

    AuthorisedDrive m_drive;
    EmulatorProcess &m_emulator { m_drive.emulator() };
    int m_mark = 0;
};

void TestGoogleFile::initTestCase()
{
    QVERIFY(m_drive.start(QStringLiteral("tst_googlefile")));
}

void TestGoogleFile::init()
{
    m_drive.reset();
    m_mark = m_emulator.nextRequest();
}

// Every request of a test carries the flow's token; uploads and the rename, and only they, say
// who sends them, before the token. Every listing keeps to the application's space, asks for the
// fields it reads, and for no page beyond the first.
void TestGoogleFile::cleanup()
{
    const QString bearer = QStringLiteral("Bearer ") + m_drive.flow()->token();
    const QList<QPair<QString, QString>> listing {
        { QStringLiteral("spaces"), QStringLiteral("appDataFolder") },
        { QStringLiteral("fields"),
          QStringLiteral("files(id, name, parents, mimeType, size, modifiedTime, md5Checksum)") }
    };
    for (const LoggedRequest &request : requestsSince(m_mark)) {
        if (request.method() == QLatin1String("GET")
            && request.path() == QLatin1String("/drive/v3/files")) {
            QList<QPair<QString, QString>> items = request.queryItems();
            QCOMPARE(items.value(1).first, QStringLiteral("q"));
            items.removeAt(1);
            QCOMPARE(items, listing);
        }
        const QStringList names = request.headerNames();
        QCOMPARE(request.header(QStringLiteral("Authorization")), bearer);
        QCOMPARE(request.header(QStringLiteral("User-Agent")) == QLatin1String("Tarnwick")
                         && names.indexOf(QStringLiteral("user-agent"))
                                 < names.indexOf(QStringLiteral("authorization")),
                 request.path().startsWith(QLatin1String("/upload/"))
                         || request.method() == QLatin1String("PATCH"));
    }
}

void TestGoogleFile::resolvePaths_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("objectPath"); // whose object comes back, "" for the root

    using namespace Cloud;
    QTest::newRow("file found") << "gdapp:/docs/a.txt" << int(PathFound) << "/docs/a.txt";
    QTest::newRow("only the folder") << "gdapp:/docs/new.txt" << int(ParentFound) << "/docs";
    QTest::newRow("only in the trash") << "gdapp:/docs/gone.txt" << int(ParentFound) << "/docs";
    QTest::newRow("only in another folder") << "gdapp:/a.txt" << int(ParentFound) << "";
    QTest::newRow("folder missing") << "gdapp:/missing/a.txt" << int(NothingFound) << "";
    QTest::newRow("file used as a folder")
            << "gdapp:/docs/a.txt/deeper" << int(NothingFound) << "/docs";
    QTest::newRow("the root") << "gdapp:/" << int(ParentFound) << "";
    // The name goes into the lookup as it is: the quote breaks the query.
    QTest::newRow("a quote in the name") << "gdapp:/it's.txt" << int(ParentFound) << "";
}

void TestGoogleFile::resolvePaths()
{
    QFETCH(QString, url);
    QFETCH(int, status);
    QFETCH(QString, objectPath);
    // Of two entries of one name, the first the service lists wins.
    m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "a");
    m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "second");
    m_emulator.seedFile(QStringLiteral("/docs/gone.txt"), "x",
                        { { QStringLiteral("trashed"), true } });
    m_emulator.seedFile(QStringLiteral("/it's.txt"), "x");

    ProbedFile file(m_drive.flow(), url);
    int found = -1;
    std::unique_ptr<CloudObject> object(file.getObjectFromPath(QUrl(url), found));
    QVERIFY(object);
    QCOMPARE(found, status);
    QCOMPARE(file.errorCode(), status == Cloud::PathFound ? 0 : int(Cloud::PathNotFound));
    QCOMPARE(object->fileName(), objectPath.section(QLatin1Char('/'), -1));
    QCOMPARE(object->id(), objectPath.isEmpty() ? QStringLiteral("appDataFolder") : id(objectPath));
    // The path is not stored in a found object.
    QCOMPARE(object->filePath(), QStringLiteral("/"));
    if (status == Cloud::PathFound) // the folders above it
        QCOMPARE(static_cast<GoogleFileObject *>(object.get())->parents(),
                 QList<QString> { id(QStringLiteral("/docs")) });
}

// An operation on a path that does not resolve fails after the lookups, and sends nothing else:
// no download, upload, copy or deletion reaches the service.
void TestGoogleFile::missingPathsSendOnlyLookups_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<Operation>("operation");

    const QUrl other(QStringLiteral("gdapp:/other.txt"));
    QTest::newRow("download") << "gdapp:/missing.txt" << Operation([](ProbedFile &file) {
        file.close();
        return file.open(QIODevice::ReadOnly);
    });
    QTest::newRow("upload into a missing folder")
            << "gdapp:/none/x.txt" << Operation([](ProbedFile &file) { return file.flush(); });
    QTest::newRow("copy") << "gdapp:/docs/missing.txt"
                          << Operation([other](ProbedFile &file) { return file.copy(other); });
    // The destination first, which is not there either.
    QTest::newRow("rename") << "gdapp:/missing.txt"
                            << Operation([other](ProbedFile &file) { return file.rename(other); });
    QTest::newRow("remove") << "gdapp:/docs/missing.txt"
                            << Operation([](ProbedFile &file) { return file.remove(); });
}

void TestGoogleFile::missingPathsSendOnlyLookups()
{
    QFETCH(QString, url);
    QFETCH(Operation, operation);

    m_emulator.seedFolder(QStringLiteral("/docs"));
    ProbedFile file(m_drive.flow(), url);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("earlier content");
    QVERIFY(!operation(file));
    QCOMPARE(file.errorCode(), Cloud::PathNotFound);
    QCOMPARE(file.buffer(), QByteArray("earlier content"));
    for (const LoggedRequest &request : requestsSince(m_mark))
        QCOMPARE(request.method() + QLatin1Char(' ') + request.path(),
                 QStringLiteral("GET /drive/v3/files"));
}

void TestGoogleFile::download_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("checksum"); // what the service reports
    QTest::addColumn<int>("errorCode");

    QTest::newRow("upper-case checksum")
            << QByteArray("abc")
            << QString::fromLatin1(QCryptographicHash::hash("abc", QCryptographicHash::Md5).toHex())
                       .toUpper()
            << 0;
    QTest::newRow("empty file") << QByteArray() << "d41d8cd98f00b204e9800998ecf8427e" << 0;
    QTest::newRow("no checksum") << QByteArray("abc") << "" << int(Cloud::CorruptedData);
}

void TestGoogleFile::download()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, checksum);
    QFETCH(int, errorCode);

    const QString fileId = seed(QStringLiteral("/f.bin"), content,
                                { { QStringLiteral("md5Checksum"), checksum } });
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/f.bin"));
    QCOMPARE(file.open(QIODevice::ReadOnly), errorCode == 0);
    QCOMPARE(file.errorCode(), errorCode);
    QCOMPARE(file.buffer(), content); // received bytes stay, checked or not
    QCOMPARE(file.fileId(), fileId);
}

// No folder check before the request: the service refuses it.
void TestGoogleFile::downloadOfAFolder()
{
    m_emulator.seedFolder(QStringLiteral("/docs"));
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/docs"));
    QVERIFY(!file.open(QIODevice::ReadOnly));
    QCOMPARE(file.errorCode(), int(QNetworkReply::ContentAccessDenied));
    QCOMPARE(file.fileId(), id(QStringLiteral("/docs")));
}

// A new file goes up in one multipart request: its metadata, then its content.
void TestGoogleFile::uploadCreatesAFile_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("in a folder, the boundary inside the content")
            << "gdapp:/docs/new.txt" << QByteArray("x\n--tarnwick_boundary\ny\r\n");
    QTest::newRow("at the top, a name outside ASCII")
            << "gdapp:/%C3%A9t%C3%A9.txt" << QByteArray("e");
    QTest::newRow("empty buffer") << "gdapp:/empty.txt" << QByteArray();
}

void TestGoogleFile::uploadCreatesAFile()
{
    QFETCH(QString, url);
    QFETCH(QByteArray, content);

    m_emulator.seedFolder(QStringLiteral("/docs"));
    const QString path = QUrl(url).path();
    const QString folder = path.section(QLatin1Char('/'), 0, -2);
    const QByteArray parent =
            (folder.isEmpty() ? QStringLiteral("appDataFolder") : id(folder)).toLatin1();
    ProbedFile file(m_drive.flow(), url);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    QVERIFY(file.flush());
    QCOMPARE(file.fileId(), id(path));

    const LoggedRequest upload = requestsSince(m_mark).last();
    QCOMPARE(upload.method(), QStringLiteral("POST"));
    QCOMPARE(upload.target(), QStringLiteral("/upload/drive/v3/files?&uploadType=multipart"));
    QCOMPARE(upload.header(QStringLiteral("Content-Type")),
             QStringLiteral("multipart/related; boundary=tarnwick_boundary"));
    const QByteArray expected = "--tarnwick_boundary\nContent-Type: application/json; "
                                "charset=UTF-8\n\n{\n    \"mimeType\": \"application/tarnwick\",\n"
                                "    \"name\": \""
            + path.mid(folder.size() + 1).toUtf8() + "\",\n    \"parents\": [\n        \"" + parent
            + "\"\n    ]\n}\n--tarnwick_boundary\nContent-Type: application/tarnwick\n\n" + content
            + "\n--tarnwick_boundary--\n";
    QCOMPARE(upload.body(), expected);
    QCOMPARE(upload.header(QStringLiteral("Content-Length")), QString::number(expected.size()));
    QCOMPARE(upload.headerNames().count(QStringLiteral("content-length")), 1);
}

// The content is replaced in place: same file, no type of its own sent.
void TestGoogleFile::uploadReplacesContent()
{
    const QString fileId = seed(QStringLiteral("/docs/keep.txt"), "old");
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/docs/keep.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("new");
    QVERIFY(file.flush());
    QCOMPARE(file.fileId(), fileId);

    const LoggedRequest upload = requestsSince(m_mark).last();
    QCOMPARE(upload.method() + QLatin1Char(' ') + upload.target(),
             QStringLiteral("PATCH /upload/drive/v3/files/%1?&uploadType=media").arg(fileId));
    QVERIFY(!upload.headerNames().contains(QStringLiteral("content-type")));
    QCOMPARE(m_emulator.content(fileId), QByteArray("new"));
}

// mkdir makes the folder in the current one and moves the current object down into it, so the
// same name twice nests.
void TestGoogleFile::mkdirCreatesAndMovesDown()
{
    ProbedFile file(m_drive.flow(), QString());
    std::unique_ptr<CloudObject> current(file.getCloudObject());
    QVERIFY(file.mkdir(current.get(), QStringLiteral("made")));
    QCOMPARE(current->fullPath(), QStringLiteral("/made"));

    const QList<LoggedRequest> requests = requestsSince(m_mark);
    QCOMPARE(requests.at(0).q(),
             QStringLiteral("trashed=false and 'appDataFolder' in parents and name = 'made'"));
    QCOMPARE(requests.at(1).header(QStringLiteral("Content-Type")),
             QStringLiteral("application/json"));
    QCOMPARE(requests.at(1).body(),
             QByteArray("{\n    \"mimeType\": \"application/vnd.google-apps.folder\",\n"
                        "    \"name\": \"made\",\n    \"parents\": [\n        \"appDataFolder\"\n  "
                        "  ]\n}\n"));

    QVERIFY(file.mkdir(current.get(), QStringLiteral("made")));
    QCOMPARE(current->fullPath(), QStringLiteral("/made/made"));
    QCOMPARE(current->id(), id(QStringLiteral("/made/made")));
}

void TestGoogleFile::mkdirRefuses_data()
{
    QTest::addColumn<QString>("name"); // a file "name" is there
    QTest::addColumn<int>("errorCode");

    QTest::newRow("a file of that name") << "name" << 0;
    // The check's query breaks on the quote: the listing's error is the answer.
    QTest::newRow("a quote in the name")
            << "it's" << int(QNetworkReply::ProtocolInvalidOperationError);
}

// The name taken is told in the host's language, German here.
void TestGoogleFile::mkdirRefuses()
{
    QFETCH(QString, name);
    QFETCH(int, errorCode);

    const LanguageScope german(QStringLiteral("de"));
    QVERIFY(german.isLoaded());
    m_emulator.seedFile(QStringLiteral("/name"), "x");
    ProbedFile file(m_drive.flow(), QString());
    std::unique_ptr<CloudObject> current(file.getCloudObject());
    QVERIFY(!file.mkdir(current.get(), name));
    QCOMPARE(file.errorCode(), errorCode);
    if (errorCode == 0)
        QCOMPARE(file.errorString(), QStringLiteral("Der Ordner existiert bereits"));
    QCOMPARE(m_emulator.files().size(), 1);
}

// Only the destination's name counts: the copy lands beside its source, next to what has that
// name already.
void TestGoogleFile::copyLandsBesideTheSource_data()
{
    QTest::addColumn<QString>("folder");

    QTest::newRow("in a folder") << "/docs";
    QTest::newRow("at the top") << "";
}

void TestGoogleFile::copyLandsBesideTheSource()
{
    QFETCH(QString, folder);

    const QString sourceId = seed(folder + QStringLiteral("/a.txt"), "payload",
                                  { { QStringLiteral("mimeType"), QStringLiteral("text/csv") } });
    const QString existing = seed(folder + QStringLiteral("/b.txt"), "already there");
    const QString parent = folder.isEmpty() ? QStringLiteral("appDataFolder") : id(folder);
    const int filesBefore = m_emulator.files().size();

    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:%1/a.txt").arg(folder));
    QVERIFY(file.copy(QUrl(QStringLiteral("gdapp:/elsewhere/b.txt"))));
    QCOMPARE(file.fileId(), sourceId);

    const LoggedRequest post = requestsSince(m_mark).last();
    QCOMPARE(post.target(), QStringLiteral("/drive/v3/files/%1/copy").arg(sourceId));
    QCOMPARE(post.header(QStringLiteral("Content-Type")), QStringLiteral("application/json"));
    QCOMPARE(post.body(),
             QStringLiteral("{\n    \"mimeType\": \"text/csv\",\n    \"name\": \"b.txt\",\n"
                            "    \"parents\": [\n        \"%1\"\n    ]\n}\n")
                     .arg(parent)
                     .toUtf8());
    QCOMPARE(m_emulator.files().size(), filesBefore + 1);
    QCOMPARE(m_emulator.content(existing), QByteArray("already there"));
}

// What has the new name goes first, wherever it is; the source is renamed in its own folder.
void TestGoogleFile::renameRemovesWhatHasTheNewName_data()
{
    QTest::addColumn<QString>("to");
    QTest::addColumn<QString>("victim"); // seeded at the new name, "" for nothing

    QTest::newRow("beside it") << "gdapp:/docs/b.txt"
                               << "/docs/b.txt";
    QTest::newRow("in another folder") << "gdapp:/other/b.txt"
                                       << "/other/b.txt";
    QTest::newRow("nothing of that name") << "gdapp:/docs/b.txt"
                                          << "";
}

void TestGoogleFile::renameRemovesWhatHasTheNewName()
{
    QFETCH(QString, to);
    QFETCH(QString, victim);

    const QString sourceId = seed(QStringLiteral("/docs/a.txt"), "source");
    const QString victimId = victim.isEmpty() ? QString() : seed(victim, "victim");
    const int filesBefore = m_emulator.files().size();
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/docs/a.txt"));
    QVERIFY(file.rename(QUrl(to)));
    QCOMPARE(file.errorCode(), 0);
    QCOMPARE(file.fileId(), sourceId);
    QCOMPARE(id(QStringLiteral("/docs/b.txt")), sourceId);
    QCOMPARE(m_emulator.files().size(), filesBefore - (victimId.isEmpty() ? 0 : 1));

    const LoggedRequest patch = requestsSince(m_mark).last();
    QCOMPARE(patch.target(), QStringLiteral("/drive/v3/files/%1?").arg(sourceId));
    QCOMPARE(patch.header(QStringLiteral("Content-Type")), QStringLiteral("application/json"));
    QCOMPARE(patch.body(), QByteArray("{\n    \"name\": \"b.txt\"\n}\n"));
}

// The source goes as the destination; then it is not found.
void TestGoogleFile::renameOntoItselfDeletesTheFile()
{
    m_emulator.seedFile(QStringLiteral("/self.txt"), "gone soon");
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/self.txt"));
    QVERIFY(!file.rename(QUrl(QStringLiteral("gdapp:/self.txt"))));
    QCOMPARE(file.errorCode(), Cloud::PathNotFound);
    QVERIFY(m_emulator.files().isEmpty());
}

// A folder lists what it holds, trash left out; an object without an identifier, the whole
// space. Of a short page, only that page is seen, as no page token is ever asked for; a success
// whose body is not JSON counts as an empty folder; a failure emits nothing.
void TestGoogleFile::listObjects()
{
    m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "abc");
    m_emulator.seedFolder(QStringLiteral("/docs/sub"));
    m_emulator.seedFile(QStringLiteral("/docs/gone.txt"), "x",
                        { { QStringLiteral("trashed"), true } });
    m_emulator.seedFile(QStringLiteral("/top.txt"), "t");

    ProbedFile file(m_drive.flow(), QString());
    int status = 0;
    std::unique_ptr<CloudObject> docs(
            file.getObjectFromPath(QUrl(QStringLiteral("gdapp:/docs")), status));
    GoogleFileObject nameless;
    nameless.from(QJsonObject());
    QStringList listed;
    connect(&file, &CloudFile::objectList, this, [&listed](const QList<CloudObject *> &objects) {
        QStringList names;
        for (const CloudObject *object : objects)
            names.append(object->fileName() + (object->isFolder() ? "/" : ""));
        listed.append(names.join(QLatin1Char(' ')));
        qDeleteAll(objects);
    });
    QVERIFY(file.listObjects(docs.get()));
    QVERIFY(file.listObjects(&nameless));
    m_emulator.addFault(json(R"({"path": "/drive/v3/files", "action": "shortPage"})"));
    QVERIFY(file.listObjects(&nameless));
    m_emulator.addFault(json(R"({"path": "/drive/v3/files", "status": 200,
                                 "body": "<html>busy</html>", "contentType": "text/html"})"));
    QVERIFY(file.listObjects(docs.get()));
    m_emulator.addFault(json(R"({"path": "/drive/v3/files", "status": 500})"));
    QVERIFY(!file.listObjects(docs.get()));
    QCOMPARE(listed, QStringList({ "a.txt sub/", "docs/ a.txt sub/ top.txt", "docs/ a.txt", "" }));
}

// Contract: a file uses the flow's token as it is, expired or not; it never refreshes it.
void TestGoogleFile::expiredTokenIsSentAsItIs()
{
    m_emulator.seedFile(QStringLiteral("/a.txt"), "a");
    m_emulator.control("POST", QStringLiteral("tokens/expire"));
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/a.txt"));
    MessageCapture debug;
    QVERIFY(!file.open(QIODevice::ReadOnly));
    QCOMPARE(file.errorCode(), Cloud::PathNotFound);

    QCOMPARE(requestsSince(m_mark).size(), 1); // no refresh
    QCOMPARE(debug.debugLines(),
             QStringList(QStringLiteral("bool GoogleFile::listObjects(const QString&, "
                                        "QList<CloudObject*>&) \"%1\"")
                                 .arg(file.errorString())));
}

QTEST_MAIN(TestGoogleFile)
#include "tst_googlefile.moc"
