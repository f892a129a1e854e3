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
} // namespace

class TestCloudObject : public QObject
{
    Q_OBJECT

private slots:
    void newObjectIsTheRoot();
    void setFromStdPath_data();
    void setFromStdPath();
    void fullPath_data();
    void fullPath();
    void parent_data();
    void parent();
    void cd_data();
    void cd();
    void cdup_data();
    void cdup();
    void metaTypesAreRegisteredByName();
};

void TestCloudObject::newObjectIsTheRoot()
{
    const CloudObject object;
    QCOMPARE(object.fileName(), QString());
    QCOMPARE(object.filePath(), QStringLiteral("/"));
    QCOMPARE(object.fullPath(), QStringLiteral("/"));
    QVERIFY(object.isFolder());
    QCOMPARE(object.bytes(), quint64(0));
    QVERIFY(!object.lastModified().isValid());
    QVERIFY(object.etag().isEmpty());
    QVERIFY(object.id().isEmpty());
    QVERIFY(object.contentType().isEmpty());
}

void TestCloudObject::setFromStdPath_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("filePath");

    QTest::newRow("absolute") << "/a/b/c.txt"
                              << "c.txt"
                              << "/a/b";
    QTest::newRow("bare name") << "c.txt"
                               << "c.txt"
                               << "/";
    QTest::newRow("top level") << "/c.txt"
                               << "c.txt"
                               << "/";
    QTest::newRow("relative") << "a/b"
                              << "b"
                              << "/a";
    QTest::newRow("trailing slash") << "/a/b/"
                                    << ""
                                    << "/a/b";
    QTest::newRow("empty") << ""
                           << ""
                           << "/";
    QTest::newRow("empty section counts") << "a//b"
                                          << "b"
                                          << "/a/";
}

void TestCloudObject::setFromStdPath()
{
    QFETCH(QString, input);
    CloudObject object;
    object.setFromStdPath(input);
    QTEST(object.fileName(), "fileName");
    QTEST(object.filePath(), "filePath");
}

void TestCloudObject::fullPath_data()
{
    QTest::addColumn<QString>("filePath");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("fullPath");

    QTest::newRow("root") << "/"
                          << ""
                          << "/";
    QTest::newRow("top level") << "/"
                               << "a.txt"
                               << "/a.txt";
    QTest::newRow("in a folder") << "/docs"
                                 << "a.txt"
                                 << "/docs/a.txt";
    QTest::newRow("no doubled slash") << "/x/"
                                      << "y"
                                      << "/x/y";
    QTest::newRow("folder itself") << "/docs"
                                   << ""
                                   << "/docs/";
}

void TestCloudObject::fullPath()
{
    QFETCH(QString, filePath);
    QFETCH(QString, fileName);
    QTEST(Entry(filePath, fileName).fullPath(), "fullPath");
}

void TestCloudObject::parent_data()
{
    QTest::addColumn<QString>("filePath");
    QTest::addColumn<QString>("parent");

    QTest::newRow("two levels") << "/docs/sub"
                                << "/docs";
    QTest::newRow("one level") << "/docs"
                               << "/";
    QTest::newRow("root") << "/"
                          << "/";
    QTest::newRow("empty path") << ""
                                << "/";
    QTest::newRow("trailing slash") << "/a/b/"
                                    << "/a/b";
}

void TestCloudObject::parent()
{
    QFETCH(QString, filePath);
    const QString parent = Entry(filePath, QStringLiteral("n")).parent();
    QVERIFY(!parent.isEmpty());
    QTEST(parent, "parent");
}

void TestCloudObject::cd_data()
{
    QTest::addColumn<QString>("childPath");
    QTest::addColumn<QString>("childName");
    QTest::addColumn<bool>("childIsFolder");

    QTest::newRow("into a folder") << "/docs"
                                   << "sub" << true;
    QTest::newRow("onto a file") << "/"
                                 << "a.txt" << false;
    QTest::newRow("onto the root") << "/"
                                   << "" << true;
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

    QTest::newRow("file two levels down") << "/docs/sub"
                                          << "a.txt" << false << "/docs";
    QTest::newRow("folder one level down") << "/docs"
                                           << "sub" << true << "/";
    QTest::newRow("root") << "/"
                          << "" << true << "/";
    QTest::newRow("file at the root") << "/"
                                      << "a.txt" << false << "/";
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

void TestCloudObject::metaTypesAreRegisteredByName()
{
    const QMetaType pointer = QMetaType::fromName("CloudObject*");
    QVERIFY(pointer.isValid());
    QCOMPARE(pointer, QMetaType::fromType<CloudObject *>());

    const QMetaType list = QMetaType::fromName("QList<CloudObject*>");
    QVERIFY(list.isValid());
    QCOMPARE(list, QMetaType::fromType<QList<CloudObject *>>());

    Entry entry(QStringLiteral("/"), QStringLiteral("a"));
    const QVariant variant = QVariant::fromValue<CloudObject *>(&entry);
    QCOMPARE(variant.value<CloudObject *>(), static_cast<CloudObject *>(&entry));
}

QTEST_GUILESS_MAIN(TestCloudObject)
#include "tst_cloudobject.moc"
