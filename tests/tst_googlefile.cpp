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

namespace {
enum class Operation { Download, Upload, Copy, Rename, Remove };
} // namespace
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
    void lookupQueries();
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
    void listingAnswers_data();
    void listingAnswers();
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
        const QString what = request.method() + QLatin1Char(' ') + request.target();
        if (request.method() == QLatin1String("GET")
            && request.path() == QLatin1String("/drive/v3/files")) {
            QList<QPair<QString, QString>> items = request.queryItems();
            QVERIFY2(items.size() == 3 && items.takeAt(1).first == QLatin1String("q"),
                     qPrintable(what));
            QCOMPARE(items, listing);
        }
        const bool announced = request.path().startsWith(QLatin1String("/upload/"))
                || request.method() == QLatin1String("PATCH");
        const QStringList names = request.headerNames();
        QVERIFY2(request.header(QStringLiteral("Authorization")) == bearer, qPrintable(what));
        QVERIFY2((request.header(QStringLiteral("User-Agent")) == QLatin1String("Tarnwick"))
                         == announced,
                 qPrintable(what));
        QVERIFY2(!announced
                         || names.indexOf(QStringLiteral("user-agent"))
                                 < names.indexOf(QStringLiteral("authorization")),
                 qPrintable(what));
    }
}

void TestGoogleFile::resolvePaths_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("objectPath"); // whose object comes back, "" for the root

    using namespace Cloud;
    QTest::newRow("file found") << "gdapp:/docs/a.txt" << int(PathFound) << "/docs/a.txt";
    QTest::newRow("folder found") << "gdapp:/docs" << int(PathFound) << "/docs";
    QTest::newRow("only the folder") << "gdapp:/docs/new.txt" << int(ParentFound) << "/docs";
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
    if (status == Cloud::PathFound)
        QCOMPARE(static_cast<GoogleFileObject *>(object.get())->parents(),
                 objectPath == QLatin1String("/docs/a.txt")
                         ? QList<QString> { id(QStringLiteral("/docs")) }
                         : QList<QString> {});
}

void TestGoogleFile::lookupQueries()
{
    m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "a");
    const QString docs = id(QStringLiteral("/docs"));
    ProbedFile file(m_drive.flow(), QString());
    int status = 0;
    delete file.getObjectFromPath(QUrl(QStringLiteral("gdapp:/docs/a.txt")), status);
    QCOMPARE(status, Cloud::PathFound);

    const QList<LoggedRequest> requests = requestsSince(m_mark);
    QCOMPARE(requests.size(), 2);
    QCOMPARE(requests.at(0).q(),
             QStringLiteral("'appDataFolder' in parents and name='docs' and trashed=false and "
                            "mimeType= 'application/vnd.google-apps.folder'"));
    QCOMPARE(requests.at(1).q(),
             QStringLiteral("'%1' in parents and name='a.txt' and trashed=false").arg(docs));
}

// An operation on a path that does not resolve fails after the lookups, and sends nothing else:
// no download, upload, copy or deletion reaches the service.
void TestGoogleFile::missingPathsSendOnlyLookups_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QString>("url");
    QTest::addColumn<int>("lookups");

    QTest::newRow("download") << Operation::Download << "gdapp:/missing.txt" << 1;
    QTest::newRow("upload into a missing folder") << Operation::Upload << "gdapp:/none/x.txt" << 1;
    QTest::newRow("copy") << Operation::Copy << "gdapp:/docs/missing.txt" << 2;
    // The destination first, which is not there either.
    QTest::newRow("rename") << Operation::Rename << "gdapp:/missing.txt" << 2;
    QTest::newRow("remove") << Operation::Remove << "gdapp:/docs/missing.txt" << 2;
}

void TestGoogleFile::missingPathsSendOnlyLookups()
{
    QFETCH(Operation, operation);
    QFETCH(QString, url);
    QFETCH(int, lookups);

    m_emulator.seedFolder(QStringLiteral("/docs"));
    ProbedFile file(m_drive.flow(), url);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("earlier content");
    const int mark = m_emulator.nextRequest();
    const QUrl other(QStringLiteral("gdapp:/other.txt"));
    bool done = true;
    switch (operation) {
    case Operation::Download:
        file.close();
        done = file.open(QIODevice::ReadOnly);
        break;
    case Operation::Upload:
        done = file.flush();
        break;
    case Operation::Copy:
        done = file.copy(other);
        break;
    case Operation::Rename:
        done = file.rename(other);
        break;
    case Operation::Remove:
        done = file.remove();
        break;
    }
    QVERIFY(!done);
    QCOMPARE(file.errorCode(), Cloud::PathNotFound);
    QCOMPARE(file.buffer(), QByteArray("earlier content"));

    const QList<LoggedRequest> requests = requestsSince(mark);
    QCOMPARE(requests.size(), lookups);
    for (const LoggedRequest &request : requests)
        QCOMPARE(request.method() + QLatin1Char(' ') + request.path(),
                 QStringLiteral("GET /drive/v3/files"));
    QCOMPARE(m_emulator.files().size(), 1);
}

void TestGoogleFile::download_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("checksum"); // what the service reports; "-" for its own
    QTest::addColumn<int>("errorCode");

    // Far more than the reply reads ahead at once.
    QByteArray large(4 * 1024 * 1024, Qt::Uninitialized);
    for (int i = 0; i < large.size(); ++i)
        large[i] = char(i * 7);
    QTest::newRow("4 MiB") << large << "-" << 0;
    QTest::newRow("upper-case checksum")
            << QByteArray("abc")
            << QString::fromLatin1(QCryptographicHash::hash("abc", QCryptographicHash::Md5).toHex())
                       .toUpper()
            << 0;
    QTest::newRow("empty file") << QByteArray() << "-" << 0;
    QTest::newRow("no checksum") << QByteArray("abc") << "" << int(Cloud::CorruptedData);
}

void TestGoogleFile::download()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, checksum);
    QFETCH(int, errorCode);

    QJsonObject extra;
    if (checksum != QLatin1String("-"))
        extra.insert(QStringLiteral("md5Checksum"), checksum);
    const QString fileId = seed(QStringLiteral("/f.bin"), content, extra);
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/f.bin"));
    QList<int> seen;
    connect(&file, &CloudFile::progress, this, [&seen](int percent) { seen.append(percent); });
    QCOMPARE(file.open(QIODevice::ReadOnly), errorCode == 0);
    QCOMPARE(file.errorCode(), errorCode);
    QCOMPARE(file.buffer(), content); // received bytes stay, checked or not
    QCOMPARE(file.fileId(), fileId);

    const QList<LoggedRequest> requests = requestsSince(m_mark);
    QCOMPARE(requests.last().target(), QStringLiteral("/drive/v3/files/%1?alt=media").arg(fileId));
    // Percentages that only grow, up to 100; an empty body has none.
    QVERIFY(std::is_sorted(seen.cbegin(), seen.cend()));
    QCOMPARE(seen.value(seen.size() - 1, 100), 100);
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
    QCOMPARE(file.errorCode(), 0);
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

// The content is replaced in place: same file, same name and type.
void TestGoogleFile::uploadReplacesContent()
{
    const QString fileId = seed(QStringLiteral("/docs/keep.txt"), "old",
                                { { QStringLiteral("mimeType"), QStringLiteral("text/plain") } });
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/docs/keep.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("new");
    QVERIFY(file.flush());
    QCOMPARE(file.fileId(), fileId);

    const LoggedRequest upload = requestsSince(m_mark).last();
    QCOMPARE(upload.method(), QStringLiteral("PATCH"));
    QCOMPARE(upload.target(),
             QStringLiteral("/upload/drive/v3/files/%1?&uploadType=media").arg(fileId));
    QCOMPARE(upload.body(), QByteArray("new"));
    QVERIFY(!upload.headerNames().contains(QStringLiteral("content-type")));
    QCOMPARE(id(QStringLiteral("/docs/keep.txt")), fileId);
    QCOMPARE(m_emulator.fileAt(QStringLiteral("/docs/keep.txt")).value(QStringLiteral("mimeType")),
             QStringLiteral("text/plain"));
    QCOMPARE(m_emulator.content(fileId), QByteArray("new"));
}

// mkdir makes the folder in the current one and moves the current object down into it, so the
// same name twice nests.
void TestGoogleFile::mkdirCreatesAndMovesDown()
{
    ProbedFile file(m_drive.flow(), QString());
    std::unique_ptr<CloudObject> current(file.getCloudObject());
    QVERIFY(file.mkdir(current.get(), QStringLiteral("made")));
    QCOMPARE(current->id(), id(QStringLiteral("/made")));
    QCOMPARE(current->fullPath(), QStringLiteral("/made"));

    const QList<LoggedRequest> requests = requestsSince(m_mark);
    QCOMPARE(requests.size(), 2);
    QCOMPARE(requests.at(0).q(),
             QStringLiteral("trashed=false and 'appDataFolder' in parents and name = 'made'"));
    const LoggedRequest &create = requests.at(1);
    QCOMPARE(create.method() + QLatin1Char(' ') + create.target(),
             QStringLiteral("POST /drive/v3/files"));
    QCOMPARE(create.header(QStringLiteral("Content-Type")), QStringLiteral("application/json"));
    QCOMPARE(create.body(),
             QByteArray("{\n    \"mimeType\": \"application/vnd.google-apps.folder\",\n"
                        "    \"name\": \"made\",\n    \"parents\": [\n        \"appDataFolder\"\n  "
                        "  ]\n}\n"));

    QVERIFY(file.mkdir(current.get(), QStringLiteral("made")));
    QCOMPARE(current->fullPath(), QStringLiteral("/made/made"));
    QCOMPARE(current->id(), id(QStringLiteral("/made/made")));
}

void TestGoogleFile::mkdirRefuses_data()
{
    QTest::addColumn<QString>("existing"); // what the emulator holds at /name
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("errorCode");

    QTest::newRow("a file of that name") << "file"
                                         << "name" << 0;
    QTest::newRow("a folder of that name") << "folder"
                                           << "name" << 0;
    // The check's query breaks on the quote: the listing's error is the answer.
    QTest::newRow("a quote in the name")
            << ""
            << "it's" << int(QNetworkReply::ProtocolInvalidOperationError);
}

// The name taken is told in the host's language, German here.
void TestGoogleFile::mkdirRefuses()
{
    QFETCH(QString, existing);
    QFETCH(QString, name);
    QFETCH(int, errorCode);

    const LanguageScope german(QStringLiteral("de"));
    QVERIFY(german.isLoaded());
    if (existing == QLatin1String("file"))
        m_emulator.seedFile(QStringLiteral("/name"), "x");
    else if (existing == QLatin1String("folder"))
        m_emulator.seedFolder(QStringLiteral("/name"));
    const int filesBefore = m_emulator.files().size();
    ProbedFile file(m_drive.flow(), QString());
    std::unique_ptr<CloudObject> current(file.getCloudObject());
    QVERIFY(!file.mkdir(current.get(), name));
    QCOMPARE(file.errorCode(), errorCode);
    if (errorCode == 0)
        QCOMPARE(file.errorString(), QStringLiteral("Der Ordner existiert bereits"));
    QCOMPARE(current->id(), QStringLiteral("appDataFolder"));
    QCOMPARE(m_emulator.files().size(), filesBefore);
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
    const int mark = m_emulator.nextRequest();
    QVERIFY(file.rename(QUrl(to)));
    QCOMPARE(file.errorCode(), 0);
    QCOMPARE(file.fileId(), sourceId);
    QCOMPARE(id(QStringLiteral("/docs/b.txt")), sourceId);
    QVERIFY(m_emulator.fileAt(QStringLiteral("/docs/a.txt")).isEmpty());
    QCOMPARE(m_emulator.files().size(), filesBefore - (victimId.isEmpty() ? 0 : 1));

    QStringList writes;
    for (const LoggedRequest &request : requestsSince(mark)) {
        if (request.method() != QLatin1String("GET"))
            writes.append(request.method() + QLatin1Char(' ') + request.target());
    }
    QStringList expected { QStringLiteral("PATCH /drive/v3/files/%1?").arg(sourceId) };
    if (!victimId.isEmpty())
        expected.prepend(QStringLiteral("DELETE /drive/v3/files/") + victimId);
    QCOMPARE(writes, expected);
    const LoggedRequest patch = requestsSince(mark).last();
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
    QSignalSpy listed(&file, &CloudFile::objectList);
    const int mark = m_emulator.nextRequest();
    QVERIFY(file.listObjects(docs.get()));
    QCOMPARE(requestsSince(mark).first().q(),
             QStringLiteral("trashed=false and '%1' in parents").arg(docs->id()));
    const QList<CloudObject *> objects = listed.at(0).at(0).value<QList<CloudObject *>>();
    QCOMPARE(objects.size(), 2);
    QCOMPARE(objects.at(0)->fileName() + objects.at(1)->fileName(), QStringLiteral("a.txtsub"));
    QVERIFY(objects.at(1)->isFolder());
    qDeleteAll(objects);

    // An object without an identifier lists the whole space, trash left out.
    GoogleFileObject nameless;
    nameless.from(QJsonObject());
    QVERIFY(file.listObjects(&nameless));
    const QList<CloudObject *> everything = listed.at(1).at(0).value<QList<CloudObject *>>();
    QCOMPARE(everything.size(), 4);
    qDeleteAll(everything);
}

// What a listing answered other than with a whole page of files gives: a failure emits nothing;
// a success whose body is not JSON counts as an empty folder; of a short page, only that page is
// seen, as no page token is ever asked for.
void TestGoogleFile::listingAnswers_data()
{
    QTest::addColumn<QJsonObject>("answer");
    QTest::addColumn<int>("listed"); // -1 for nothing emitted

    QTest::newRow("service error") << json(R"({"status": 500})") << -1;
    QTest::newRow("200, not JSON")
            << json(R"({"status": 200, "body": "<html>busy</html>", "contentType": "text/html"})")
            << 0;
    QTest::newRow("a short page") << json(R"({"action": "shortPage"})") << 1;
}

void TestGoogleFile::listingAnswers()
{
    QFETCH(QJsonObject, answer);
    QFETCH(int, listed);

    for (const char *path : { "/a.txt", "/b.txt", "/c.txt" })
        seed(QString::fromLatin1(path), "x");
    answer.insert(QStringLiteral("path"), QStringLiteral("/drive/v3/files"));
    m_emulator.addFault(answer);
    ProbedFile file(m_drive.flow(), QString());
    std::unique_ptr<CloudObject> root(file.getCloudObject());
    QSignalSpy emitted(&file, &CloudFile::objectList);
    QCOMPARE(file.listObjects(root.get()), listed >= 0);
    QCOMPARE(emitted.count(), listed >= 0 ? 1 : 0);
    if (listed >= 0) {
        const QList<CloudObject *> objects = emitted.at(0).at(0).value<QList<CloudObject *>>();
        QCOMPARE(objects.size(), listed);
        qDeleteAll(objects);
    }
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

    const QList<LoggedRequest> requests = requestsSince(m_mark);
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests.first().status(), 401);
    QCOMPARE(debug.debugLines(),
             QStringList(QStringLiteral("bool GoogleFile::listObjects(const QString&, "
                                        "QList<CloudObject*>&) \"%1\"")
                                 .arg(file.errorString())));
}

QTEST_MAIN(TestGoogleFile)
#include "tst_googlefile.moc"
