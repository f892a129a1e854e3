// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

// A host compiled against its own copy of the provider headers, written from the declared
// order of fields and virtual functions, with no meta-object code. It must reach the plug-in's
// objects through the same vtable slots and field offsets. Nothing of the project's own
// framework is linked into this test.
#include "consentbrowser.h"
#include "emulatorprocess.h"
#include "testsettings.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QIODevice>
#include <QIcon>
#include <QPluginLoader>
#include <QSignalSpy>
#include <QtTest>

namespace host {

// The lookup's status and the error code of a path that did not resolve, as the host knows them.
enum : int { PathFound = 2, PathNotFound = 403 };

class CloudObject
{
public:
    virtual ~CloudObject() = default;
    virtual QString fileName() const = 0;
    virtual QString filePath() const = 0;
    virtual QString fullPath() const = 0;
    virtual QString parent() const = 0;
    virtual QString contentType() const = 0;
    virtual quint64 bytes() const = 0;
    virtual QDateTime lastModified() const = 0;
    virtual bool isFolder() const = 0;
    virtual QString etag() const = 0;
    virtual QString id() const = 0;
    virtual void cdup() = 0;
    virtual void cd(const CloudObject *child) = 0;

    QString fileName_;
    QString filePath_;
    QString contentType_;
    bool isFolder_;
    quint64 bytes_;
    QDateTime lastModified_;
    QString etag_;
    QString id_;
};

class CloudFile : public QIODevice
{
public:
    virtual QUrl filename(bool schemeOnly) const = 0;
    virtual QString scheme() const = 0;
    virtual void setFilename(const QUrl &url) = 0;
    virtual bool copy(const QUrl &to) = 0;
    virtual bool copy(const QUrl &from, const QUrl &to) = 0;
    virtual bool remove() = 0;
    virtual bool remove(const QUrl &url) = 0;
    virtual bool remove(const CloudObject *object) = 0;
    virtual bool rename(const QUrl &to) = 0;
    virtual bool rename(const QUrl &from, const QUrl &to) = 0;
    virtual bool exists(QString &etag) = 0;
    virtual bool exists(const QUrl &url, QString &etag) = 0;
    virtual bool listObjects(const CloudObject *folder) = 0;
    virtual CloudObject *getObjectFromPath(const QUrl &url, int &status) = 0;
    virtual CloudObject *getCloudObject() = 0;
    virtual bool mkdir(CloudObject *parent, const QString &name) = 0;
    virtual QUrl getOpenFileName(QWidget *parent, const QString &caption, const QString &dir,
                                 const QString &filter) = 0;
    virtual QUrl getSaveFileName(QWidget *parent, const QString &caption, const QString &dir,
                                 const QString &filter) = 0;
    virtual bool getFile() = 0;
    virtual bool putFile() = 0;

    // Non-virtual members as the host compiles them: straight from the fields.
    bool flush() { return putFile(); }
    int errorCode() const { return errorCode_; }
    qint64 flushThreshold() const { return flushThreshold_; }

    QUrl url_;
    QByteArray buffer_;
    int errorCode_;
    qint64 flushThreshold_;
    qint64 writtenBytes_;
    bool overwrite_;
    int position_;
};

class ServerInterface : public QObject
{
public:
    virtual QString providerScheme() const = 0;
    virtual QString providerName() const = 0;
    virtual QIcon providerIcon() const = 0;
    virtual bool isRemote() const = 0;
    virtual QString homePath() const = 0;
    virtual CloudFile *cloudFile(const QUrl &url) = 0;
};

} // namespace host

class TestBinaryContract : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void hostCallsThePluginThroughItsOwnHeaders();

private:
    EmulatorProcess m_emulator;
};

void TestBinaryContract::initTestCase()
{
    QVERIFY(TestSettings::startForTheFlow(m_emulator, QStringLiteral("tst_binarycontract")));
}

// Each call goes through the host's own vtable slot and each field is read at the host's own
// offset; what the plug-in does beyond that is the other suites' to prove.
void TestBinaryContract::hostCallsThePluginThroughItsOwnHeaders()
{
    const QByteArray content("contract content\n");
    m_emulator.seedFile(QStringLiteral("/docs/a.txt"), content);
    const QUrl url(QStringLiteral("gdapp:/docs/a.txt"));

    QPluginLoader loader(QStringLiteral(GDAPP_PLUGIN_PATH));
    QObject *root = loader.instance();
    QVERIFY2(root, qPrintable(loader.errorString()));
    auto *server = static_cast<host::ServerInterface *>(
            root->qt_metacast("com.mirtole.Tarnwick.FileInterface/1.0"));
    QVERIFY(server);
    QCOMPARE(server->providerScheme(), QStringLiteral("gdapp"));
    QCOMPARE(server->providerName(), QStringLiteral("Google Drive (Privé Tarnwick)"));
    QVERIFY(!server->providerIcon().isNull());
    QVERIFY(server->isRemote());
    QVERIFY(server->homePath().isNull());

    ConsentBrowser browser;
    host::CloudFile *file = server->cloudFile(url);
    QVERIFY(file);
    QCOMPARE(file->scheme(), QStringLiteral("gdapp"));
    QCOMPARE(file->filename(false), url);
    QCOMPARE(file->url_, url);
    QCOMPARE(file->flushThreshold(), qint64(1073741824));
    QVERIFY(file->overwrite_);

    int status = -1;
    host::CloudObject *object = file->getObjectFromPath(url, status);
    QCOMPARE(status, host::PathFound);
    QCOMPARE(object->fileName(), QStringLiteral("a.txt"));
    QCOMPARE(object->fileName_, QStringLiteral("a.txt"));
    QCOMPARE(object->bytes(), quint64(content.size()));
    QCOMPARE(object->bytes_, quint64(content.size()));
    QVERIFY(!object->isFolder_);
    QCOMPARE(object->etag(),
             QString::fromLatin1(
                     QCryptographicHash::hash(content, QCryptographicHash::Md5).toHex()));
    QCOMPARE(object->id_, object->id());
    QVERIFY(object->lastModified_.isValid());
    delete object;

    QString etag;
    QVERIFY(file->exists(etag));
    QVERIFY(!file->exists(QUrl(QStringLiteral("gdapp:/docs/missing.txt")), etag));
    QCOMPARE(file->errorCode(), host::PathNotFound);
    QVERIFY(file->open(QIODevice::ReadOnly));
    QCOMPARE(file->buffer_, content);

    // Listing, received through a string-based connection.
    host::CloudObject *top = file->getCloudObject();
    QCOMPARE(top->id(), QStringLiteral("appDataFolder"));
    QSignalSpy listed(file, SIGNAL(objectList(QList<CloudObject *>)));
    QVERIFY(file->listObjects(top));
    QCOMPARE(listed.count(), 1);
    const auto objects =
            *reinterpret_cast<const QList<host::CloudObject *> *>(listed.at(0).at(0).constData());
    QCOMPARE(objects.size(), 1);
    QCOMPARE(objects.first()->fileName(), QStringLiteral("docs"));
    QVERIFY(objects.first()->isFolder_);
    qDeleteAll(objects);

    // A folder, then a new file in it, written and stored.
    QVERIFY(file->mkdir(top, QStringLiteral("made")));
    QCOMPARE(top->fileName(), QStringLiteral("made"));
    delete top;
    host::CloudFile *created = server->cloudFile(QUrl(QStringLiteral("gdapp:/made/new.txt")));
    QVERIFY(created);
    QSignalSpy progress(created, SIGNAL(progress(int)));
    QVERIFY(created->open(QIODevice::WriteOnly));
    QCOMPARE(created->write("written by the host"), qint64(19));
    QCOMPARE(created->writtenBytes_, qint64(19));
    QCOMPARE(created->position_, 19);
    QVERIFY(created->flush());
    QVERIFY(!progress.isEmpty());

    QVERIFY(created->rename(QUrl(QStringLiteral("gdapp:/made/renamed.txt"))));
    QVERIFY(!created->copy(QUrl(QStringLiteral("gdapp:/made/copy.txt")))); // the old name is gone
    QVERIFY(file->remove(QUrl(QStringLiteral("gdapp:/made/renamed.txt"))));
    QVERIFY(file->remove());

    delete created;
    delete file;
    delete root;
    loader.unload();
}

QTEST_MAIN(TestBinaryContract)
#include "tst_binarycontract.moc"
