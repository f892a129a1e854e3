// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "authoriseddrive.h"
#include "googlefile.h"
#include "googlefileobject.h"
#include "messagecapture.h"
#include "oauthgoogle.h"
#include "probedfile.h"

#include <QCryptographicHash>
#include <QNetworkReply>
#include <QtTest>

namespace {
const QString Folder = QStringLiteral("application/vnd.google-apps.folder");
const QString Fields =
        QStringLiteral("files(id, name, parents, mimeType, size, modifiedTime, md5Checksum)");
const char *const ListSignature =
        "bool GoogleFile::listObjects(const QString&, QList<CloudObject*>&)";

QString md5(const QByteArray &data)
{
    return QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex());
}

// One logged request, taken apart.
struct Logged
{
    explicit Logged(const QJsonObject &entry) : entry(entry) { }

    QString method() const { return entry.value(QStringLiteral("method")).toString(); }
    QString path() const { return entry.value(QStringLiteral("path")).toString(); }
    QString target() const { return entry.value(QStringLiteral("target")).toString(); }
    QByteArray body() const
    {
        return QByteArray::fromBase64(entry.value(QStringLiteral("body")).toString().toLatin1());
    }
    QList<QPair<QString, QString>> queryItems() const
    {
        QList<QPair<QString, QString>> items;
        for (QString pair :
             entry.value(QStringLiteral("query")).toString().split(QLatin1Char('&'))) {
            pair.replace(QLatin1Char('+'), QLatin1Char(' '));
            items.append({ QUrl::fromPercentEncoding(pair.section(QLatin1Char('='), 0, 0).toUtf8()),
                           QUrl::fromPercentEncoding(pair.section(QLatin1Char('='), 1).toUtf8()) });
        }
        return items;
    }
    QString q() const { return queryItems().value(1).second; }
    QStringList headerNames() const
    {
        QStringList names;
        for (const QJsonValue &header : entry.value(QStringLiteral("headers")).toArray())
            names.append(header.toArray().at(0).toString().toLower());
        return names;
    }
    QString header(const QString &name) const
    {
        for (const QJsonValue &header : entry.value(QStringLiteral("headers")).toArray()) {
            if (header.toArray().at(0).toString().compare(name, Qt::CaseInsensitive) == 0)
                return header.toArray().at(1).toString();
        }
        return QString();
    }

    QJsonObject entry;
};
} // namespace

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
    void nonAsciiNames();

    void download();
    void downloadChecksums_data();
    void downloadChecksums();
    void downloadOfAMissingPath();
    void downloadOfAFolder();
    void downloadProgress();

    void uploadCreatesAFile();
    void uploadBodies_data();
    void uploadBodies();
    void uploadReplacesContent();
    void uploadWithoutItsFolder();
    void uploadOnEveryWriteWithThresholdZero();
    void closeNeverUploads();
    void failedUploadKeepsTheRemoteFile();

    void mkdirCreatesAndMovesDown();
    void mkdirRefusesATakenName_data();
    void mkdirRefusesATakenName();
    void mkdirTwiceNests();

    void copyLandsBesideTheSource_data();
    void copyLandsBesideTheSource();
    void copyOfAMissingSource();

    void renameRemovesTheDestinationFirst();
    void renameOntoItselfDeletesTheFile();
    void renameToAnotherFolderRenamesInPlace();

    void removeByUrlAndByObject();
    void removeMissingSendsNothing();
    void removeWithAnEmptyIdentifier();

    void listObjectsEmitsFilledObjects();
    void serviceErrors_data();
    void serviceErrors();

private:
    QList<Logged> requestsSince(int mark);
    QString id(const QString &path)
    {
        return m_emulator.fileAt(path).value(QStringLiteral("id")).toString();
    }

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

QList<Logged> TestGoogleFile::requestsSince(int mark)
{
    QList<Logged> logged;
    for (const QJsonValue &entry : m_emulator.requests(mark))
        logged.append(Logged(entry.toObject()));
    return logged;
}

void TestGoogleFile::resolvePaths_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("objectPath"); // whose object comes back, "" for the root
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("errorCode");

    QTest::newRow("file found") << "gdapp:/docs/a.txt" << 2 << "/docs/a.txt"
                                << "a.txt" << 0;
    QTest::newRow("folder found") << "gdapp:/docs" << 2 << "/docs"
                                  << "docs" << 0;
    QTest::newRow("only the folder") << "gdapp:/docs/new.txt" << 1 << "/docs"
                                     << "docs" << 403;
    QTest::newRow("folder missing") << "gdapp:/missing/a.txt" << 0 << ""
                                    << "" << 403;
    QTest::newRow("file used as a folder") << "gdapp:/docs/a.txt/deeper" << 0 << "/docs"
                                           << "docs" << 403;
    QTest::newRow("the root") << "gdapp:/" << 1 << ""
                              << "" << 403;
}

void TestGoogleFile::resolvePaths()
{
    QFETCH(QString, url);
    QFETCH(QString, objectPath);
    m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "a");

    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(), QUrl(url), nullptr);
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
    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(), QUrl(), nullptr);
    int status = 0;
    delete file.getObjectFromPath(QUrl(QStringLiteral("gdapp:/docs/a.txt")), status);
    QCOMPARE(status, 2);

    const QList<Logged> requests = requestsSince(mark);
    QCOMPARE(requests.size(), 2);
    const QStringList expected {
        QStringLiteral("'appDataFolder' in parents and name='docs' and trashed=false and mimeType= "
                       "'application/vnd.google-apps.folder'"),
        QStringLiteral("'%1' in parents and name='a.txt' and trashed=false").arg(docs),
    };
    for (int i = 0; i < 2; ++i) {
        const Logged &request = requests.at(i);
        QCOMPARE(request.method(), QStringLiteral("GET"));
        QCOMPARE(request.path(), QStringLiteral("/drive/v3/files"));
        QCOMPARE(request.queryItems(),
                 (QList<QPair<QString, QString>> {
                         { QStringLiteral("spaces"), QStringLiteral("appDataFolder") },
                         { QStringLiteral("q"), expected.at(i) },
                         { QStringLiteral("fields"), Fields } }));
        QCOMPARE(request.header(QStringLiteral("Authorization")),
                 QStringLiteral("Bearer ") + m_drive.flow()->token());
        QVERIFY(request.header(QStringLiteral("User-Agent")) != QLatin1String("Tarnwick"));
        QVERIFY(!request.headerNames().contains(QStringLiteral("content-type")));
    }
}

void TestGoogleFile::duplicateNamesFirstWins()
{
    const QString first = m_emulator.seedFile(QStringLiteral("/dup.txt"), "first")
                                  .value(QStringLiteral("id"))
                                  .toString();
    m_emulator.seedFile(QStringLiteral("/dup.txt"), "second");
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/dup.txt"));
    int status = 0;
    std::unique_ptr<CloudObject> object(file.getObjectFromPath(file.filename(false), status));
    QCOMPARE(status, 2);
    QCOMPARE(object->id(), first);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("first"));
}

void TestGoogleFile::apostropheMakesAMalformedQuery()
{
    m_emulator.seedFile(QStringLiteral("/it's.txt"), "x");
    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(),
                    QUrl(QStringLiteral("gdapp:/it's.txt")), nullptr);
    MessageCapture debug;
    int status = -1;
    std::unique_ptr<CloudObject> object(file.getObjectFromPath(file.filename(false), status));
    QCOMPARE(status, 1);
    QCOMPARE(object->id(), QStringLiteral("appDataFolder"));
    QCOMPARE(file.errorCode(), 403);
    QCOMPARE(debug.debugLines().size(), 1);
    QVERIFY2(debug.debugLines().first().startsWith(QLatin1String(ListSignature)
                                                   + QLatin1String(" \"")),
             qPrintable(debug.debugLines().first()));
}

void TestGoogleFile::nonAsciiNames()
{
    m_emulator.seedFile(QStringLiteral("/données/été.txt"), "chaud");
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/donn%C3%A9es/%C3%A9t%C3%A9.txt"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("chaud"));
}

void TestGoogleFile::download()
{
    const QByteArray content = QByteArray("line\n").repeated(1000);
    const QString fileId = m_emulator.seedFile(QStringLiteral("/docs/a.txt"), content)
                                   .value(QStringLiteral("id"))
                                   .toString();
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/docs/a.txt"));
    const int mark = m_emulator.nextRequest();
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.errorCode(), 0);
    QCOMPARE(file.buffer(), content);
    QCOMPARE(file.pos(), qint64(0));
    QCOMPARE(file.readAll(), content);
    QCOMPARE(file.fileId(), fileId);

    const QList<Logged> requests = requestsSince(mark);
    QCOMPARE(requests.size(), 3);
    const Logged &media = requests.last();
    QCOMPARE(media.method(), QStringLiteral("GET"));
    QCOMPARE(media.target(), QStringLiteral("/drive/v3/files/%1?alt=media").arg(fileId));
    QCOMPARE(media.header(QStringLiteral("Authorization")),
             QStringLiteral("Bearer ") + m_drive.flow()->token());
    QVERIFY(media.header(QStringLiteral("User-Agent")) != QLatin1String("Tarnwick"));
}

void TestGoogleFile::downloadChecksums_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("reported"); // checksum the service reports; "-" for its own
    QTest::addColumn<bool>("ok");

    QTest::newRow("upper-case checksum") << QByteArray("abc") << md5("abc").toUpper() << true;
    QTest::newRow("empty file") << QByteArray() << "-" << true;
    QTest::newRow("mismatch") << QByteArray("abc") << QString(32, QLatin1Char('0')) << false;
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
    const QString fileId = m_emulator.seedFile(QStringLiteral("/f.bin"), content, extra)
                                   .value(QStringLiteral("id"))
                                   .toString();
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
        QCOMPARE(file.errorCode(), 299);
        QCOMPARE(file.errorString(), QStringLiteral("Les données reçues sont corrompues"));
        QCOMPARE(debug.debugLines(),
                 QStringList(QStringLiteral("virtual bool GoogleFile::getFile() \"Les données "
                                            "reçues sont corrompues\"")));
    }
}

void TestGoogleFile::downloadOfAMissingPath()
{
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/missing.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("earlier content");
    file.close();
    const int mark = m_emulator.nextRequest();
    QVERIFY(!file.open(QIODevice::ReadOnly));
    QCOMPARE(file.errorCode(), 403);
    QCOMPARE(file.buffer(), QByteArray("earlier content"));
    for (const Logged &request : requestsSince(mark))
        QCOMPARE(request.path(), QStringLiteral("/drive/v3/files"));
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
    QCOMPARE(debug.debugLines().size(), 1);
    QCOMPARE(debug.debugLines().first(),
             QStringLiteral("virtual bool GoogleFile::getFile() \"%1\"").arg(file.errorString()));
}

void TestGoogleFile::downloadProgress()
{
    QByteArray content(4 * 1024 * 1024, Qt::Uninitialized);
    for (int i = 0; i < content.size(); ++i)
        content[i] = char(i * 7);
    m_emulator.seedFile(QStringLiteral("/big.bin"), content);
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/big.bin"));
    QSignalSpy progress(&file, &CloudFile::progress);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(!progress.isEmpty());
    int previous = 0;
    for (const QList<QVariant> &arguments : progress) {
        const int percent = arguments.at(0).toInt();
        QVERIFY(percent >= previous && percent <= 100);
        previous = percent;
    }
    QCOMPARE(previous, 100);
}

void TestGoogleFile::uploadCreatesAFile()
{
    m_emulator.seedFolder(QStringLiteral("/docs"));
    const QString docs = id(QStringLiteral("/docs"));
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/docs/new.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("hello, drive");
    const int mark = m_emulator.nextRequest();
    QSignalSpy progress(&file, &CloudFile::progress);
    QVERIFY(file.flush());
    QCOMPARE(file.errorCode(), 0);
    QVERIFY(!progress.isEmpty());
    QCOMPARE(progress.last().at(0).toInt(), 100);

    const QJsonObject stored = m_emulator.fileAt(QStringLiteral("/docs/new.txt"));
    QCOMPARE(stored.value(QStringLiteral("mimeType")).toString(),
             QStringLiteral("application/tarnwick"));
    QCOMPARE(stored.value(QStringLiteral("md5Checksum")).toString(), md5("hello, drive"));
    QCOMPARE(file.fileId(), stored.value(QStringLiteral("id")).toString());

    const Logged upload = requestsSince(mark).last();
    QCOMPARE(upload.method(), QStringLiteral("POST"));
    QCOMPARE(upload.target(), QStringLiteral("/upload/drive/v3/files?&uploadType=multipart"));
    QCOMPARE(upload.header(QStringLiteral("User-Agent")), QStringLiteral("Tarnwick"));
    QCOMPARE(upload.header(QStringLiteral("Authorization")),
             QStringLiteral("Bearer ") + m_drive.flow()->token());
    QCOMPARE(upload.header(QStringLiteral("Content-Type")),
             QStringLiteral("multipart/related; boundary=tarnwick_boundary"));
    const QByteArray expected =
            "--tarnwick_boundary\n"
            "Content-Type: application/json; charset=UTF-8\n\n"
            "{\n    \"mimeType\": \"application/tarnwick\",\n    \"name\": \"new.txt\",\n"
            "    \"parents\": [\n        \""
            + docs.toLatin1()
            + "\"\n    ]\n}\n"
              "--tarnwick_boundary\n"
              "Content-Type: application/tarnwick\n\n"
              "hello, drive"
              "\n--tarnwick_boundary--\n";
    QCOMPARE(upload.body(), expected);
    QCOMPARE(upload.header(QStringLiteral("Content-Length")), QString::number(expected.size()));
    QCOMPARE(upload.headerNames().count(QStringLiteral("content-length")), 1);
}

void TestGoogleFile::uploadBodies_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("metadata");

    QTest::newRow("top level")
            << "gdapp:/top.txt" << QByteArray("t")
            << QByteArray("{\n    \"mimeType\": \"application/tarnwick\",\n    \"name\": "
                          "\"top.txt\",\n"
                          "    \"parents\": [\n        \"appDataFolder\"\n    ]\n}\n");
    QTest::newRow("empty buffer")
            << "gdapp:/empty.txt" << QByteArray()
            << QByteArray("{\n    \"mimeType\": \"application/tarnwick\",\n    \"name\": "
                          "\"empty.txt\",\n"
                          "    \"parents\": [\n        \"appDataFolder\"\n    ]\n}\n");
    QTest::newRow("boundary inside the content")
            << "gdapp:/b.txt" << QByteArray("x\n--tarnwick_boundary\ny\r\n")
            << QByteArray(
                       "{\n    \"mimeType\": \"application/tarnwick\",\n    \"name\": \"b.txt\",\n"
                       "    \"parents\": [\n        \"appDataFolder\"\n    ]\n}\n");
    QTest::newRow("name outside ASCII")
            << "gdapp:/%C3%A9t%C3%A9.txt" << QByteArray("e")
            << QByteArray("{\n    \"mimeType\": \"application/tarnwick\",\n    \"name\": "
                          "\"\xc3\xa9t\xc3\xa9.txt\",\n"
                          "    \"parents\": [\n        \"appDataFolder\"\n    ]\n}\n");
}

void TestGoogleFile::uploadBodies()
{
    QFETCH(QString, url);
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, metadata);

    ProbedFile file(m_drive.flow(), url);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    const int mark = m_emulator.nextRequest();
    QVERIFY(file.flush());
    QCOMPARE(requestsSince(mark).last().body(),
             "--tarnwick_boundary\nContent-Type: application/json; charset=UTF-8\n\n" + metadata
                     + "--tarnwick_boundary\nContent-Type: application/tarnwick\n\n" + content
                     + "\n--tarnwick_boundary--\n");
    const QString path = QUrl(url).path();
    QCOMPARE(m_emulator.content(id(path)), content);
}

void TestGoogleFile::uploadReplacesContent()
{
    const QString fileId =
            m_emulator
                    .seedFile(QStringLiteral("/docs/keep.txt"), "old",
                              { { QStringLiteral("mimeType"), QStringLiteral("text/plain") } })
                    .value(QStringLiteral("id"))
                    .toString();
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/docs/keep.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Append));
    QCOMPARE(file.pos(), qint64(3));
    file.write(" and new");
    const int mark = m_emulator.nextRequest();
    QVERIFY(file.flush());
    QCOMPARE(file.fileId(), fileId);

    const Logged upload = requestsSince(mark).last();
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

void TestGoogleFile::uploadWithoutItsFolder()
{
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/nofolder/x.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("x");
    const int mark = m_emulator.nextRequest();
    QVERIFY(!file.flush());
    QCOMPARE(file.errorCode(), 403);
    for (const Logged &request : requestsSince(mark))
        QVERIFY(!request.path().startsWith(QLatin1String("/upload")));
    QVERIFY(m_emulator.files().isEmpty());
}

void TestGoogleFile::uploadOnEveryWriteWithThresholdZero()
{
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/each.txt"));
    file.setFlushThreshold(0);
    QVERIFY(file.open(QIODevice::WriteOnly));
    const int mark = m_emulator.nextRequest();
    file.write("one ");
    file.write("two");
    int uploads = 0;
    for (const Logged &request : requestsSince(mark))
        uploads += request.path().startsWith(QLatin1String("/upload"));
    QCOMPARE(uploads, 2);
    QCOMPARE(m_emulator.content(id(QStringLiteral("/each.txt"))), QByteArray("one two"));
    // The first write created the file, the second replaced its content.
    QCOMPARE(m_emulator.files().size(), 1);
}

void TestGoogleFile::closeNeverUploads()
{
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/closed.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("never stored");
    const int mark = m_emulator.nextRequest();
    file.close();
    QVERIFY(requestsSince(mark).isEmpty());
}

void TestGoogleFile::failedUploadKeepsTheRemoteFile()
{
    const QString fileId = m_emulator.seedFile(QStringLiteral("/kept.txt"), "original")
                                   .value(QStringLiteral("id"))
                                   .toString();
    m_emulator.addFault({ { QStringLiteral("path"), QStringLiteral("/upload/*") },
                          { QStringLiteral("status"), 503 } });
    ProbedFile file(m_drive.flow(), QStringLiteral("gdapp:/kept.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("replacement");
    MessageCapture debug;
    QVERIFY(!file.flush());
    QCOMPARE(file.errorCode(), int(QNetworkReply::ServiceUnavailableError));
    QCOMPARE(debug.debugLines(),
             QStringList(QStringLiteral("virtual bool GoogleFile::putFile() %1  -  \"%2\"")
                                 .arg(file.errorCode())
                                 .arg(file.errorString())));
    QCOMPARE(m_emulator.content(fileId), QByteArray("original"));
}

void TestGoogleFile::mkdirCreatesAndMovesDown()
{
    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(), QUrl(), nullptr);
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

    const QList<Logged> requests = requestsSince(mark);
    QCOMPARE(requests.size(), 2);
    QCOMPARE(requests.at(0).q(),
             QStringLiteral("trashed=false and 'appDataFolder' in parents and name = 'made'"));
    const Logged &create = requests.at(1);
    QCOMPARE(create.method(), QStringLiteral("POST"));
    QCOMPARE(create.target(), QStringLiteral("/drive/v3/files"));
    QCOMPARE(create.header(QStringLiteral("Content-Type")), QStringLiteral("application/json"));
    QVERIFY(create.header(QStringLiteral("User-Agent")) != QLatin1String("Tarnwick"));
    QCOMPARE(create.body(),
             QByteArray("{\n    \"mimeType\": \"application/vnd.google-apps.folder\",\n"
                        "    \"name\": \"made\",\n    \"parents\": [\n        \"appDataFolder\"\n  "
                        "  ]\n}\n"));
}

void TestGoogleFile::mkdirRefusesATakenName_data()
{
    QTest::addColumn<bool>("folder");
    QTest::addColumn<bool>("trashed");
    QTest::addColumn<bool>("created");

    QTest::newRow("a file of that name") << false << false << false;
    QTest::newRow("a folder of that name") << true << false << false;
    QTest::newRow("a trashed file of that name") << false << true << true;
}

void TestGoogleFile::mkdirRefusesATakenName()
{
    QFETCH(bool, folder);
    QFETCH(bool, trashed);
    QFETCH(bool, created);

    m_emulator.control("POST", QStringLiteral("files"),
                       QJsonObject { { QStringLiteral("path"), QStringLiteral("/name") },
                                     { QStringLiteral("folder"), folder },
                                     { QStringLiteral("trashed"), trashed } });
    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(), QUrl(), nullptr);
    std::unique_ptr<CloudObject> current(file.getCloudObject());
    QCOMPARE(file.mkdir(current.get(), QStringLiteral("name")), created);
    QCOMPARE(file.errorCode(), 0);
    if (!created) {
        QCOMPARE(file.errorString(), QStringLiteral("Le répertoire existe déjà"));
        QCOMPARE(current->id(), QStringLiteral("appDataFolder"));
    }
}

void TestGoogleFile::mkdirTwiceNests()
{
    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(), QUrl(), nullptr);
    std::unique_ptr<CloudObject> current(file.getCloudObject());
    QVERIFY(file.mkdir(current.get(), QStringLiteral("same")));
    QVERIFY(file.mkdir(current.get(), QStringLiteral("same")));
    QVERIFY(!m_emulator.fileAt(QStringLiteral("/same/same")).isEmpty());
    QCOMPARE(current->fullPath(), QStringLiteral("/same/same"));

    // A name with a quote breaks the check's query: the listing's error is the answer.
    MessageCapture debug;
    QVERIFY(!file.mkdir(current.get(), QStringLiteral("it's")));
    QCOMPARE(file.errorCode(), int(QNetworkReply::ProtocolInvalidOperationError));
    QCOMPARE(debug.debugLines().size(), 1);
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
            m_emulator
                    .seedFile(source, "payload",
                              { { QStringLiteral("mimeType"), QStringLiteral("text/csv") } })
                    .value(QStringLiteral("id"))
                    .toString();
    m_emulator.seedFile(folder + QStringLiteral("/b.txt"), "already there");
    const QString parent = folder.isEmpty() ? QStringLiteral("appDataFolder") : id(folder);

    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(),
                    QUrl(QStringLiteral("gdapp:") + source), nullptr);
    const int mark = m_emulator.nextRequest();
    // The destination's folder part is ignored.
    QVERIFY(file.copy(QUrl(QStringLiteral("gdapp:/elsewhere/b.txt"))));
    QCOMPARE(file.fileId(), sourceId);

    const Logged post = requestsSince(mark).last();
    QCOMPARE(post.target(), QStringLiteral("/drive/v3/files/%1/copy").arg(sourceId));
    QCOMPARE(post.header(QStringLiteral("Content-Type")), QStringLiteral("application/json"));
    QCOMPARE(post.body(),
             QStringLiteral("{\n    \"mimeType\": \"text/csv\",\n    \"name\": \"b.txt\",\n"
                            "    \"parents\": [\n        \"%1\"\n    ]\n}\n")
                     .arg(parent)
                     .toUtf8());
    // A second b.txt beside the first; the existing one is left alone.
    int copies = 0;
    for (const QJsonValue &entry : m_emulator.files()) {
        const QJsonObject object = entry.toObject();
        if (object.value(QStringLiteral("path")).toString() == folder + QStringLiteral("/b.txt")) {
            ++copies;
            if (object.value(QStringLiteral("mimeType")).toString() == QLatin1String("text/csv"))
                QCOMPARE(m_emulator.content(object.value(QStringLiteral("id")).toString()),
                         QByteArray("payload"));
        }
    }
    QCOMPARE(copies, 2);
}

void TestGoogleFile::copyOfAMissingSource()
{
    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(),
                    QUrl(QStringLiteral("gdapp:/missing.txt")), nullptr);
    const int mark = m_emulator.nextRequest();
    QVERIFY(!file.copy(QUrl(QStringLiteral("gdapp:/b.txt"))));
    QCOMPARE(file.errorCode(), 403);
    for (const Logged &request : requestsSince(mark))
        QCOMPARE(request.method(), QStringLiteral("GET"));
}

void TestGoogleFile::renameRemovesTheDestinationFirst()
{
    const QString sourceId = m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "source")
                                     .value(QStringLiteral("id"))
                                     .toString();
    const QString destinationId = m_emulator.seedFile(QStringLiteral("/docs/b.txt"), "destination")
                                          .value(QStringLiteral("id"))
                                          .toString();
    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(),
                    QUrl(QStringLiteral("gdapp:/docs/a.txt")), nullptr);
    const int mark = m_emulator.nextRequest();
    QVERIFY(file.rename(QUrl(QStringLiteral("gdapp:/docs/b.txt"))));
    QCOMPARE(file.fileId(), sourceId);

    QList<Logged> writes;
    for (const Logged &request : requestsSince(mark)) {
        if (request.method() != QLatin1String("GET"))
            writes.append(request);
    }
    QCOMPARE(writes.size(), 2);
    QCOMPARE(writes.at(0).method(), QStringLiteral("DELETE"));
    QCOMPARE(writes.at(0).target(), QStringLiteral("/drive/v3/files/") + destinationId);
    const Logged &patch = writes.at(1);
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

    QCOMPARE(
            m_emulator.fileAt(QStringLiteral("/docs/b.txt")).value(QStringLiteral("id")).toString(),
            sourceId);
    QVERIFY(m_emulator.fileAt(QStringLiteral("/docs/a.txt")).isEmpty());
}

void TestGoogleFile::renameOntoItselfDeletesTheFile()
{
    m_emulator.seedFile(QStringLiteral("/self.txt"), "gone soon");
    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(),
                    QUrl(QStringLiteral("gdapp:/self.txt")), nullptr);
    QVERIFY(!file.rename(QUrl(QStringLiteral("gdapp:/self.txt"))));
    QCOMPARE(file.errorCode(), 403);
    QVERIFY(m_emulator.files().isEmpty());
}

void TestGoogleFile::renameToAnotherFolderRenamesInPlace()
{
    const QString sourceId = m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "a")
                                     .value(QStringLiteral("id"))
                                     .toString();
    m_emulator.seedFile(QStringLiteral("/other/b.txt"), "victim");
    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(),
                    QUrl(QStringLiteral("gdapp:/docs/a.txt")), nullptr);
    QVERIFY(file.rename(QUrl(QStringLiteral("gdapp:/other/b.txt"))));
    QCOMPARE(
            m_emulator.fileAt(QStringLiteral("/docs/b.txt")).value(QStringLiteral("id")).toString(),
            sourceId);
    // The file of that name in the other folder went all the same.
    QVERIFY(m_emulator.fileAt(QStringLiteral("/other/b.txt")).isEmpty());
}

void TestGoogleFile::removeByUrlAndByObject()
{
    m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "a");
    m_emulator.seedFile(QStringLiteral("/docs/b.txt"), "b");
    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(),
                    QUrl(QStringLiteral("gdapp:/docs/a.txt")), nullptr);
    QVERIFY(file.remove(QUrl(QStringLiteral("gdapp:/docs/a.txt"))));
    QVERIFY(m_emulator.fileAt(QStringLiteral("/docs/a.txt")).isEmpty());

    int status = 0;
    std::unique_ptr<CloudObject> folder(
            file.getObjectFromPath(QUrl(QStringLiteral("gdapp:/docs")), status));
    const QString folderId = folder->id();
    const int mark = m_emulator.nextRequest();
    QVERIFY(file.remove(folder.get()));
    QCOMPARE(folder->id(), folderId); // the object is left as it was
    const QList<Logged> requests = requestsSince(mark);
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests.first().target(), QStringLiteral("/drive/v3/files/") + folderId);
    QCOMPARE(requests.first().header(QStringLiteral("Authorization")),
             QStringLiteral("Bearer ") + m_drive.flow()->token());
    QVERIFY(m_emulator.files().isEmpty());
}

void TestGoogleFile::removeMissingSendsNothing()
{
    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(),
                    QUrl(QStringLiteral("gdapp:/nothing.txt")), nullptr);
    const int mark = m_emulator.nextRequest();
    QVERIFY(!file.remove());
    QCOMPARE(file.errorCode(), 403);
    for (const Logged &request : requestsSince(mark))
        QCOMPARE(request.method(), QStringLiteral("GET"));
}

void TestGoogleFile::removeWithAnEmptyIdentifier()
{
    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(), QUrl(), nullptr);
    GoogleFileObject nameless;
    nameless.from(QJsonObject());
    const int mark = m_emulator.nextRequest();
    MessageCapture debug;
    QVERIFY(!file.remove(&nameless));
    QCOMPARE(file.errorCode(), int(QNetworkReply::ContentNotFoundError));
    QCOMPARE(requestsSince(mark).first().target(), QStringLiteral("/drive/v3/files/"));
    QCOMPARE(
            debug.debugLines(),
            QStringList(QStringLiteral("virtual bool GoogleFile::remove(const CloudObject*) \"%1\"")
                                .arg(file.errorString())));
}

void TestGoogleFile::listObjectsEmitsFilledObjects()
{
    m_emulator.seedFile(QStringLiteral("/docs/a.txt"), "abc");
    m_emulator.seedFolder(QStringLiteral("/docs/sub"));
    m_emulator.seedFile(QStringLiteral("/docs/gone.txt"), "x",
                        { { QStringLiteral("trashed"), true } });
    m_emulator.seedFile(QStringLiteral("/top.txt"), "t");

    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(), QUrl(), nullptr);
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

    // A failed listing emits nothing.
    m_emulator.addFault({ { QStringLiteral("path"), QStringLiteral("/drive/v3/files") },
                          { QStringLiteral("status"), 500 } });
    MessageCapture debug;
    QVERIFY(!file.listObjects(docs.get()));
    QCOMPARE(listed.count(), 2);
}

void TestGoogleFile::serviceErrors_data()
{
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<int>("errorCode");

    QTest::newRow("401") << QJsonObject { { QStringLiteral("status"), 401 } }
                         << int(QNetworkReply::AuthenticationRequiredError);
    QTest::newRow("404") << QJsonObject { { QStringLiteral("status"), 404 } }
                         << int(QNetworkReply::ContentNotFoundError);
    QTest::newRow("500") << QJsonObject { { QStringLiteral("status"), 500 } }
                         << int(QNetworkReply::InternalServerError);
    QTest::newRow("dropped") << QJsonObject { { QStringLiteral("action"), QStringLiteral("drop") },
                                              { QStringLiteral("count"), 3 } }
                             << int(QNetworkReply::RemoteHostClosedError);
}

void TestGoogleFile::serviceErrors()
{
    QFETCH(QJsonObject, fault);
    QFETCH(int, errorCode);

    const QString fileId = m_emulator.seedFile(QStringLiteral("/a.txt"), "a")
                                   .value(QStringLiteral("id"))
                                   .toString();
    QJsonObject rule = fault;
    rule.insert(QStringLiteral("path"), QStringLiteral("/drive/v3/files/") + fileId);
    m_emulator.addFault(rule);

    GoogleFile file(QStringLiteral("gdapp"), m_drive.flow(), QUrl(QStringLiteral("gdapp:/a.txt")),
                    nullptr);
    MessageCapture debug;
    QVERIFY(!file.remove());
    QCOMPARE(file.errorCode(), errorCode);
    QVERIFY(!file.errorString().isEmpty());
    QCOMPARE(
            debug.debugLines(),
            QStringList(QStringLiteral("virtual bool GoogleFile::remove(const CloudObject*) \"%1\"")
                                .arg(file.errorString())));
    m_emulator.control("DELETE", QStringLiteral("faults"));
    QVERIFY(!m_emulator.fileAt(QStringLiteral("/a.txt")).isEmpty());

    // A failed listing reports through its own line, and the lookup then answers 403.
    rule.insert(QStringLiteral("path"), QStringLiteral("/drive/v3/files"));
    m_emulator.addFault(rule);
    debug.clear();
    QVERIFY(!file.remove());
    QCOMPARE(file.errorCode(), 403);
    QCOMPARE(debug.debugLines().size(), 1);
    QVERIFY(debug.debugLines().first().startsWith(QLatin1String(ListSignature)));
}

QTEST_MAIN(TestGoogleFile)
#include "tst_googlefile.moc"
