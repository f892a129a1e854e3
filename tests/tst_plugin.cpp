// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "cloudfile.h"
#include "cloudobject.h"
#include "consentbrowser.h"
#include "emulatorprocess.h"
#include "serverinterface.h"
#include "testsettings.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
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

// The plug-in as a host sees it: loaded from the build tree with QPluginLoader. What a host
// calls through its own copy of the headers is in tst_binarycontract.
class TestPlugin : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void metadataAndIcon();
    void filesWaitForConsentThenShareIt();

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

// Hosts pick the plug-in by its metadata, which names an IID of its own rather than the
// interface's, the one tst_binarycontract casts to. They have always been handed the icon's exact
// bytes, stored as they are, and nothing else: the chooser's icons are the host's to provide.
// The resource comes and goes with the library.
void TestPlugin::metadataAndIcon()
{
    Loader loader;
    const QJsonObject metadata = loader.metaData();
    QCOMPARE(metadata.value(QStringLiteral("IID")).toString(),
             QStringLiteral("org.tarnwick.googleinterface"));
    QCOMPARE(metadata.value(QStringLiteral("className")).toString(),
             QStringLiteral("GoogleDriveServer"));
    QVERIFY(!metadata.contains(QStringLiteral("MetaData")));

    // Newer Qt versions only add load hints: a plug-in loader keeps its library for good.
    const bool unloads = !loader.loadHints().testFlag(QLibrary::PreventUnloadHint);
    QVERIFY(!unloads || !QFile::exists(IconPath));
    QVERIFY2(loader.load(), qPrintable(loader.errorString()));
    const QResource resource(IconPath);
    QCOMPARE(resource.compressionAlgorithm(), QResource::NoCompression);
    QCOMPARE(QCryptographicHash::hash(resource.uncompressedData(), QCryptographicHash::Md5).toHex(),
             QByteArray("b3263d6e6608ac84aafdd25124eca41b"));
    QCOMPARE(QDir(QStringLiteral(":/icons")).entryList(),
             QStringList(QStringLiteral("Google-Drive-icon.png")));
    QVERIFY(loader.unload() || !unloads);
    QVERIFY(!unloads || !QFile::exists(IconPath));
}

// A file is null until the user consents; then every file shares the one authorisation: one
// consent, one token exchange, whatever the number of files.
void TestPlugin::filesWaitForConsentThenShareIt()
{
    Loader loader;
    auto *server = qobject_cast<ServerInterface *>(loader.instance());
    QVERIFY(server);
    const QUrl url(QStringLiteral("gdapp:/a.txt"));

    m_emulator.setSettings({ { QStringLiteral("autoApprove"), false } });
    ConsentBrowser browser(ConsentBrowser::Deny);
    QVERIFY(!server->cloudFile(url));

    browser.setAnswer(ConsentBrowser::Allow);
    const qsizetype consents = browser.opened().size();
    const int mark = m_emulator.nextRequest();
    std::unique_ptr<CloudFile> first(server->cloudFile(url));
    std::unique_ptr<CloudFile> second(server->cloudFile(url));
    m_emulator.setSettings({ { QStringLiteral("autoApprove"), true } });
    QVERIFY(first && second);
    QVERIFY(first.get() != second.get());
    QVERIFY(!first->parent());
    QCOMPARE(browser.opened().size(), consents + 1);
    int tokenRequests = 0;
    for (const QJsonValue &entry : m_emulator.requests(mark))
        tokenRequests += entry.toObject().value(QStringLiteral("path")).toString()
                == QLatin1String("/o/oauth2/token");
    QCOMPARE(tokenRequests, 1);

    first.reset();
    second.reset();
    delete server;
    loader.unload();
}

QTEST_MAIN(TestPlugin)
#include "tst_plugin.moc"
