// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef OAUTHSERVICE_H
#define OAUTHSERVICE_H

#include "httpresponse.h"
#include "tokenregistry.h"

#include <QHash>
#include <QMultiMap>
#include <QVariant>

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

    static bool handles(const QByteArray &path);
    HttpResponse handle(const HttpRequest &request);
    // A fault's status as this endpoint would put it.
    static HttpResponse errorForStatus(int status);

private:
    struct Consent
    {
        TokenRegistry::AuthorizationCode code;
        QString state;
    };

    HttpResponse authorize(const HttpRequest &request);
    HttpResponse decide(const HttpRequest &request);
    HttpResponse token(const HttpRequest &request);
    HttpResponse exchangeCode(const QMultiMap<QString, QString> &parameters);
    HttpResponse refresh(const QMultiMap<QString, QString> &parameters);
    HttpResponse approve(const Consent &consent);
    HttpResponse deny(const Consent &consent);
    HttpResponse redirectWith(const QString &redirectUri, const QueryItems &items) const;
    HttpResponse errorPage(int status, const QString &error, const QString &description) const;
    HttpResponse consentPage(const QString &consentId, const Consent &consent) const;
    static HttpResponse tokenError(int status, const QString &error, const QString &description);
    static HttpResponse grantAnswer(const TokenRegistry::Grant &grant);

    TokenRegistry &m_tokens;
    Options m_options;
    QHash<QString, Consent> m_consents;
    quint64 m_nextConsent = 1;
};

#endif // OAUTHSERVICE_H
