// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "googledriveserver.h"

#include "googlefile.h"
#include "oauthgoogle.h"

GoogleDriveServer::GoogleDriveServer(QObject *parent)
    : ServerInterface(parent), m_oauth(nullptr) { }

GoogleDriveServer::~GoogleDriveServer()
{
    // Files the host still holds point at the flow: hosts delete their files first.
    delete m_oauth;
}

QString GoogleDriveServer::providerScheme() const
{
    return QStringLiteral("gdapp");
}

QString GoogleDriveServer::providerName() const
{
    //: The provider as Tarnwick lists it: the part of the user's Drive private to Tarnwick.
    return QObject::tr("Google Drive (Privé Tarnwick)");
}

QIcon GoogleDriveServer::providerIcon() const
{
    return QIcon(QStringLiteral(":/icons/Google-Drive-icon.png"));
}

bool GoogleDriveServer::isRemote() const
{
    return true;
}

QString GoogleDriveServer::homePath() const
{
    return QString();
}

CloudFile *GoogleDriveServer::cloudFile(const QUrl &url)
{
    if (!m_oauth)
        m_oauth = new OAuthGoogle(providerScheme(), nullptr);
    if (!m_oauth->isAuthenticated())
        return nullptr;
    return new GoogleFile(providerScheme(), m_oauth, url, nullptr);
}
