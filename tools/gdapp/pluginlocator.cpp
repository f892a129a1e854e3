// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "pluginlocator.h"

#include "serverinterface.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibraryInfo>

namespace {
const QString PluginFile = QStringLiteral("libgdrive.so");
} // namespace

PluginLocator::PluginLocator(const QString &explicitPath) : m_explicitPath(explicitPath) { }

// The library stays loaded, as hosts must keep it, but its root object goes now. Left to Qt, it
// would be destroyed only as the process ends, after the application object, when the network
// thread of its access manager can no longer be stopped and is leaked.
PluginLocator::~PluginLocator()
{
    if (m_loader.isLoaded())
        delete m_loader.instance();
}

QStringList PluginLocator::candidates() const
{
    if (!m_explicitPath.isEmpty())
        return { m_explicitPath };
    const QString fromEnvironment = qEnvironmentVariable("GDAPP_PLUGIN_PATH");
    if (!fromEnvironment.isEmpty())
        return { fromEnvironment };
    const QDir executable(QCoreApplication::applicationDirPath());
    return {
        QStringLiteral(GDAPP_BUILD_PLUGIN_PATH),
        executable.absoluteFilePath(QStringLiteral("../" GDAPP_INSTALL_PLUGIN_DIR "/")
                                    + PluginFile),
        QLibraryInfo::path(QLibraryInfo::PluginsPath) + QStringLiteral("/tarnwick/") + PluginFile,
    };
}

ServerInterface *PluginLocator::load()
{
    const QStringList paths = candidates();
    QString found;
    for (const QString &path : paths) {
        if (QFileInfo(path).isFile()) {
            found = path;
            break;
        }
    }
    if (found.isEmpty()) {
        m_error = QStringLiteral("no plug-in found; looked at:\n  ")
                + paths.join(QStringLiteral("\n  "))
                + QStringLiteral("\nGive one with --plugin PATH or GDAPP_PLUGIN_PATH.");
        return nullptr;
    }
    m_loader.setFileName(found);
    QObject *root = m_loader.instance();
    if (!root) {
        m_error = QStringLiteral("%1 cannot be loaded: %2").arg(found, m_loader.errorString());
        return nullptr;
    }
    auto *server = qobject_cast<ServerInterface *>(root);
    if (!server)
        m_error = QStringLiteral("%1 is not a storage provider plug-in (it does not implement %2)")
                          .arg(found, QStringLiteral(ServerInterface_iid));
    return server;
}
