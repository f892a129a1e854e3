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
    void cursorMovesOnlyTheNameAndPath();
    void metaTypesAreRegisteredByName();
};

void TestCloudObject::setFromStdPath_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("filePath");

    row("absolute", "/a/b/c.txt", "c.txt", "/a/b");
    row("bare name", "c.txt", "c.txt", "/");
    row("trailing slash", "/a/b/", "", "/a/b");
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
}

// An entry used as a cursor: cd takes the name and path of the entry it moves onto, cdup makes it
// the folder above. It keeps its own identifier, etag and size, and cd leaves its kind.
void TestCloudObject::cursorMovesOnlyTheNameAndPath()
{
    Entry cursor(QStringLiteral("/old"), QStringLiteral("a.txt"), QStringLiteral("OLD"), false);
    const Entry child(QStringLiteral("/docs/sub"), QStringLiteral("b"), QStringLiteral("CHILD"));
    cursor.cd(&child);
    QCOMPARE(cursor.fullPath(), QStringLiteral("/docs/sub/b"));
    QVERIFY(!cursor.isFolder());

    cursor.cdup();
    QCOMPARE(cursor.filePath(), QStringLiteral("/docs"));
    QVERIFY(cursor.fileName().isNull());
    QVERIFY(cursor.isFolder());
    cursor.cdup();
    QCOMPARE(cursor.filePath(), QStringLiteral("/"));
    QCOMPARE(cursor.id(), QStringLiteral("OLD"));
    QCOMPARE(cursor.etag(), QStringLiteral("etag-OLD"));
    QCOMPARE(cursor.bytes(), quint64(42));
}

// Listings travel through string-based and queued connections, which find the types by name.
void TestCloudObject::metaTypesAreRegisteredByName()
{
    QCOMPARE(QMetaType::fromName("CloudObject*"), QMetaType::fromType<CloudObject *>());
    QCOMPARE(QMetaType::fromName("QList<CloudObject*>"),
             QMetaType::fromType<QList<CloudObject *>>());
}

QTEST_GUILESS_MAIN(TestCloudObject)
#include "tst_cloudobject.moc"
