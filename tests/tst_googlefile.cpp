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
const QString Fields =
        QStringLiteral("files(id, name, parents, mimeType, size, modifiedTime, md5Checksum)");
const char *const ListSignature =
        "bool GoogleFile::listObjects(const QString&, QList<CloudObject*>&)";

QString md5(const QByteArray &data)
{
    return QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex());
}

// The metadata part of a new file's upload, as the plug-in writes it.
QByteArray uploadMetadata(const QByteArray &name, const QByteArray &parent)
{
    return "{\n    \"mimeType\": \"application/tarnwick\",\n    \"name\": \"" + name
            + "\",\n    \"parents\": [\n        \"" + parent + "\"\n    ]\n}\n";
}

QByteArray multipart(const QByteArray &metadata, const QByteArray &content)
{
    return "--tarnwick_boundary\nContent-Type: application/json; charset=UTF-8\n\n" + metadata
            + "--tarnwick_boundary\nContent-Type: application/tarnwick\n\n" + content
            + "\n--tarnwick_boundary--\n";
}

enum class Operation { Download, Upload, Copy, Rename, Remove };
} // namespace
Q_DECLARE_METATYPE(Operation)

// The Drive back end against the emulator: results, request shapes, errors.
class TestGoogleFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void resolvePaths_data();
    void resolvePaths();
    void lookupQueries();
    void duplicateNamesFirstWins();
    void apostropheMakesAMalformedQuery();
    void missingPathsSendOnlyLookups_data();
    void missingPathsSendOnlyLookups();

    void download();
    void downloadChecksums_data();
    void downloadChecksums();
    void downloadOfAFolder();

    void uploadCreatesAFile_data();
    void uploadCreatesAFile();
    void uploadReplacesContent();
    void uploadOnEveryWriteWithThresholdZero();

    void mkdirCreatesAndMovesDown();
    void mkdirRefuses_data();
    void mkdirRefuses();
    void errorsInTheUsersLanguage_data();
    void errorsInTheUsersLanguage();

    void copyLandsBesideTheSource_data();
    void copyLandsBesideTheSource();

    void renameRemovesTheDestinationFirst();
    void renameOntoItselfDeletesTheFile();
    void renameToAnotherFolderRenamesInPlace();

    void removeByUrlAndByObject();

    void listObjectsEmitsFilledObjects();
    void listingAnswers_data();
    void listingAnswers();
    void onlyTheFirstPageIsRead();
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
    QString bearer() const { return QStringLiteral("Bearer ") + m_drive.flow()->token(); }

    AuthorisedDrive m_drive;
    EmulatorProcess &m_emulator { m_drive.emulator() };
};

void TestGoogleFile::initTestCase()
{
    QVERIFY(m_drive.start(QStringLiteral("tst_googlefile")));
}

void TestGoogleFile::cleanupTestCase()
{
    m_drive.stop();
}

void TestGoogleFile::init()
{
    m_drive.reset();
}

void TestGoogleFile::resolvePaths_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("objectPath"); // whose object comes back, "" for the root
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("errorCode");

    using namespace Cloud;
    QTest::newRow("file found") << "gdapp:/docs/a.txt" << int(PathFound) << "/docs/a.txt"
                                << "a.txt" << 0;
    QTest::newRow("folder found") << "gdapp:/docs" << int(PathFound) << "/docs"
                                  << "docs" << 0;
    QTest::newRow("only the folder") << "gdapp:/docs/new.txt" << int(ParentFound) << "/docs"
                                     << "docs" << int(PathNotFound);
    QTest::newRow("folder missing") << "gdapp:/missing/a.txt" << int(NothingFound) << ""
                                    << "" << int(PathNotFound);
    QTest::newRow("file used as a folder")
            << "gdapp:/docs/a.txt/deeper" << int(NothingFound) << "/docs"
            << "docs" << int(PathNotFound);
    QTest::newRow("the root") << "gdapp:/" << int(ParentFound) << ""
                              << "" << int(PathNotFound);
}

void TestGoogleFile::resolvePaths()
{
    QFETCH(QString, url);
    QFETCH(QString, objectPath);
    m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "a");

    ProbedFile file(m_drive.flow(), url);
    int status = -1;
    std::unique_ptr<CloudObject> object(file.getObjectFromPath(QUrl(url), status));
    QVERIFY(object);
    QTEST(status, "status");
    QTEST(file.errorCode(), "errorCode");
    QTEST(object->fileName(), "name");
    QCOMPARE(object->id(), objectPath.isEmpty() ? QStringLiteral("appDataFolder") : id(objectPath));
    // The path is not stored in a found object.
    QCOMPARE(object->filePath(), QStringLiteral("/"));
    if (status == 2)
        QCOMPARE(static_cast<GoogleFileObject *>(object.get())->parents(),
                 objectPath == QLatin1String("/docs/a.txt")
                         ? QList<QString> { id(QStringLiteral("/docs")) }
                         : QList<QString> {});
}

void TestGoogleFile::lookupQueries()
{
    m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "a");
    const QString docs = id(QStringLiteral("/docs"));
    const int mark = m_emulator.nextRequest();
    ProbedFile file(m_drive.flow(), QString());
    int status = 0;
    delete file.getObjectFromPath(QUrl(QStringLiteral("gdapp:/docs/a.txt")), status);
    QCOMPARE(status, Cloud::PathFound);

    const QList<LoggedRequest> requests = requestsSince(mark);
    QCOMPARE(requests.size(), 2);
    const QStringList expected {
        QStringLiteral("'appDataFolder' in parents and name='docs' and trashed=false and mimeType= "
                       "'application/vnd.google-apps.folder'"),
        QStringLiteral("'%1' in parents and name='a.txt' and trashed=false").arg(docs),
    };
    for (int i = 0; i < 2; ++i) {
        const LoggedRequest &request = requests.at(i);
        QCOMPARE(request.method(), QStringLiteral("GET"));
        QCOMPARE(request.path(), QStringLiteral("/drive/v3/files"));
        QCOMPARE(request.queryItems(),
                 (QList<QPair<QString, QString>> {
                         { QStringLiteral("spaces"), QStringLiteral("appDataFolder") },
                         { QStringLiteral("q"), expected.at(i) },
                         { QStringLiteral("fields"), Fields } }));
        QCOMPARE(request.header(QStringLiteral("Authorization")), bearer());
        QVERIFY(request.header(QStringLiteral("User-Agent")) != QLatin1String("Tarnwick"));
        QVERIFY(!request.headerNames().contains(QStringLiteral("content-type")));
    }
}

void TestGoogleFile::duplicateNamesFirstWins()
{
    const QString first = seed(QStringLiteral("/dup.txt"), "first");
    seed(QStringLiteral("/dup.txt"), "second");
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/dup.txt"));
    int status = 0;
    std::unique_ptr<CloudObject> object(file.getObjectFromPath(file.filename(false), status));
    QCOMPARE(status, Cloud::PathFound);
    QCOMPARE(object->id(), first);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("first"));
}

void TestGoogleFile::apostropheMakesAMalformedQuery()
{
    m_emulator.seedFile(QStringLiteral("/it's.txt"), "x");
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/it's.txt"));
    MessageCapture debug;
    int status = -1;
    std::unique_ptr<CloudObject> object(file.getObjectFromPath(file.filename(false), status));
    QCOMPARE(status, Cloud::ParentFound);
    QCOMPARE(object->id(), QStringLiteral("appDataFolder"));
    QCOMPARE(file.errorCode(), Cloud::PathNotFound);
    QCOMPARE(debug.debugLines().size(), 1);
    QVERIFY2(debug.debugLines().first().startsWith(QLatin1String(ListSignature)
                                                   + QLatin1String(" \"")),
             qPrintable(debug.debugLines().first()));
}

// An operation on a path that does not resolve fails with 403 after the lookups, and sends
// nothing else: no download, upload, copy or deletion reaches the service.
void TestGoogleFile::missingPathsSendOnlyLookups_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QString>("url");
    QTest::addColumn<int>("lookups");

    QTest::newRow("download") << Operation::Download << "gdapp:/missing.txt" << 1;
    QTest::newRow("upload into a missing folder") << Operation::Upload << "gdapp:/none/x.txt" << 1;
    QTest::newRow("copy") << Operation::Copy << "gdapp:/docs/missing.txt" << 2;
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
    if (operation != Operation::Upload)
        file.close();
    const int mark = m_emulator.nextRequest();
    const QUrl other(QStringLiteral("gdapp:/other.txt"));
    bool done = true;
    switch (operation) {
    case Operation::Download:
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

void TestGoogleFile::download()
{
    QByteArray content(4 * 1024 * 1024, Qt::Uninitialized);
    for (int i = 0; i < content.size(); ++i)
        content[i] = char(i * 7);
    const QString fileId = seed(QStringLiteral("/docs/a.txt"), content);
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/docs/a.txt"));
    QSignalSpy progress(&file, &CloudFile::progress);
    const int mark = m_emulator.nextRequest();
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.errorCode(), 0);
    QCOMPARE(file.pos(), qint64(0));
    QCOMPARE(file.readAll(), content);
    QCOMPARE(file.fileId(), fileId);

    const QList<LoggedRequest> requests = requestsSince(mark);
    QCOMPARE(requests.size(), 3);
    const LoggedRequest &media = requests.last();
    QCOMPARE(media.method(), QStringLiteral("GET"));
    QCOMPARE(media.target(), QStringLiteral("/drive/v3/files/%1?alt=media").arg(fileId));
    QCOMPARE(media.header(QStringLiteral("Authorization")), bearer());
    QVERIFY(media.header(QStringLiteral("User-Agent")) != QLatin1String("Tarnwick"));

    // Percentages that only grow, up to 100.
    QVERIFY(!progress.isEmpty());
    int previous = 0;
    for (const QList<QVariant> &arguments : progress) {
        QVERIFY(arguments.at(0).toInt() >= previous);
        previous = arguments.at(0).toInt();
    }
    QCOMPARE(previous, 100);
}

void TestGoogleFile::downloadChecksums_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("reported"); // checksum the service reports; "-" for its own
    QTest::addColumn<bool>("ok");

    QTest::newRow("upper-case checksum") << QByteArray("abc") << md5("abc").toUpper() << true;
    QTest::newRow("empty file") << QByteArray() << "-" << true;
    QTest::newRow("no checksum") << QByteArray("abc") << "" << false;
}

void TestGoogleFile::downloadChecksums()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, reported);
    QFETCH(bool, ok);

    QJsonObject extra;
    if (reported != QLatin1String("-"))
        extra.insert(QStringLiteral("md5Checksum"), reported);
    const QString fileId = seed(QStringLiteral("/f.bin"), content, extra);
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/f.bin"));
    MessageCapture debug;
    QCOMPARE(file.open(QIODevice::ReadOnly), ok);
    QCOMPARE(file.buffer(), content); // received bytes stay, checked or not
    QCOMPARE(file.fileId(), fileId);
    QVERIFY(file.isOpen());
    if (ok) {
        QCOMPARE(file.errorCode(), 0);
        QVERIFY(debug.debugLines().isEmpty());
    } else {
        QCOMPARE(file.errorCode(), Cloud::CorruptedData);
        QCOMPARE(file.errorString(), QStringLiteral("Les données reçues sont corrompues"));
        QCOMPARE(debug.debugLines(),
                 QStringList(QStringLiteral("virtual bool GoogleFile::getFile() \"Les données "
                                            "reçues sont corrompues\"")));
    }
}

void TestGoogleFile::downloadOfAFolder()
{
    m_emulator.seedFolder(QStringLiteral("/docs"));
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/docs"));
    MessageCapture debug;
    // No folder check before the request: the service refuses it.
    QVERIFY(!file.open(QIODevice::ReadOnly));
    QCOMPARE(file.errorCode(), int(QNetworkReply::ContentAccessDenied));
    QCOMPARE(file.fileId(), id(QStringLiteral("/docs")));
    QCOMPARE(debug.debugLines(),
             QStringList(QStringLiteral("virtual bool GoogleFile::getFile() \"%1\"")
                                 .arg(file.errorString())));
}

// A new file goes up in one multipart request: its metadata, then its content.
void TestGoogleFile::uploadCreatesAFile_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("in a folder") << "gdapp:/docs/new.txt" << QByteArray("new.txt")
                                 << QByteArray("hello, drive");
    QTest::newRow("top level") << "gdapp:/top.txt" << QByteArray("top.txt") << QByteArray("t");
    QTest::newRow("empty buffer") << "gdapp:/empty.txt" << QByteArray("empty.txt") << QByteArray();
    QTest::newRow("boundary inside the content")
            << "gdapp:/b.txt" << QByteArray("b.txt") << QByteArray("x\n--tarnwick_boundary\ny\r\n");
    QTest::newRow("name outside ASCII")
            << "gdapp:/%C3%A9t%C3%A9.txt" << QByteArray("\xc3\xa9t\xc3\xa9.txt") << QByteArray("e");
}

void TestGoogleFile::uploadCreatesAFile()
{
    QFETCH(QString, url);
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, content);

    m_emulator.seedFolder(QStringLiteral("/docs"));
    const QString folder = QUrl(url).path().section(QLatin1Char('/'), 0, -2);
    const QByteArray parent =
            (folder.isEmpty() ? QStringLiteral("appDataFolder") : id(folder)).toLatin1();
    ProbedFile file(m_drive.flow(), url);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    const int mark = m_emulator.nextRequest();
    QSignalSpy progress(&file, &CloudFile::progress);
    QVERIFY(file.flush());
    QCOMPARE(file.errorCode(), 0);
    QCOMPARE(progress.last().at(0).toInt(), 100);

    const QJsonObject stored =
            m_emulator.fileAt(folder + QLatin1Char('/') + QString::fromUtf8(name));
    QCOMPARE(stored.value(QStringLiteral("mimeType")).toString(),
             QStringLiteral("application/tarnwick"));
    QCOMPARE(stored.value(QStringLiteral("md5Checksum")).toString(), md5(content));
    QCOMPARE(file.fileId(), stored.value(QStringLiteral("id")).toString());

    const LoggedRequest upload = requestsSince(mark).last();
    QCOMPARE(upload.method(), QStringLiteral("POST"));
    QCOMPARE(upload.target(), QStringLiteral("/upload/drive/v3/files?&uploadType=multipart"));
    QCOMPARE(upload.header(QStringLiteral("User-Agent")), QStringLiteral("Tarnwick"));
    QCOMPARE(upload.header(QStringLiteral("Authorization")), bearer());
    QCOMPARE(upload.header(QStringLiteral("Content-Type")),
             QStringLiteral("multipart/related; boundary=tarnwick_boundary"));
    const QByteArray expected = multipart(uploadMetadata(name, parent), content);
    QCOMPARE(upload.body(), expected);
    QCOMPARE(upload.header(QStringLiteral("Content-Length")), QString::number(expected.size()));
    QCOMPARE(upload.headerNames().count(QStringLiteral("content-length")), 1);
}

void TestGoogleFile::uploadReplacesContent()
{
    const QString fileId = seed(QStringLiteral("/docs/keep.txt"), "old",
                                { { QStringLiteral("mimeType"), QStringLiteral("text/plain") } });
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/docs/keep.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Append));
    QCOMPARE(file.pos(), qint64(3));
    file.write(" and new");
    const int mark = m_emulator.nextRequest();
    QVERIFY(file.flush());
    QCOMPARE(file.fileId(), fileId);

    const LoggedRequest upload = requestsSince(mark).last();
    QCOMPARE(upload.method(), QStringLiteral("PATCH"));
    QCOMPARE(upload.target(),
             QStringLiteral("/upload/drive/v3/files/%1?&uploadType=media").arg(fileId));
    QCOMPARE(upload.body(), QByteArray("old and new"));
    QCOMPARE(upload.header(QStringLiteral("User-Agent")), QStringLiteral("Tarnwick"));
    QVERIFY(!upload.headerNames().contains(QStringLiteral("content-type")));

    // Same file, same name and type, new content.
    const QJsonObject stored = m_emulator.fileAt(QStringLiteral("/docs/keep.txt"));
    QCOMPARE(stored.value(QStringLiteral("id")).toString(), fileId);
    QCOMPARE(stored.value(QStringLiteral("mimeType")).toString(), QStringLiteral("text/plain"));
    QCOMPARE(m_emulator.content(fileId), QByteArray("old and new"));
}

void TestGoogleFile::uploadOnEveryWriteWithThresholdZero()
{
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/each.txt"));
    file.setFlushThreshold(0);
    QVERIFY(file.open(QIODevice::WriteOnly));
    const int mark = m_emulator.nextRequest();
    file.write("one ");
    file.write("two");
    QStringList uploads;
    for (const LoggedRequest &request : requestsSince(mark)) {
        if (request.path().startsWith(QLatin1String("/upload")))
            uploads.append(request.method());
    }
    // The first write created the file, the second replaced its content.
    QCOMPARE(uploads, QStringList({ QStringLiteral("POST"), QStringLiteral("PATCH") }));
    QCOMPARE(m_emulator.files().size(), 1);
    QCOMPARE(m_emulator.content(id(QStringLiteral("/each.txt"))), QByteArray("one two"));
}

// mkdir makes the folder in the current one and moves the current object down into it, so the
// same name twice nests.
void TestGoogleFile::mkdirCreatesAndMovesDown()
{
    ProbedFile file(m_drive.flow(), QString());
    std::unique_ptr<CloudObject> current(file.getCloudObject());
    const int mark = m_emulator.nextRequest();
    QVERIFY(file.mkdir(current.get(), QStringLiteral("made")));
    QCOMPARE(file.errorCode(), 0);

    const QString made = id(QStringLiteral("/made"));
    QVERIFY(!made.isEmpty());
    QCOMPARE(current->id(), made);
    QCOMPARE(current->fileName(), QStringLiteral("made"));
    QCOMPARE(current->fullPath(), QStringLiteral("/made"));
    QCOMPARE(static_cast<GoogleFileObject *>(current.get())->parents(),
             QList<QString> { QStringLiteral("appDataFolder") });

    const QList<LoggedRequest> requests = requestsSince(mark);
    QCOMPARE(requests.size(), 2);
    QCOMPARE(requests.at(0).q(),
             QStringLiteral("trashed=false and 'appDataFolder' in parents and name = 'made'"));
    const LoggedRequest &create = requests.at(1);
    QCOMPARE(create.method(), QStringLiteral("POST"));
    QCOMPARE(create.target(), QStringLiteral("/drive/v3/files"));
    QCOMPARE(create.header(QStringLiteral("Content-Type")), QStringLiteral("application/json"));
    QVERIFY(create.header(QStringLiteral("User-Agent")) != QLatin1String("Tarnwick"));
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
    QTest::addColumn<QJsonObject>("existing"); // what the emulator holds at /name
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("errorCode");
    QTest::addColumn<QString>("errorString");

    const QString taken = QStringLiteral("Le répertoire existe déjà");
    const QJsonObject file { { QStringLiteral("path"), QStringLiteral("/name") } };
    QJsonObject folder = file;
    folder.insert(QStringLiteral("folder"), true);
    QTest::newRow("a file of that name") << file << "name" << 0 << taken;
    QTest::newRow("a folder of that name") << folder << "name" << 0 << taken;
    // The check's query breaks on the quote: the listing's error is the answer.
    QTest::newRow("a quote in the name")
            << QJsonObject() << "it's" << int(QNetworkReply::ProtocolInvalidOperationError) << "";
}

void TestGoogleFile::mkdirRefuses()
{
    QFETCH(QJsonObject, existing);
    QFETCH(QString, name);
    QFETCH(QString, errorString);

    if (!existing.isEmpty())
        m_emulator.control("POST", QStringLiteral("files"), existing);
    const int filesBefore = m_emulator.files().size();
    ProbedFile file(m_drive.flow(), QString());
    std::unique_ptr<CloudObject> current(file.getCloudObject());
    MessageCapture debug;
    QVERIFY(!file.mkdir(current.get(), name));
    QTEST(file.errorCode(), "errorCode");
    if (!errorString.isEmpty())
        QCOMPARE(file.errorString(), errorString);
    QCOMPARE(current->id(), QStringLiteral("appDataFolder"));
    QCOMPARE(m_emulator.files().size(), filesBefore);
}

// The back end's own text for a name taken, with a host's catalogue installed. Its other one,
// for corrupted data, is tst_gdappcli's pluginTextsInTheUsersLanguage.
void TestGoogleFile::errorsInTheUsersLanguage_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("taken");

    QTest::newRow("English") << "en"
                             << "The folder already exists";
    QTest::newRow("German") << "de"
                            << "Der Ordner existiert bereits";
    QTest::newRow("French") << "fr"
                            << "Le répertoire existe déjà";
}

void TestGoogleFile::errorsInTheUsersLanguage()
{
    QFETCH(QString, language);

    const LanguageScope scope(language);
    QVERIFY(scope.isLoaded());
    seed(QStringLiteral("/f.bin"), "abc");
    ProbedFile folders(m_drive.flow(), QString());
    std::unique_ptr<CloudObject> top(folders.getCloudObject());
    QVERIFY(!folders.mkdir(top.get(), QStringLiteral("f.bin")));
    QTEST(folders.errorString(), "taken");
}

void TestGoogleFile::copyLandsBesideTheSource_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("folder");

    QTest::newRow("in a folder") << "/docs/a.txt"
                                 << "/docs";
    QTest::newRow("at the top") << "/a.txt"
                                << "";
}

void TestGoogleFile::copyLandsBesideTheSource()
{
    QFETCH(QString, source);
    QFETCH(QString, folder);

    const QString sourceId =
            seed(source, "payload", { { QStringLiteral("mimeType"), QStringLiteral("text/csv") } });
    m_emulator.seedFile(folder + QStringLiteral("/b.txt"), "already there");
    const QString parent = folder.isEmpty() ? QStringLiteral("appDataFolder") : id(folder);

    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:") + source);
    const int mark = m_emulator.nextRequest();
    // The destination's folder part is ignored.
    QVERIFY(file.copy(QUrl(QStringLiteral("gdapp:/elsewhere/b.txt"))));
    QCOMPARE(file.fileId(), sourceId);

    const LoggedRequest post = requestsSince(mark).last();
    QCOMPARE(post.target(), QStringLiteral("/drive/v3/files/%1/copy").arg(sourceId));
    QCOMPARE(post.header(QStringLiteral("Content-Type")), QStringLiteral("application/json"));
    QCOMPARE(post.body(),
             QStringLiteral("{\n    \"mimeType\": \"text/csv\",\n    \"name\": \"b.txt\",\n"
                            "    \"parents\": [\n        \"%1\"\n    ]\n}\n")
                     .arg(parent)
                     .toUtf8());
    // A second b.txt beside the first; the existing one is left alone.
    QByteArrayList contents;
    for (const QJsonValue &entry : m_emulator.files()) {
        const QJsonObject object = entry.toObject();
        if (object.value(QStringLiteral("path")).toString() == folder + QStringLiteral("/b.txt"))
            contents.append(m_emulator.content(object.value(QStringLiteral("id")).toString()));
    }
    std::sort(contents.begin(), contents.end());
    QCOMPARE(contents, QByteArrayList({ "already there", "payload" }));
}

void TestGoogleFile::renameRemovesTheDestinationFirst()
{
    const QString sourceId = seed(QStringLiteral("/docs/a.txt"), "source");
    const QString destinationId = seed(QStringLiteral("/docs/b.txt"), "destination");
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/docs/a.txt"));
    const int mark = m_emulator.nextRequest();
    QVERIFY(file.rename(QUrl(QStringLiteral("gdapp:/docs/b.txt"))));
    QCOMPARE(file.fileId(), sourceId);

    QList<LoggedRequest> writes;
    for (const LoggedRequest &request : requestsSince(mark)) {
        if (request.method() != QLatin1String("GET"))
            writes.append(request);
    }
    QCOMPARE(writes.size(), 2);
    QCOMPARE(writes.at(0).method(), QStringLiteral("DELETE"));
    QCOMPARE(writes.at(0).target(), QStringLiteral("/drive/v3/files/") + destinationId);
    const LoggedRequest &patch = writes.at(1);
    QCOMPARE(patch.method(), QStringLiteral("PATCH"));
    QCOMPARE(patch.target(), QStringLiteral("/drive/v3/files/%1?").arg(sourceId));
    QCOMPARE(patch.header(QStringLiteral("User-Agent")), QStringLiteral("Tarnwick"));
    QCOMPARE(patch.header(QStringLiteral("Content-Type")), QStringLiteral("application/json"));
    QCOMPARE(patch.body(), QByteArray("{\n    \"name\": \"b.txt\"\n}\n"));
    const QStringList names = patch.headerNames();
    QVERIFY(names.indexOf(QStringLiteral("user-agent"))
            < names.indexOf(QStringLiteral("authorization")));
    QVERIFY(names.indexOf(QStringLiteral("authorization"))
            < names.indexOf(QStringLiteral("content-type")));

    QCOMPARE(id(QStringLiteral("/docs/b.txt")), sourceId);
    QVERIFY(m_emulator.fileAt(QStringLiteral("/docs/a.txt")).isEmpty());
}

void TestGoogleFile::renameOntoItselfDeletesTheFile()
{
    m_emulator.seedFile(QStringLiteral("/self.txt"), "gone soon");
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/self.txt"));
    QVERIFY(!file.rename(QUrl(QStringLiteral("gdapp:/self.txt"))));
    QCOMPARE(file.errorCode(), Cloud::PathNotFound);
    QVERIFY(m_emulator.files().isEmpty());
}

void TestGoogleFile::renameToAnotherFolderRenamesInPlace()
{
    const QString sourceId = seed(QStringLiteral("/docs/a.txt"), "a");
    m_emulator.seedFile(QStringLiteral("/other/b.txt"), "victim");
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/docs/a.txt"));
    QVERIFY(file.rename(QUrl(QStringLiteral("gdapp:/other/b.txt"))));
    QCOMPARE(id(QStringLiteral("/docs/b.txt")), sourceId);
    // The file of that name in the other folder went all the same.
    QVERIFY(m_emulator.fileAt(QStringLiteral("/other/b.txt")).isEmpty());
}

void TestGoogleFile::removeByUrlAndByObject()
{
    m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "a");
    m_emulator.seedFile(QStringLiteral("/docs/b.txt"), "b");
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/docs/a.txt"));
    QVERIFY(file.remove(QUrl(QStringLiteral("gdapp:/docs/a.txt"))));
    QVERIFY(m_emulator.fileAt(QStringLiteral("/docs/a.txt")).isEmpty());

    int status = 0;
    std::unique_ptr<CloudObject> folder(
            file.getObjectFromPath(QUrl(QStringLiteral("gdapp:/docs")), status));
    const QString folderId = folder->id();
    const int mark = m_emulator.nextRequest();
    QVERIFY(file.remove(folder.get()));
    QCOMPARE(folder->id(), folderId); // the object is left as it was
    const QList<LoggedRequest> requests = requestsSince(mark);
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests.first().method(), QStringLiteral("DELETE"));
    QCOMPARE(requests.first().target(), QStringLiteral("/drive/v3/files/") + folderId);
    QCOMPARE(requests.first().header(QStringLiteral("Authorization")), bearer());
    QVERIFY(m_emulator.files().isEmpty());
}

void TestGoogleFile::listObjectsEmitsFilledObjects()
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
    QCOMPARE(listed.count(), 1);
    const QList<CloudObject *> objects = listed.at(0).at(0).value<QList<CloudObject *>>();
    QCOMPARE(objects.size(), 2);
    QCOMPARE(objects.at(0)->fileName(), QStringLiteral("a.txt"));
    QCOMPARE(objects.at(0)->bytes(), quint64(3));
    QCOMPARE(objects.at(0)->etag(), md5("abc"));
    QVERIFY(objects.at(0)->lastModified().isValid());
    QVERIFY(!objects.at(0)->isFolder());
    QCOMPARE(objects.at(1)->fileName(), QStringLiteral("sub"));
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

// What a listing answered other than with a page of files gives: a failure emits nothing; a
// success whose body is not JSON counts as an empty folder.
void TestGoogleFile::listingAnswers_data()
{
    QTest::addColumn<QJsonObject>("answer");
    QTest::addColumn<bool>("listed");

    QTest::newRow("service error") << json(R"({"status": 500})") << false;
    QTest::newRow("200, not JSON")
            << json(R"({"status": 200, "body": "<html>busy</html>", "contentType": "text/html"})")
            << true;
}

void TestGoogleFile::listingAnswers()
{
    QFETCH(QJsonObject, answer);
    QFETCH(bool, listed);

    m_emulator.seedFile(QStringLiteral("/a.txt"), "a");
    answer.insert(QStringLiteral("path"), QStringLiteral("/drive/v3/files"));
    m_emulator.addFault(answer);
    ProbedFile file(m_drive.flow(), QString());
    std::unique_ptr<CloudObject> root(file.getCloudObject());
    QSignalSpy emitted(&file, &CloudFile::objectList);
    MessageCapture debug;
    QCOMPARE(file.listObjects(root.get()), listed);
    QCOMPARE(emitted.count(), listed ? 1 : 0);
    if (listed)
        QVERIFY(emitted.at(0).at(0).value<QList<CloudObject *>>().isEmpty());
    QCOMPARE(debug.debugLines().size(), listed ? 0 : 1);
}

// Contract: a listing reads the first page only; no page token is ever asked for. When the
// service answers with a short page, as it may, the host sees only that page: a folder shows its
// first entries, and a file past them is reported missing.
void TestGoogleFile::onlyTheFirstPageIsRead()
{
    for (const char *path : { "/a.txt", "/b.txt", "/c.txt" })
        seed(QString::fromLatin1(path), "x");
    m_emulator.addFault(json(R"({"path": "/drive/v3/files", "action": "shortPage", "count": -1})"));
    ProbedFile file(m_drive.flow(), QString());
    std::unique_ptr<CloudObject> root(file.getCloudObject());
    QSignalSpy listed(&file, &CloudFile::objectList);
    const int mark = m_emulator.nextRequest();
    QVERIFY(file.listObjects(root.get()));
    const QList<CloudObject *> objects = listed.at(0).at(0).value<QList<CloudObject *>>();
    QCOMPARE(objects.size(), 1);
    QCOMPARE(objects.first()->fileName(), QStringLiteral("a.txt"));
    qDeleteAll(objects);
    const QList<LoggedRequest> requests = requestsSince(mark);
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests.first().queryItems().size(), 3); // spaces, q, fields: no pageToken

    ProbedFile hidden(m_drive.flow(), QStringLiteral("gdapp:/c.txt"));
    MessageCapture debug;
    QVERIFY(!hidden.open(QIODevice::ReadOnly));
    QCOMPARE(hidden.errorCode(), Cloud::PathNotFound);
}

// Contract: a file uses the flow's token as it is, expired or not; it never refreshes it.
void TestGoogleFile::expiredTokenIsSentAsItIs()
{
    m_emulator.seedFile(QStringLiteral("/a.txt"), "a");
    m_emulator.control("POST", QStringLiteral("tokens/expire"));
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/a.txt"));
    const int mark = m_emulator.nextRequest();
    MessageCapture debug;
    QVERIFY(!file.open(QIODevice::ReadOnly));
    QCOMPARE(file.errorCode(), Cloud::PathNotFound);

    const QList<LoggedRequest> requests = requestsSince(mark);
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests.first().header(QStringLiteral("Authorization")), bearer());
    QCOMPARE(requests.first().status(), 401);
    QVERIFY(debug.debugLines().first().startsWith(QLatin1String(ListSignature)));
}

QTEST_MAIN(TestGoogleFile)
#include "tst_googlefile.moc"
