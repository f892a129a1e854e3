// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "cloudobject.h"

#include <QtTest>

namespace {
// Fills the fields the way provider factories do.
class Entry : public CloudObject
{
public:
    Entry(const QString &path, const QString &name, const QString &id = QString(),
          bool folder = true)
    {
        m_filePath = path;
        m_fileName = name;
        m_id = id;
        m_isFolder = folder;
        m_etag = QStringLiteral("etag-") + id;
        m_bytes = 42;
    }
};

void row(const char *name, const QString &a, const QString &b, const QString &c)
{
    QTest::newRow(name) << a << b << c;
}
} // namespace

// A remote entry, and the same entry used as a cursor over folders.
class TestCloudObject : public QObject
{
    Q_OBJECT

private slots:
    void setFromStdPath_data();
    void setFromStdPath();
    void paths_data();
    void paths();
    void cd_data();
    void cd();
    void cdup_data();
    void cdup();
    void metaTypesAreRegisteredByName();
};

void TestCloudObject::setFromStdPath_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("filePath");

    row("absolute", "/a/b/c.txt", "c.txt", "/a/b");
    row("bare name", "c.txt", "c.txt", "/");
    row("top level", "/c.txt", "c.txt", "/");
    row("relative", "a/b", "b", "/a");
    row("trailing slash", "/a/b/", "", "/a/b");
    row("empty", "", "", "/");
    row("empty section counts", "a//b", "b", "/a/");
}

void TestCloudObject::setFromStdPath()
{
    QFETCH(QString, input);
    CloudObject object;
    object.setFromStdPath(input);
    QTEST(object.fileName(), "fileName");
    QTEST(object.filePath(), "filePath");
}

// The full path joins folder and name with one slash; the parent is the folder above the
// folder, and never empty.
void TestCloudObject::paths_data()
{
    QTest::addColumn<QString>("filePath");
    QTest::addColumn<QString>("fullPath");
    QTest::addColumn<QString>("parent");

    row("root", "/", "/n", "/");
    row("one level", "/docs", "/docs/n", "/");
    row("two levels", "/docs/sub", "/docs/sub/n", "/docs");
    row("no doubled slash", "/x/", "/x/n", "/x");
    row("empty path", "", "/n", "/");
}

void TestCloudObject::paths()
{
    QFETCH(QString, filePath);
    const Entry entry(filePath, QStringLiteral("n"));
    QTEST(entry.fullPath(), "fullPath");
    QTEST(entry.parent(), "parent");
    QCOMPARE(Entry(filePath, QString()).fullPath(),
             filePath.endsWith(QLatin1Char('/')) ? filePath : filePath + QLatin1Char('/'));
}

void TestCloudObject::cd_data()
{
    QTest::addColumn<QString>("childPath");
    QTest::addColumn<QString>("childName");
    QTest::addColumn<bool>("childIsFolder");

    QTest::newRow("into a folder") << QStringLiteral("/docs") << QStringLiteral("sub") << true;
    QTest::newRow("onto a file") << QStringLiteral("/") << QStringLiteral("a.txt") << false;
    QTest::newRow("onto the root") << QStringLiteral("/") << QString() << true;
}

void TestCloudObject::cd()
{
    QFETCH(QString, childPath);
    QFETCH(QString, childName);
    QFETCH(bool, childIsFolder);

    Entry current(QStringLiteral("/old"), QStringLiteral("place"), QStringLiteral("OLD"), true);
    const Entry child(childPath, childName, QStringLiteral("CHILD"), childIsFolder);
    current.cd(&child);
    QCOMPARE(current.filePath(), childPath);
    QCOMPARE(current.fileName(), childName);
    // Only the name and the path follow the child.
    QCOMPARE(current.id(), QStringLiteral("OLD"));
    QCOMPARE(current.etag(), QStringLiteral("etag-OLD"));
    QVERIFY(current.isFolder());
}

void TestCloudObject::cdup_data()
{
    QTest::addColumn<QString>("filePath");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<bool>("isFolder");
    QTest::addColumn<QString>("newPath");

    QTest::newRow("file two levels down") << QStringLiteral("/docs/sub") << QStringLiteral("a.txt")
                                          << false << QStringLiteral("/docs");
    QTest::newRow("folder one level down")
            << QStringLiteral("/docs") << QStringLiteral("sub") << true << QStringLiteral("/");
    QTest::newRow("root") << QStringLiteral("/") << QString() << true << QStringLiteral("/");
    QTest::newRow("file at the root")
            << QStringLiteral("/") << QStringLiteral("a.txt") << false << QStringLiteral("/");
}

void TestCloudObject::cdup()
{
    QFETCH(QString, filePath);
    QFETCH(QString, fileName);
    QFETCH(bool, isFolder);

    Entry object(filePath, fileName, QStringLiteral("ID"), isFolder);
    object.cdup();
    QTEST(object.filePath(), "newPath");
    QVERIFY(object.fileName().isNull());
    QVERIFY(object.isFolder());
    QCOMPARE(object.id(), QStringLiteral("ID"));
    QCOMPARE(object.etag(), QStringLiteral("etag-ID"));
    QCOMPARE(object.bytes(), quint64(42));
}

// Listings travel through string-based and queued connections, and in variants.
void TestCloudObject::metaTypesAreRegisteredByName()
{
    QCOMPARE(QMetaType::fromName("CloudObject*"), QMetaType::fromType<CloudObject *>());
    QCOMPARE(QMetaType::fromName("QList<CloudObject*>"),
             QMetaType::fromType<QList<CloudObject *>>());
    Entry entry(QStringLiteral("/"), QStringLiteral("a"));
    const QVariant variant = QVariant::fromValue<CloudObject *>(&entry);
    QCOMPARE(variant.value<CloudObject *>(), static_cast<CloudObject *>(&entry));
}

QTEST_GUILESS_MAIN(TestCloudObject)
#include "tst_cloudobject.moc"
