// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef OAUTHGOOGLE_H
#define OAUTHGOOGLE_H

#include <QNetworkReply>
#include <QOAuth2AuthorizationCodeFlow>

class O2SettingsStore;

// The authorization-code flow of the plug-in: the consent page opens in the browser, the
// redirect comes back to a loopback listener, and the tokens are kept enciphered in the
// host application's settings under "<name>/token", "<name>/refreshtoken" and
// "<name>/expires". Granting blocks its caller in a local event loop.
class OAuthGoogle : public QOAuth2AuthorizationCodeFlow
{
    Q_OBJECT

public:
    // Returns once a first grant has finished: a refresh when a refresh token is stored,
    // otherwise the browser consent.
    OAuthGoogle(const QString &name, QObject *parent);
    ~OAuthGoogle() override;

    // True once a grant has succeeded; grants again first when the token has run out.
    bool isAuthenticated();

signals:
    void authenticated();

public slots:
    void grant() override;

private:
    void onStatusChanged(QAbstractOAuth::Status status);
    bool isFailedRefresh() const;
    void onServerError(QNetworkReply::NetworkError error, const QString &text);
    QString key(const char *which) const;

    bool m_granted;
    QString m_name;
    O2SettingsStore *m_store;
};

#endif // OAUTHGOOGLE_H
