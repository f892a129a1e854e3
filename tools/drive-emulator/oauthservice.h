// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef OAUTHSERVICE_H
#define OAUTHSERVICE_H

#include "httpresponse.h"
#include "tokenregistry.h"

#include <QHash>

// The authorization endpoint with its consent page, and the token endpoint, for installed
// applications that receive the redirect on a loopback address.
class OAuthService
{
public:
    struct Options
    {
        QString clientId;
        QString clientSecret;
        bool autoApprove = false;
    };

    OAuthService(TokenRegistry &tokens, const Options &options);

    void setAutoApprove(bool approve) { m_options.autoApprove = approve; }
    bool autoApprove() const { return m_options.autoApprove; }

    // GET of the authorization endpoint: the consent page, or at once the redirect.
    HttpResponse authorize(const HttpRequest &request);
    // POST of the consent page's form: the redirect with a code or with "access_denied".
    HttpResponse decide(const HttpRequest &request);
    // POST of the token endpoint: the authorization_code and refresh_token grants.
    HttpResponse token(const HttpRequest &request);

private:
    HttpResponse exchangeCode(const QHash<QString, QString> &parameters);
    HttpResponse refresh(const QHash<QString, QString> &parameters);
    HttpResponse approve(const TokenRegistry::AuthorizationCode &consent);
    static HttpResponse redirectWith(const QString &redirectUri,
                                     const QList<QPair<QString, QString>> &items);
    static HttpResponse errorPage(int status, const QString &error, const QString &description);
    static HttpResponse consentPage(const QString &consentId,
                                    const TokenRegistry::AuthorizationCode &consent);

    TokenRegistry &m_tokens;
    Options m_options;
    QHash<QString, TokenRegistry::AuthorizationCode> m_consents; // waiting for an answer
    quint64 m_nextConsent = 1;
};

#endif // OAUTHSERVICE_H
