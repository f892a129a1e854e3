// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef OAUTHSERVICE_H
#define OAUTHSERVICE_H

#include "httpresponse.h"

#include <QDateTime>
#include <QHash>
#include <QRandomGenerator>

#include <optional>

class DriveJournal;

// The OAuth 2.0 server of installed applications, which receive the redirect on a loopback
// address: the authorization endpoint with its consent page, the token endpoint, and the codes
// and tokens they issue. Tokens are kept in the journal; codes and consents live in memory.
class OAuthService
{
public:
    struct Options
    {
        QString clientId;
        QString clientSecret;
        bool autoApprove = false;
        int tokenTtl = 0; // seconds an access token lasts
    };

    OAuthService(DriveJournal &journal, const Options &options);
    // Codes and tokens from this seed: the same requests then give the same ones.
    void setSeed(quint32 seed) { m_random.seed(seed); }
    // Reads the tokens the journal holds.
    void load();
    // What the control endpoints may change.
    Options &options() { return m_options; }

    // GET of the authorization endpoint: the consent page, or at once the redirect.
    HttpResponse authorize(const HttpRequest &request);
    // POST of the consent page's form: the redirect with a code or with "access_denied".
    HttpResponse decide(const HttpRequest &request);
    // POST of the token endpoint: the authorization_code and refresh_token grants.
    HttpResponse token(const HttpRequest &request);

    bool isValidAccessToken(const QString &token) const;
    // An access and a refresh token, as the token endpoint gives them for a code.
    QJsonObject issueTokens(const QString &clientId, const QString &scope);
    void expireAccessTokens();
    void revokeRefreshTokens();
    // Forgets every code and token.
    void clear();

private:
    // What a consent grants, kept while the consent waits and then under its code.
    struct Consent
    {
        QString clientId;
        QString redirectUri;
        QString scope;
        QString state; // given back with the code
        QString challenge;
        QString challengeMethod;
        QDateTime expires; // of the code
    };

    struct Token
    {
        bool refresh = false;
        QString clientId;
        QString scope;
        QDateTime expires; // access tokens only
    };

    HttpResponse exchangeCode(const QHash<QString, QString> &parameters);
    HttpResponse refresh(const QHash<QString, QString> &parameters);
    HttpResponse approve(Consent consent);
    static HttpResponse redirectWith(const QString &redirectUri,
                                     const QList<QPair<QString, QString>> &items);
    static HttpResponse consentPage(const QString &consentId, const Consent &consent);
    // A new access token, as the token endpoint answers.
    QJsonObject grant(const QString &clientId, const QString &scope);
    void keep(const QString &token, const Token &issued);
    void record(const QString &token, const Token &issued);
    // Removes the tokens which says, here and in the journal.
    void forget(bool (*which)(const Token &));

    DriveJournal &m_journal;
    Options m_options;
    QRandomGenerator m_random;
    QHash<QString, Consent> m_consents; // waiting for an answer, by number
    quint64 m_nextConsent = 1;
    QHash<QString, Consent> m_codes;
    QHash<QString, Token> m_tokens;
};

#endif // OAUTHSERVICE_H
