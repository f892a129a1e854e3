// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "cloudcodes.h"
#include "memorycloudfile.h"

#include <QSignalSpy>
#include <QtTest>

Q_DECLARE_METATYPE(QIODevice::OpenMode)

namespace {
const QByteArray Remote = QByteArrayLiteral("remote content");

QUrl fileUrl(const QString &path = QStringLiteral("/doc.txt"))
{
    return QUrl(QStringLiteral("mem:") + path);
}
} // namespace

class TestCloudFile : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void open_data();
    void open();
    void failedFetchLeavesTheDeviceOpen();
    void writesInsertAtThePosition();
    void flushesOnceTheThresholdIsPassedNotOnClose_data();
    void flushesOnceTheThresholdIsPassedNotOnClose();
    void writeResultWhenTheBufferDoesNotGrowByLen();
    void readsClipLikeMid_data();
    void readsClipLikeMid();
    void progressInPercent();
    void exists_data();
    void exists();
    void renameCopiesThenRemoves();
    void removeClosesFirst();

private:
    QSharedPointer<MemoryStore> m_store;
};

void TestCloudFile::init()
{
    m_store.reset(new MemoryStore);
    m_store->addFile(QStringLiteral("/doc.txt"), Remote);
    m_store->addFolder(QStringLiteral("/docs"));
    m_store->addFile(QStringLiteral("/docs/a.txt"), QByteArrayLiteral("a"));
}

void TestCloudFile::open_data()
{
    QTest::addColumn<QIODevice::OpenMode>("mode");
    QTest::addColumn<bool>("fetches");
    QTest::addColumn<QByteArray>("buffer");
    QTest::addColumn<qint64>("position");

    using D = QIODevice;
    QTest::newRow("ReadOnly") << D::OpenMode(D::ReadOnly) << true << Remote << qint64(0);
    QTest::newRow("WriteOnly") << D::OpenMode(D::WriteOnly) << false << QByteArray() << qint64(0);
    QTest::newRow("ReadWrite|Append")
            << D::OpenMode(D::ReadWrite | D::Append) << true << Remote << qint64(Remote.size());
    QTest::newRow("WriteOnly|Append|Truncate")
            << D::OpenMode(D::WriteOnly | D::Append | D::Truncate) << false << QByteArray()
            << qint64(0);
}

void TestCloudFile::open()
{
    QFETCH(QIODevice::OpenMode, mode);
    QFETCH(bool, fetches);

    MemoryCloudFile file(m_store, fileUrl());
    // Whatever was in the buffer before must not survive an open that does not fetch.
    file.buffer() = QByteArrayLiteral("stale");
    QVERIFY(file.open(mode));

    QCOMPARE(m_store->calls.contains(QStringLiteral("get /doc.txt")), fetches);
    QTEST(file.buffer(), "buffer");
    QTEST(file.pos(), "position");
}

void TestCloudFile::failedFetchLeavesTheDeviceOpen()
{
    m_store->failFetch = true;
    MemoryCloudFile file(m_store, fileUrl());
    QVERIFY(!file.open(QIODevice::ReadOnly));
    QCOMPARE(file.openMode(), QIODevice::OpenMode(QIODevice::ReadOnly));
    QCOMPARE(file.errorCode(), Cloud::PathNotFound);
}

// Writes go where the position is, even before the start: there nothing is written.
void TestCloudFile::writesInsertAtThePosition()
{
    MemoryCloudFile file(m_store, fileUrl());
    QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Append));
    QVERIFY(file.seek(-1));
    QCOMPARE(file.write("XY"), qint64(0));
    QCOMPARE(file.pos(), qint64(-1));
    QVERIFY(file.seek(6));
    QCOMPARE(file.write("XY"), qint64(2));
    QCOMPARE(file.pos(), qint64(8));
    QCOMPARE(file.buffer(), QByteArray("remoteXY content"));
}

// Past the threshold, every write stores the whole buffer; closing stores nothing. The count of
// bytes written spans every open of the device and is never reset.
void TestCloudFile::flushesOnceTheThresholdIsPassedNotOnClose_data()
{
    QTest::addColumn<qint64>("threshold");
    QTest::addColumn<QList<int>>("storesAfterEachWrite");

    QTest::newRow("negative is zero: every write") << qint64(-5) << QList<int> { 1, 2, 3 };
    QTest::newRow("passed on the second write") << qint64(1) << QList<int> { 0, 1, 2 };
}

void TestCloudFile::flushesOnceTheThresholdIsPassedNotOnClose()
{
    QFETCH(qint64, threshold);
    QFETCH(QList<int>, storesAfterEachWrite);

    const QString put = QStringLiteral("put /new.txt");
    MemoryCloudFile file(m_store, fileUrl(QStringLiteral("/new.txt")));
    file.setFlushThreshold(threshold);
    QVERIFY(file.open(QIODevice::WriteOnly));
    for (int stores : storesAfterEachWrite) {
        file.write("x");
        QCOMPARE(m_store->calls.count(put), stores);
    }
    QCOMPARE(m_store->entries.value(QStringLiteral("/new.txt")).data, QByteArray("xxx"));

    file.close();
    QCOMPARE(m_store->calls.count(put), storesAfterEachWrite.constLast());
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.writtenBytes(), qint64(storesAfterEachWrite.size()));
}

// A flush that changes the buffer under a write: the result is what the buffer lost, not the
// length written, and the position moves by it.
void TestCloudFile::writeResultWhenTheBufferDoesNotGrowByLen()
{
    MemoryCloudFile file(m_store, fileUrl(QStringLiteral("/new.txt")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("12");
    file.setFlushThreshold(0);
    file.afterPut = [](QByteArray &buffer) { buffer = "1"; };

    QCOMPARE(file.callWriteData(QByteArrayLiteral("abc")), qint64(2 - 1));
    QCOMPARE(file.pos(), qint64(2 + 1));
}

// A host may seek anywhere up to the end, a negative position included: reads take what
// QByteArray::mid would, and never memory outside the buffer. Past the end, the seek is refused
// and the position stays.
void TestCloudFile::readsClipLikeMid_data()
{
    QTest::addColumn<qint64>("position");
    QTest::addColumn<QByteArray>("read");
    QTest::addColumn<qint64>("positionAfter");

    QTest::newRow("middle") << qint64(7) << QByteArray("content") << qint64(14);
    QTest::newRow("end") << qint64(14) << QByteArray() << qint64(14);
    QTest::newRow("one before the start")
            << qint64(-1) << QByteArray("remote conten") << qint64(12);
    QTest::newRow("reaching the first byte") << qint64(-13) << QByteArray("r") << qint64(-12);
    QTest::newRow("ending at the start") << qint64(-14) << QByteArray() << qint64(-14);
    QTest::newRow("past the end") << qint64(15) << Remote << qint64(14);
}

void TestCloudFile::readsClipLikeMid()
{
    QFETCH(qint64, position);
    QFETCH(QByteArray, read);
    QFETCH(qint64, positionAfter);

    MemoryCloudFile file(m_store, fileUrl());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.seek(position), position <= Remote.size());
    QCOMPARE(file.read(100), read);
    QCOMPARE(file.pos(), positionAfter);
}

// Percentages of a known total, rounded down and in 64 bits; a total of -1, which Qt reports
// while the size is not known yet, gives what it gives.
void TestCloudFile::progressInPercent()
{
    MemoryCloudFile file(m_store, fileUrl());
    QSignalSpy spy(&file, &CloudFile::progress);
    file.setProgress(50, 0);
    file.setProgress(5999999999, 6000000000);
    file.setProgress(10, -1);
    QCOMPARE(QList<QList<QVariant>>(spy), (QList<QList<QVariant>> { { 99 }, { -1000 } }));
}

void TestCloudFile::exists_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("exists");
    QTest::addColumn<QString>("etag");

    const QString untouched = QStringLiteral("untouched");
    QTest::newRow("nothing found: folder missing") << "/missing/a.txt" << false << untouched;
    // Only the parent found: the folder's etag is reported all the same.
    QTest::newRow("parent found: name missing") << "/docs/b.txt" << false << "folder:/docs";
    // A file's etag in the store: the MD5 of its content, "a".
    QTest::newRow("path found: file")
            << "/docs/a.txt" << true << "0cc175b9c0f1b6a831c399e269772661";
    QTest::newRow("path found: folder") << "/docs" << false << "folder:/docs";
}

void TestCloudFile::exists()
{
    QFETCH(QString, path);

    MemoryCloudFile file(m_store, fileUrl(path));
    QString etag = QStringLiteral("untouched");
    QTEST(file.exists(etag), "exists");
    QTEST(etag, "etag");
}

// The default rename copies, then removes the source only once the copy is made.
void TestCloudFile::renameCopiesThenRemoves()
{
    const QUrl moved = fileUrl(QStringLiteral("/moved.txt"));
    MemoryCloudFile file(m_store, fileUrl());
    m_store->failCopy = true;
    QVERIFY(!file.rename(moved));
    m_store->failCopy = false;
    QVERIFY(file.rename(moved));
    const QString copy = QStringLiteral("copy /doc.txt /moved.txt");
    QCOMPARE(m_store->calls, QStringList({ copy, copy, QStringLiteral("remove /doc.txt") }));
}

void TestCloudFile::removeClosesFirst()
{
    MemoryCloudFile file(m_store, fileUrl());
    QVERIFY(file.open(QIODevice::ReadOnly));
    m_store->calls.clear();
    connect(&file, &QIODevice::aboutToClose, this,
            [&] { m_store->calls.append(QStringLiteral("close")); });
    QVERIFY(file.remove());
    QCOMPARE(m_store->calls,
             QStringList({ QStringLiteral("close"), QStringLiteral("remove /doc.txt") }));
}

QTEST_GUILESS_MAIN(TestCloudFile)
#include "tst_cloudfile.moc"
