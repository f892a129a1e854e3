// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef TOKENREGISTRY_H
#define TOKENREGISTRY_H

#include "emulatordefaults.h"

#include <QDateTime>
#include <QHash>
#include <QRandomGenerator>
#include <QString>

class DriveJournal;

// Authorization codes, access tokens and refresh tokens issued by the emulated OAuth server.
class TokenRegistry
{
public:
    struct AuthorizationCode
    {
        QString clientId;
        QString redirectUri;
        QString scope;
        QString challenge;
        QString challengeMethod;
        QDateTime expires;
    };

    struct Grant
    {
        QString accessToken;
        QString refreshToken; // empty when refreshing: the original one stays valid
        QString scope;
        int expiresIn = 0;
    };

    TokenRegistry();
    // Codes and tokens from this seed: the same requests then give the same ones.
    void setSeed(quint32 seed) { m_random.seed(seed); }
    // Reads the tokens the journal holds, and keeps every change there from now on.
    void load(DriveJournal *journal);

    void setAccessTokenLifetime(int seconds) { m_lifetime = seconds; }
    int accessTokenLifetime() const { return m_lifetime; }

    QString issueCode(const AuthorizationCode &code);
    // Codes work once: a taken code is gone, whatever the caller then decides.
    bool takeCode(const QString &code, AuthorizationCode *taken);

    Grant issueTokens(const QString &clientId, const QString &scope);
    bool refresh(const QString &refreshToken, const QString &clientId, Grant *grant);
    bool isValidAccessToken(const QString &token) const;

    void expireAccessTokens();
    void revokeRefreshTokens();
    void clear();

private:
    struct Token
    {
        bool refresh = false;
        QString clientId;
        QString scope;
        QDateTime expires; // access tokens only
    };

    QString issueAccessToken(const QString &clientId, const QString &scope);
    void keep(const QString &token, const Token &issued);
    void record(const QString &token, const Token &issued);

    QHash<QString, AuthorizationCode> m_codes;
    QHash<QString, Token> m_tokens;
    int m_lifetime = EmulatorDefaults::TokenTtl;
    DriveJournal *m_journal = nullptr;
    QRandomGenerator m_random;
};

#endif // TOKENREGISTRY_H
