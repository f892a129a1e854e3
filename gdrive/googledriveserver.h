// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef GOOGLEDRIVESERVER_H
#define GOOGLEDRIVESERVER_H

#include "serverinterface.h"

class OAuthGoogle;

// The plug-in's root object: the provider for the application-data folder of a Drive account.
class GoogleDriveServer : public ServerInterface
{
    Q_OBJECT
    // Contract: the plug-in's IID is not the interface's; hosts find it by the one, cast by the
    // other.
    Q_PLUGIN_METADATA(IID "org.tarnwick.googleinterface")
    Q_INTERFACES(ServerInterface)

public:
    explicit GoogleDriveServer(QObject *parent = nullptr);
    ~GoogleDriveServer() override;

    QString providerScheme() const override;
    QString providerName() const override;
    QIcon providerIcon() const override;
    bool isRemote() const override;
    QString homePath() const override;
    // Authorises on first use (browser consent or token refresh, blocking), then answers a
    // new file while the authorisation holds, null otherwise.
    CloudFile *cloudFile(const QUrl &url) override;

private:
    OAuthGoogle *m_oauth;
};

#endif // GOOGLEDRIVESERVER_H
