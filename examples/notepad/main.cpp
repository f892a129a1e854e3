// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

// A host of the storage provider, as small as it gets: it loads the plug-in the way Tarnwick
// does and edits text documents kept in the user's Drive.

#include "notepadwindow.h"
#include "serverinterface.h"
#include "settingsfile.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QLocale>
#include <QMessageBox>
#include <QNetworkProxy>
#include <QPluginLoader>
#include <QTranslator>

#include <utility>

namespace {
// GDAPP_PLUGIN_PATH, else where the package puts the plug-in: Tarnwick's folder among Qt's
// plug-ins. (gdapp has the same search; a host has its own.)
QString pluginPath()
{
    const QString fromEnvironment = qEnvironmentVariable("GDAPP_PLUGIN_PATH");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
#ifdef GDAPP_BUILD_PLUGIN_PATH
    const QDir programs(QCoreApplication::applicationDirPath());
    for (const QString &candidate : { QStringLiteral(GDAPP_BUILD_PLUGIN_PATH),
                                      programs.absoluteFilePath(QStringLiteral(
                                              "../" GDAPP_INSTALL_PLUGIN_DIR "/libgdrive.so")) }) {
        if (QFileInfo::exists(candidate))
            return candidate;
    }
#endif
    return QLibraryInfo::path(QLibraryInfo::PluginsPath) + QStringLiteral("/tarnwick/libgdrive.so");
}

// The plug-in's requests take the application's proxy. Qt's default is the system's
// configuration (on Linux, the proxy variables of the environment); a host that lets its user
// name another, as a real one would in its preferences, sets it before the first request.
void useProxy()
{
    const QUrl proxy(qEnvironmentVariable("GDAPP_NOTEPAD_PROXY"));
    if (proxy.host().isEmpty())
        return;
    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::HttpProxy, proxy.host(),
                                                     quint16(proxy.port(3128)), proxy.userName(),
                                                     proxy.password()));
}

// The plug-in's texts, in its chooser and errors, in the user's language: the package installs
// its catalogues in share/gdapp/translations.
void installTranslations(QApplication &application)
{
    QStringList folders;
#ifdef GDAPP_BUILD_TRANSLATIONS_DIR
    const QDir programs(QCoreApplication::applicationDirPath());
    folders << QStringLiteral(GDAPP_BUILD_TRANSLATIONS_DIR)
            << programs.absoluteFilePath(QStringLiteral("../" GDAPP_INSTALL_TRANSLATIONS_DIR));
#endif
    folders << QLibraryInfo::path(QLibraryInfo::PrefixPath)
                    + QStringLiteral("/share/gdapp/translations");
    for (const QString &folder : std::as_const(folders)) {
        auto *translator = new QTranslator(&application);
        if (translator->load(QLocale(), QStringLiteral("gdapp"), QStringLiteral("_"), folder)) {
            QCoreApplication::installTranslator(translator);
            return;
        }
        delete translator;
    }
}
} // namespace

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    // The plug-in keeps its tokens in the host's settings: these.
    QCoreApplication::setOrganizationName(QStringLiteral("Tarnwick"));
    QCoreApplication::setApplicationName(QStringLiteral("gdapp-notepad"));
    installTranslations(application);
    QString error;
    if (!SettingsFile::protect(&error)) {
        QMessageBox::critical(nullptr, QStringLiteral("Notepad"),
                              QStringLiteral("The settings file cannot be kept private, and the "
                                             "plug-in keeps the user's tokens there: %1")
                                      .arg(error));
        return 1;
    }
    useProxy();

    // Keep the library loaded until the process ends (the loader's default): Qt's type registry
    // points into it.
    QPluginLoader loader(pluginPath());
    auto *provider = qobject_cast<ServerInterface *>(loader.instance());
    if (!provider) {
        QMessageBox::critical(nullptr, QStringLiteral("Notepad"),
                              QStringLiteral("No storage provider in %1: %2")
                                      .arg(loader.fileName(), loader.errorString()));
        return 1;
    }

    int status = 0;
    {
        NotepadWindow window(provider);
        window.show();
        status = QApplication::exec();
    } // the window, and every cloud file it held, go before the provider
    // The root object goes before the application object, while the network thread of its
    // access manager can still stop; left to Qt it would go only at exit.
    delete loader.instance();
    return status;
}
