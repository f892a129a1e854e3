// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef PLUGINLOCATOR_H
#define PLUGINLOCATOR_H

#include <QPluginLoader>
#include <QStringList>

class ServerInterface;

// Finds the storage provider plug-in and loads it the way Tarnwick does: with QPluginLoader,
// then a cast of its root object to ServerInterface. Looks, in order, at the path given on the
// command line, GDAPP_PLUGIN_PATH, the build tree and the installed plug-in folders.
class PluginLocator
{
public:
    explicit PluginLocator(const QString &explicitPath);
    ~PluginLocator();

    // The provider, or null with errorString() saying why.
    ServerInterface *load();
    QString errorString() const { return m_error; }
    QString path() const { return m_loader.fileName(); }
    QStringList candidates() const;

private:
    QString m_explicitPath;
    QPluginLoader m_loader;
    QString m_error;
};

#endif // PLUGINLOCATOR_H
