// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "cloudfile.h"
#include "cloudobject.h"
#include "consentbrowser.h"
#include "emulatorprocess.h"
#include "serverinterface.h"
#include "testsettings.h"

#include <QDir>
#include <QFile>
#include <QIcon>
#include <QOAuth2AuthorizationCodeFlow>
#include <QPluginLoader>
#include <QResource>
#include <QSettings>
#include <QtTest>

namespace {
const QString IconPath = QStringLiteral(":/icons/Google-Drive-icon.png");

// QPluginLoader keeps libraries loaded unless told otherwise; these tests unload for real.
class Loader : public QPluginLoader
{
public:
    Loader() : QPluginLoader(QStringLiteral(GDAPP_PLUGIN_PATH))
    {
        setLoadHints(QLibrary::LoadHints());
    }
};
} // namespace

// The plug-in as a host sees it: loaded from the build tree with QPluginLoader.
class TestPlugin : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void metadata();
    void rootObjectIsAProvider();
    void iconResourceLivesWithTheLibrary();
    void instanceIsCreatedAgainAfterDeletion();
    void twoFilesShareOneAuthorisation();
    void nullWhileNotAuthorisedThenAFile();

private:
    EmulatorProcess m_emulator;
};

void TestPlugin::initTestCase()
{
    // Qt's type registry keeps pointers into the library that registered a type. A host that
    // unloads plug-ins must register the framework's types itself, as Tarnwick does at start-up,
    // and keep loaded the Qt libraries that only the plug-in uses (Qt NetworkAuth registers
    // types too): otherwise loading the plug-in again reads entries that dangle.
    qRegisterMetaType<CloudObject *>("CloudObject*");
    qRegisterMetaType<QList<CloudObject *>>("QList<CloudObject*>");
    qRegisterMetaType<QOAuth2AuthorizationCodeFlow *>();
    QVERIFY(TestSettings::startForTheFlow(m_emulator, QStringLiteral("tst_plugin")));
}

void TestPlugin::cleanup()
{
    QSettings().clear();
}

void TestPlugin::metadata()
{
    Loader loader;
    const QJsonObject metadata = loader.metaData();
    QCOMPARE(metadata.value(QStringLiteral("IID")).toString(),
             QStringLiteral("org.tarnwick.googleinterface"));
    QCOMPARE(metadata.value(QStringLiteral("className")).toString(),
             QStringLiteral("GoogleDriveServer"));
    QVERIFY(!metadata.contains(QStringLiteral("MetaData")));
    QCOMPARE(metadata.value(QStringLiteral("version")).toInt(),
             QT_VERSION_MAJOR << 16 | QT_VERSION_MINOR << 8);
}

void TestPlugin::rootObjectIsAProvider()
{
    Loader loader;
    QObject *root = loader.instance();
    QVERIFY2(root, qPrintable(loader.errorString()));
    auto *server = qobject_cast<ServerInterface *>(root);
    QVERIFY(server);
    QCOMPARE(root->qt_metacast("com.mirtole.Tarnwick.FileInterface/1.0"),
             static_cast<void *>(server));
    QCOMPARE(root->metaObject()->className(), "GoogleDriveServer");
    // The plug-in's own IID is not the interface's.
    QVERIFY(!root->qt_metacast("org.tarnwick.googleinterface"));

    // The other provider calls go through a host's own headers in the binary contract's test.
    const QIcon icon = server->providerIcon();
    QVERIFY(!icon.isNull());
    QCOMPARE(icon.availableSizes(), QList<QSize> { QSize(32, 32) });
    QVERIFY(icon.pixmap(32, 32).hasAlphaChannel());
    // Hosts have always been handed these exact bytes, stored as they are.
    const QResource resource(IconPath);
    QCOMPARE(resource.size(), qint64(1829));
    QCOMPARE(resource.compressionAlgorithm(), QResource::NoCompression);
    // And nothing else: the chooser's icons are the host's to provide.
    QCOMPARE(QDir(QStringLiteral(":/icons")).entryList(),
             QStringList(QStringLiteral("Google-Drive-icon.png")));
    loader.unload();
}

void TestPlugin::iconResourceLivesWithTheLibrary()
{
    Loader loader;
    // Newer Qt versions only add load hints: a plug-in loader keeps its library for good.
    if (loader.loadHints().testFlag(QLibrary::PreventUnloadHint))
        QSKIP("this Qt never unloads plug-ins, so the resource cannot be seen to go");
    QVERIFY(!QFile::exists(IconPath));
    QVERIFY(loader.load());
    QFile icon(IconPath);
    QVERIFY(icon.open(QIODevice::ReadOnly));
    const QByteArray png = icon.readAll();
    QVERIFY(png.startsWith("\x89PNG\r\n\x1a\n"));
    QCOMPARE(png.mid(16, 8), QByteArray("\0\0\0\x20\0\0\0\x20", 8)); // 32 by 32
    QCOMPARE(png.at(25), char(6)); // RGBA
    icon.close();
    QVERIFY(loader.unload());
    QVERIFY(!QFile::exists(IconPath));
}

void TestPlugin::instanceIsCreatedAgainAfterDeletion()
{
    Loader loader;
    QPointer<QObject> first = loader.instance();
    QVERIFY(first);
    QCOMPARE(loader.instance(), first.data());
    delete first.data();
    QVERIFY(!first);
    QObject *second = loader.instance();
    QVERIFY(second);
    QVERIFY(qobject_cast<ServerInterface *>(second));
    loader.unload();
}

void TestPlugin::twoFilesShareOneAuthorisation()
{
    Loader loader;
    auto *server = qobject_cast<ServerInterface *>(loader.instance());
    QVERIFY(server);
    ConsentBrowser browser;
    const int mark = m_emulator.nextRequest();

    const QUrl url(QStringLiteral("gdapp:/a.txt"));
    std::unique_ptr<CloudFile> first(server->cloudFile(url));
    std::unique_ptr<CloudFile> second(server->cloudFile(url));
    QVERIFY(first && second);
    QVERIFY(first.get() != second.get());
    QCOMPARE(first->scheme(), QStringLiteral("gdapp"));
    QCOMPARE(first->filename(false), url);
    QVERIFY(!first->parent());

    // One consent, one token exchange, whatever the number of files.
    QCOMPARE(browser.opened().size(), 1);
    int tokenRequests = 0;
    for (const QJsonValue &entry : m_emulator.requests(mark))
        tokenRequests += entry.toObject().value(QStringLiteral("path")).toString()
                == QLatin1String("/o/oauth2/token");
    QCOMPARE(tokenRequests, 1);

    // Both work against the service.
    QString etag;
    m_emulator.seedFile(QStringLiteral("/a.txt"), "x");
    QVERIFY(first->exists(etag));
    QVERIFY(second->exists(etag));

    first.reset();
    second.reset();
    delete loader.instance();
    loader.unload();
}

void TestPlugin::nullWhileNotAuthorisedThenAFile()
{
    Loader loader;
    auto *server = qobject_cast<ServerInterface *>(loader.instance());
    QVERIFY(server);
    const QUrl url(QStringLiteral("gdapp:/a.txt"));

    m_emulator.setSettings({ { QStringLiteral("autoApprove"), false } });
    ConsentBrowser browser(ConsentBrowser::Deny);
    QVERIFY(!server->cloudFile(url));

    browser.setAnswer(ConsentBrowser::Allow);
    std::unique_ptr<CloudFile> file(server->cloudFile(url));
    QVERIFY(file);
    QCOMPARE(file->filename(false), url);
    m_emulator.setSettings({ { QStringLiteral("autoApprove"), true } });

    file.reset();
    delete loader.instance();
    loader.unload();
}

QTEST_MAIN(TestPlugin)
#include "tst_plugin.moc"
