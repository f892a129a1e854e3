// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef SERVERINTERFACE_H
#define SERVERINTERFACE_H

#include <QIcon>
#include <QObject>
#include <QString>
#include <QUrl>

class CloudFile;

// What a storage provider plug-in offers its host: a URL scheme, a name and icon to show, and
// cloud files for URLs of that scheme. Hosts are compiled against their own copy of this
// header: keep the order of the virtual functions.
class ServerInterface : public QObject
{
public:
    using QObject::QObject;

    virtual QString providerScheme() const = 0;
    virtual QString providerName() const = 0;
    virtual QIcon providerIcon() const = 0;
    virtual bool isRemote() const = 0;
    virtual QString homePath() const = 0;
    // A new file for url, owned by the caller, or null when the provider cannot serve it now.
    virtual CloudFile *cloudFile(const QUrl &url) = 0;
};

#define ServerInterface_iid "com.mirtole.Tarnwick.FileInterface/1.0"
Q_DECLARE_INTERFACE(ServerInterface, ServerInterface_iid)

#endif // SERVERINTERFACE_H
