// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "googlefileobject.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QTimeZone>
#include <QtTest>

namespace {

// A finished reply that carries the headers a test gives it.
class HeaderReply : public QNetworkReply
{
public:
    explicit HeaderReply(const QList<QPair<QByteArray, QByteArray>> &headers)
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

GoogleFileObject entry(const QByteArray &json)
{
    GoogleFileObject object;
    object.from(QJsonDocument::fromJson(json).object());
    return object;
}
} // namespace

// A Drive entry: read from the service's answers, and moved through folders by identifier.
class TestGoogleFileObject : public QObject
{
    Q_OBJECT

private slots:
    void fromJson_data();
    void fromJson();
    void fromHeaders();
    void cdAndCdupChain();
};

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
    QTest::newRow("file") << QByteArray(R"({"id": "F1", "name": "a.txt", "mimeType": "text/plain",
            "size": "12345", "modifiedTime": "2021-04-13T07:41:40.959Z", "md5Checksum": "abc",
            "parents": ["P"]})")
                          << "F1"
                          << "a.txt" << false << quint64(12345) << instant << "abc";
    QTest::newRow("folder type in other letter case, time without milliseconds")
            << QByteArray(
                       R"({"id": "D", "name": "x", "mimeType": "Application/Vnd.Google-Apps.Folder",
                             "modifiedTime": "2021-04-13T07:41:40Z"})")
            << "D"
            << "x" << true << quint64(0) << instant.addMSecs(-959) << "";
    QTest::newRow("values of other types, size not a number, no type or time")
            << QByteArray(R"({"id": 7, "name": ["x"], "size": "12k", "md5Checksum": null})") << ""
            << "" << false << quint64(0) << QDateTime() << "";
}

void TestGoogleFileObject::fromJson()
{
    QFETCH(QByteArray, json);
    const GoogleFileObject object = entry(json);
    QTEST(object.id(), "id");
    QTEST(object.fileName(), "name");
    QTEST(object.isFolder(), "isFolder");
    QTEST(object.bytes(), "bytes");
    QTEST(object.lastModified(), "modified");
    QTEST(object.etag(), "etag");
    // The path and the parents are the resolver's to set.
    QCOMPARE(object.filePath(), QStringLiteral("/"));
    QCOMPARE(object.parents(), QList<QString>());
}

// The header form takes the path from the URL and the rest from the reply's raw headers; unlike
// the JSON form, it compares the folder type in its letter case.
void TestGoogleFileObject::fromHeaders()
{
    GoogleFileObject object = entry(R"({"id": "kept", "name": "kept.txt"})");
    HeaderReply reply({ { "mimeType", "Application/Vnd.Google-Apps.Folder" },
                        { "size", "42" },
                        { "modifiedTime", "Tue, 13 Apr 2021 07:41:40 GMT" },
                        { "md5Checksum", "abc" } });
    object.from(QUrl(QStringLiteral("gdapp:/d%C3%A9j%C3%A0/x.txt")), &reply);
    QCOMPARE(object.filePath(), QStringLiteral("/déjà/x.txt"));
    QCOMPARE(object.contentType(), QStringLiteral("Application/Vnd.Google-Apps.Folder"));
    QVERIFY(!object.isFolder());
    QCOMPARE(object.bytes(), quint64(42));
    QCOMPARE(object.etag(), QStringLiteral("abc"));
    QCOMPARE(object.lastModified(),
             QDateTime(QDate(2021, 4, 13), QTime(7, 41, 40), QTimeZone::utc()));
    QCOMPARE(object.id() + object.fileName(), QStringLiteral("keptkept.txt"));
}

// Only identifiers and names move; the previous identifier becomes the last parent. The root is
// as far up as it goes. Paths and identifiers along a walk are the chooser's to show
// (tst_cloudfilechooser).
void TestGoogleFileObject::cdAndCdupChain()
{
    GoogleFileObject current;
    const GoogleFileObject docs = entry(R"({"id": "D", "name": "docs", "mimeType": "text/plain"})");
    const GoogleFileObject sub = entry(R"({"id": "S", "name": "sub"})");

    current.cd(&docs);
    current.cd(&sub);
    QCOMPARE(current.parents(),
             (QList<QString> { QStringLiteral("appDataFolder"), QStringLiteral("D") }));
    QCOMPARE(current.parent(), QStringLiteral("D"));
    QVERIFY(current.isFolder()); // the child's type does not come along

    for (int i = 0; i < 3; ++i)
        current.cdup();
    QCOMPARE(current.id(), QStringLiteral("appDataFolder"));
    QCOMPARE(current.fullPath(), QStringLiteral("/"));
    QVERIFY(current.isFolder());
}

QTEST_GUILESS_MAIN(TestGoogleFileObject)
#include "tst_googlefileobject.moc"
