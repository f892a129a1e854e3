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

void row(const char *name, const QString &path, const QString &fileName, const QString &filePath,
         const QString &fullPath, const QString &parent)
{
    QTest::newRow(name) << path << fileName << filePath << fullPath << parent;
}
} // namespace

// A remote entry, and the same entry used as a cursor over folders.
class TestCloudObject : public QObject
{
    Q_OBJECT

private slots:
    void paths_data();
    void paths();
    void emptyFolderIsTheTop();
    void cursorMovesOnlyTheNameAndPath();
    void metaTypesAreRegisteredByName();
};

// A path as a provider gives it: the name follows the last slash, the folder is what comes
// before, made absolute. The full path joins them with one slash; the parent is the folder above
// the folder, and never empty.
void TestCloudObject::paths_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("filePath");
    QTest::addColumn<QString>("fullPath");
    QTest::addColumn<QString>("parent");

    row("absolute", "/a/b/c.txt", "c.txt", "/a/b", "/a/b/c.txt", "/a");
    row("bare name", "c.txt", "c.txt", "/", "/c.txt", "/");
    row("trailing slash", "/a/b/", "", "/a/b", "/a/b/", "/a");
    row("empty section counts", "a//b", "b", "/a/", "/a/b", "/a");
}

void TestCloudObject::paths()
{
    QFETCH(QString, path);
    CloudObject object;
    object.setFromStdPath(path);
    QTEST(object.fileName(), "fileName");
    QTEST(object.filePath(), "filePath");
    QTEST(object.fullPath(), "fullPath");
    QTEST(object.parent(), "parent");
}

// A provider may leave the folder empty, as a URL without a path gives it: the entry is at the
// top.
void TestCloudObject::emptyFolderIsTheTop()
{
    const Entry entry(QString(), QStringLiteral("n"));
    QCOMPARE(entry.fullPath(), QStringLiteral("/n"));
    QCOMPARE(entry.parent(), QStringLiteral("/"));
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
