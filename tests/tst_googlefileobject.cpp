// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "googlefileobject.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QTimeZone>
#include <QtTest>

using Headers = QList<QPair<QByteArray, QByteArray>>;

namespace {
const QString Folder = QStringLiteral("application/vnd.google-apps.folder");

// A finished reply that carries the headers a test gives it.
class HeaderReply : public QNetworkReply
{
public:
    explicit HeaderReply(const Headers &headers)
    {
        for (const auto &header : headers)
            setRawHeader(header.first, header.second);
        setFinished(true);
        open(QIODevice::ReadOnly);
    }
    void abort() override { }

protected:
    qint64 readData(char *, qint64) override { return -1; }
};

class Named : public CloudObject
{
public:
    Named(const QString &id, const QString &name)
    {
        m_id = id;
        m_fileName = name;
        m_filePath = QStringLiteral("/ignored");
        m_isFolder = false;
    }
};
} // namespace

class TestGoogleFileObject : public QObject
{
    Q_OBJECT

private slots:
    void newObjectIsTheRoot();
    void fromJson_data();
    void fromJson();
    void fromJsonLeavesPathAndParents();
    void fromHeaders_data();
    void fromHeaders();
    void cdAndCdupChain();
    void cdupAtTheRoot();
    void parentOfAnEntryWithoutParents();
};

void TestGoogleFileObject::newObjectIsTheRoot()
{
    const GoogleFileObject root;
    QCOMPARE(root.id(), QStringLiteral("appDataFolder"));
    QCOMPARE(root.contentType(), Folder);
    QVERIFY(root.isFolder());
    QCOMPARE(root.bytes(), quint64(0));
    QCOMPARE(root.filePath(), QStringLiteral("/"));
    QVERIFY(root.fileName().isEmpty());
    QVERIFY(!root.lastModified().isValid());
    QVERIFY(root.etag().isEmpty());
    QVERIFY(root.parents().isEmpty());
}

void TestGoogleFileObject::fromJson_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("isFolder");
    QTest::addColumn<quint64>("bytes");
    QTest::addColumn<QDateTime>("modified");
    QTest::addColumn<QString>("etag");

    const QDateTime instant(QDate(2021, 4, 13), QTime(7, 41, 40, 959), QTimeZone::utc());
    QTest::newRow("file") << QByteArray(
            R"({"id":"F1","name":"a.txt","mimeType":"text/plain","size":"12345",
                                           "modifiedTime":"2021-04-13T07:41:40.959Z","md5Checksum":"abc"})")
                          << "F1"
                          << "a.txt" << false << quint64(12345) << instant << "abc";
    QTest::newRow("folder") << QByteArray(
            R"({"id":"D","name":"docs","mimeType":"application/vnd.google-apps.folder"})")
                            << "D"
                            << "docs" << true << quint64(0) << QDateTime() << "";
    QTest::newRow("folder type in other letter case")
            << QByteArray(
                       R"({"id":"D","name":"x","mimeType":"Application/Vnd.Google-Apps.Folder"})")
            << "D"
            << "x" << true << quint64(0) << QDateTime() << "";
    QTest::newRow("nothing") << QByteArray("{}") << ""
                             << "" << false << quint64(0) << QDateTime() << "";
    QTest::newRow("values of other types")
            << QByteArray(R"({"id":7,"name":["x"],"size":12,"md5Checksum":null})") << ""
            << "" << false << quint64(0) << QDateTime() << "";
    QTest::newRow("size not a number") << QByteArray(R"({"size":"12k"})") << ""
                                       << "" << false << quint64(0) << QDateTime() << "";
    QTest::newRow("time without milliseconds")
            << QByteArray(R"({"modifiedTime":"2021-04-13T07:41:40Z"})") << ""
            << "" << false << quint64(0)
            << QDateTime(QDate(2021, 4, 13), QTime(7, 41, 40), QTimeZone::utc()) << "";
}

void TestGoogleFileObject::fromJson()
{
    QFETCH(QByteArray, json);
    GoogleFileObject object;
    object.from(QJsonDocument::fromJson(json).object());
    QTEST(object.id(), "id");
    QTEST(object.fileName(), "name");
    QTEST(object.isFolder(), "isFolder");
    QTEST(object.bytes(), "bytes");
    QTEST(object.lastModified(), "modified");
    QTEST(object.etag(), "etag");
}

void TestGoogleFileObject::fromJsonLeavesPathAndParents()
{
    GoogleFileObject object;
    object.setParents({ QStringLiteral("P") });
    object.from(QJsonObject { { QStringLiteral("id"), QStringLiteral("X") },
                              { QStringLiteral("parents"), QJsonArray { QStringLiteral("Q") } } });
    QCOMPARE(object.filePath(), QStringLiteral("/"));
    QCOMPARE(object.parents(), QList<QString> { QStringLiteral("P") });
}

void TestGoogleFileObject::fromHeaders_data()
{
    QTest::addColumn<Headers>("headers");
    QTest::addColumn<QString>("contentType");
    QTest::addColumn<bool>("isFolder");
    QTest::addColumn<quint64>("bytes");
    QTest::addColumn<QDateTime>("modified");
    QTest::addColumn<QString>("etag");

    QTest::newRow("file") << Headers { { "mimeType", "text/plain" },
                                       { "size", "42" },
                                       { "modifiedTime", "Tue, 13 Apr 2021 07:41:40 GMT" },
                                       { "md5Checksum", "abc" } }
                          << "text/plain" << false << quint64(42)
                          << QDateTime(QDate(2021, 4, 13), QTime(7, 41, 40), QTimeZone::utc())
                          << "abc";
    QTest::newRow("folder, exact type") << Headers { { "mimeType", Folder.toLatin1() } } << Folder
                                        << true << quint64(0) << QDateTime() << "";
    // Unlike the JSON form, letter case counts here.
    QTest::newRow("folder type in other letter case")
            << Headers { { "mimeType", "Application/Vnd.Google-Apps.Folder" } }
            << "Application/Vnd.Google-Apps.Folder" << false << quint64(0) << QDateTime() << "";
    QTest::newRow("no headers") << Headers {} << "" << false << quint64(0) << QDateTime() << "";
}

void TestGoogleFileObject::fromHeaders()
{
    QFETCH(Headers, headers);
    QFETCH(QDateTime, modified);

    GoogleFileObject object;
    object.from(QJsonObject { { QStringLiteral("md5Checksum"), QStringLiteral("old") },
                              { QStringLiteral("id"), QStringLiteral("kept") },
                              { QStringLiteral("name"), QStringLiteral("kept.txt") } });
    HeaderReply reply(headers);
    object.from(QUrl(QStringLiteral("gdapp:/d%C3%A9j%C3%A0/x.txt")), &reply);

    QCOMPARE(object.filePath(), QStringLiteral("/déjà/x.txt"));
    QTEST(object.contentType(), "contentType");
    QTEST(object.isFolder(), "isFolder");
    QTEST(object.bytes(), "bytes");
    QTEST(object.etag(), "etag");
    QCOMPARE(object.lastModified().isValid(), modified.isValid());
    if (modified.isValid())
        QCOMPARE(object.lastModified(), modified);
    QCOMPARE(object.id(), QStringLiteral("kept"));
    QCOMPARE(object.fileName(), QStringLiteral("kept.txt"));
}

void TestGoogleFileObject::cdAndCdupChain()
{
    GoogleFileObject current;
    const Named docs(QStringLiteral("D"), QStringLiteral("docs"));
    const Named sub(QStringLiteral("S"), QStringLiteral("sub"));

    current.cd(&docs);
    QCOMPARE(current.parents(), QList<QString> { QStringLiteral("appDataFolder") });
    QCOMPARE(current.id(), QStringLiteral("D"));
    QCOMPARE(current.filePath(), QStringLiteral("/"));
    QCOMPARE(current.fileName(), QStringLiteral("docs"));
    QCOMPARE(current.fullPath(), QStringLiteral("/docs"));
    QCOMPARE(current.parent(), QStringLiteral("appDataFolder"));

    current.cd(&sub);
    QCOMPARE(current.parents(),
             (QList<QString> { QStringLiteral("appDataFolder"), QStringLiteral("D") }));
    QCOMPARE(current.id(), QStringLiteral("S"));
    QCOMPARE(current.filePath(), QStringLiteral("/docs"));
    QCOMPARE(current.fileName(), QStringLiteral("sub"));
    QCOMPARE(current.fullPath(), QStringLiteral("/docs/sub"));
    QCOMPARE(current.parent(), QStringLiteral("D"));
    // Only identifiers and names move; the child's type does not come along.
    QVERIFY(current.isFolder());

    current.cdup();
    QCOMPARE(current.id(), QStringLiteral("D"));
    QCOMPARE(current.parents(), QList<QString> { QStringLiteral("appDataFolder") });
    QCOMPARE(current.fileName(), QStringLiteral("docs"));
    QCOMPARE(current.filePath(), QStringLiteral("/"));

    current.cdup();
    QCOMPARE(current.id(), QStringLiteral("appDataFolder"));
    QCOMPARE(current.fullPath(), QStringLiteral("/"));
}

void TestGoogleFileObject::cdupAtTheRoot()
{
    GoogleFileObject root;
    root.cdup();
    QCOMPARE(root.id(), QStringLiteral("appDataFolder"));
    QCOMPARE(root.filePath(), QStringLiteral("/"));
    QVERIFY(root.fileName().isEmpty());
    QVERIFY(root.isFolder());
}

void TestGoogleFileObject::parentOfAnEntryWithoutParents()
{
    GoogleFileObject entry;
    entry.from(QJsonObject { { QStringLiteral("id"), QStringLiteral("F") } });
    QCOMPARE(entry.parent(), QStringLiteral("appDataFolder"));
    entry.setParents({ QStringLiteral("A"), QStringLiteral("B") });
    QCOMPARE(entry.parent(), QStringLiteral("B"));
}

QTEST_GUILESS_MAIN(TestGoogleFileObject)
#include "tst_googlefileobject.moc"
