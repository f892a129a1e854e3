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
    void closeDoesNotStore();
    void writesInsertAtThePosition_data();
    void writesInsertAtThePosition();
    void flushesOnceTheThresholdIsPassed_data();
    void flushesOnceTheThresholdIsPassed();
    void writeResultWhenTheBufferDoesNotGrowByLen_data();
    void writeResultWhenTheBufferDoesNotGrowByLen();
    void readsClipLikeMid_data();
    void readsClipLikeMid();
    void setProgress_data();
    void setProgress();
    void exists_data();
    void exists();
    void renameCopiesThenRemoves_data();
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
    const qint64 end = Remote.size();
    QTest::newRow("ReadOnly") << D::OpenMode(D::ReadOnly) << true << Remote << qint64(0);
    QTest::newRow("WriteOnly") << D::OpenMode(D::WriteOnly) << false << QByteArray() << qint64(0);
    QTest::newRow("ReadWrite") << D::OpenMode(D::ReadWrite) << false << QByteArray() << qint64(0);
    QTest::newRow("ReadWrite|Append")
            << D::OpenMode(D::ReadWrite | D::Append) << true << Remote << end;
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
    file.bufferRef() = QByteArrayLiteral("stale");
    QVERIFY(file.open(mode));

    QCOMPARE(m_store->calls.contains(QStringLiteral("get /doc.txt")), fetches);
    QTEST(file.buffer(), "buffer");
    QTEST(file.pos(), "position");
    QCOMPARE(file.openMode(), mode);
}

void TestCloudFile::failedFetchLeavesTheDeviceOpen()
{
    m_store->failFetch = true;
    MemoryCloudFile file(m_store, fileUrl());
    QVERIFY(!file.open(QIODevice::ReadOnly));
    QVERIFY(file.isOpen());
    QCOMPARE(file.openMode(), QIODevice::OpenMode(QIODevice::ReadOnly));
    QCOMPARE(file.errorCode(), Cloud::PathNotFound);
}

void TestCloudFile::closeDoesNotStore()
{
    MemoryCloudFile file(m_store, fileUrl(QStringLiteral("/new.txt")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write("data"), qint64(4));
    file.close();
    QVERIFY(!file.isOpen());
    QVERIFY(!m_store->contains(QStringLiteral("/new.txt")));
    QVERIFY(!m_store->calls.contains(QStringLiteral("put /new.txt")));
}

// Writes go where the position is, even before the start: there nothing is written.
void TestCloudFile::writesInsertAtThePosition_data()
{
    QTest::addColumn<qint64>("position");
    QTest::addColumn<QByteArray>("buffer");
    QTest::addColumn<qint64>("written");

    QTest::newRow("end") << qint64(14) << QByteArray("remote contentXY") << qint64(2);
    QTest::newRow("middle") << qint64(6) << QByteArray("remoteXY content") << qint64(2);
    QTest::newRow("before the start") << qint64(-1) << Remote << qint64(0);
}

void TestCloudFile::writesInsertAtThePosition()
{
    QFETCH(qint64, position);
    QFETCH(qint64, written);

    MemoryCloudFile file(m_store, fileUrl());
    QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Append));
    QVERIFY(file.seek(position));
    QCOMPARE(file.write("XY"), written);
    QTEST(file.buffer(), "buffer");
    QCOMPARE(file.pos(), position + written);
}

// Past the threshold, every write stores the whole buffer. The count of bytes written spans
// every open of the device and is never reset.
void TestCloudFile::flushesOnceTheThresholdIsPassed_data()
{
    QTest::addColumn<qint64>("threshold"); // -1: left as it is
    QTest::addColumn<qint64>("writtenBefore");
    QTest::addColumn<QList<int>>("storesAfterEachWrite");

    const QList<int> everyWrite { 1, 2, 3 };
    QTest::newRow("zero") << qint64(0) << qint64(0) << everyWrite;
    QTest::newRow("negative is zero") << qint64(-5) << qint64(0) << everyWrite;
    QTest::newRow("passed on the second write") << qint64(1) << qint64(0) << QList<int> { 0, 1, 2 };
    // Stand in for a gigabyte already written rather than allocating one.
    QTest::newRow("default: a gigabyte, reached and then passed")
            << qint64(-1) << qint64(1073741823) << QList<int> { 0, 1, 2 };
}

void TestCloudFile::flushesOnceTheThresholdIsPassed()
{
    QFETCH(qint64, threshold);
    QFETCH(qint64, writtenBefore);
    QFETCH(QList<int>, storesAfterEachWrite);

    MemoryCloudFile file(m_store, fileUrl(QStringLiteral("/new.txt")));
    if (threshold != -1)
        file.setFlushThreshold(threshold);
    file.setWrittenBytes(writtenBefore);
    QVERIFY(file.open(QIODevice::WriteOnly));
    for (int stores : storesAfterEachWrite) {
        file.write("x");
        QCOMPARE(m_store->calls.count(QStringLiteral("put /new.txt")), stores);
    }
    if (storesAfterEachWrite.constLast() > 0)
        QCOMPARE(m_store->entries.value(QStringLiteral("/new.txt")).data, QByteArray("xxx"));

    file.close();
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.writtenBytes(), writtenBefore + storesAfterEachWrite.size());
}

void TestCloudFile::writeResultWhenTheBufferDoesNotGrowByLen_data()
{
    QTest::addColumn<QByteArray>("sizeAfterFlush");
    QTest::addColumn<qint64>("result");

    // Start from "12" and write "abc": the buffer is 5 bytes when flush() runs.
    QTest::newRow("unchanged") << QByteArray("12abc") << qint64(3);
    QTest::newRow("shrunk") << QByteArray("1") << qint64(2 - 1);
    QTest::newRow("grew") << QByteArray("12abc+++") << qint64(2 - 8);
}

void TestCloudFile::writeResultWhenTheBufferDoesNotGrowByLen()
{
    QFETCH(QByteArray, sizeAfterFlush);
    QFETCH(qint64, result);

    MemoryCloudFile file(m_store, fileUrl(QStringLiteral("/new.txt")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("12");
    file.setFlushThreshold(0);
    file.afterPut = [&](QByteArray &buffer) { buffer = sizeAfterFlush; };

    QCOMPARE(file.callWriteData(QByteArrayLiteral("abc")), result);
    QCOMPARE(file.pos(), 2 + result);
}

// A host may seek anywhere up to the end, a negative position included: reads take what
// QByteArray::mid would, and never memory outside the buffer. Past the end, the seek is refused
// and the position stays.
void TestCloudFile::readsClipLikeMid_data()
{
    QTest::addColumn<qint64>("position");
    QTest::addColumn<QByteArray>("read");
    QTest::addColumn<qint64>("positionAfter");

    QTest::newRow("start") << qint64(0) << Remote << qint64(14);
    QTest::newRow("middle") << qint64(7) << QByteArray("content") << qint64(14);
    QTest::newRow("end") << qint64(14) << QByteArray() << qint64(14);
    QTest::newRow("one before the start")
            << qint64(-1) << QByteArray("remote conten") << qint64(12);
    QTest::newRow("reaching the first byte") << qint64(-13) << QByteArray("r") << qint64(-12);
    QTest::newRow("ending at the start") << qint64(-14) << QByteArray() << qint64(-14);
    QTest::newRow("far before the start") << qint64(-1000) << QByteArray() << qint64(-1000);
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

void TestCloudFile::setProgress_data()
{
    QTest::addColumn<qint64>("done");
    QTest::addColumn<qint64>("total");
    QTest::addColumn<QList<int>>("emitted");

    QTest::newRow("rounds down") << qint64(1) << qint64(3) << QList<int> { 33 };
    QTest::newRow("unknown total") << qint64(50) << qint64(0) << QList<int> {};
    QTest::newRow("64-bit arithmetic")
            << qint64(3000000000) << qint64(6000000000) << QList<int> { 50 };
    QTest::newRow("total not known yet") << qint64(10) << qint64(-1) << QList<int> { -1000 };
}

void TestCloudFile::setProgress()
{
    QFETCH(qint64, done);
    QFETCH(qint64, total);
    QFETCH(QList<int>, emitted);

    MemoryCloudFile file(m_store, fileUrl());
    QSignalSpy spy(&file, &CloudFile::progress);
    file.setProgress(done, total);
    QList<int> percents;
    for (const QList<QVariant> &arguments : spy)
        percents.append(arguments.at(0).toInt());
    QCOMPARE(percents, emitted);
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
    QTest::newRow("path found: file")
            << "/docs/a.txt" << true
            << QString::fromLatin1(QCryptographicHash::hash("a", QCryptographicHash::Md5).toHex());
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
void TestCloudFile::renameCopiesThenRemoves_data()
{
    QTest::addColumn<bool>("copyFails");
    QTest::addColumn<QStringList>("calls");

    const QString copy = QStringLiteral("copy /doc.txt /moved.txt");
    QTest::newRow("copied") << false << QStringList { copy, QStringLiteral("remove /doc.txt") };
    QTest::newRow("copy failed") << true << QStringList { copy };
}

void TestCloudFile::renameCopiesThenRemoves()
{
    QFETCH(bool, copyFails);
    m_store->failCopy = copyFails;
    MemoryCloudFile file(m_store, fileUrl());
    QCOMPARE(file.rename(fileUrl(QStringLiteral("/moved.txt"))), !copyFails);
    QTEST(m_store->calls, "calls");
    QCOMPARE(m_store->contains(QStringLiteral("/doc.txt")), copyFails);
    QCOMPARE(m_store->contains(QStringLiteral("/moved.txt")), !copyFails);
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
    QVERIFY(!file.isOpen());
    QVERIFY(!m_store->contains(QStringLiteral("/doc.txt")));

    // Removing what is not there fails with the lookup's code.
    QVERIFY(!file.remove());
    QCOMPARE(file.errorCode(), Cloud::PathNotFound);
}

QTEST_GUILESS_MAIN(TestCloudFile)
#include "tst_cloudfile.moc"
