// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef TOKENREGISTRY_H
#define TOKENREGISTRY_H

#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QString>

#include <optional>

class DriveJournal;

// Authorization codes, access tokens and refresh tokens issued by the emulated OAuth server.
class TokenRegistry
{
public:
    // What a consent grants, and its code then.
    struct AuthorizationCode
    {
        QString clientId;
        QString redirectUri;
        QString scope;
        QString state; // given back with the code
        QString challenge;
        QString challengeMethod;
        QDateTime expires;
    };

    // Keeps every change in the journal.
    explicit TokenRegistry(DriveJournal &journal);
    // Codes and tokens from this seed: the same requests then give the same ones.
    void setSeed(quint32 seed) { m_random.seed(seed); }
    // Reads the tokens the journal holds.
    void load();

    void setAccessTokenLifetime(int seconds) { m_lifetime = seconds; }
    int accessTokenLifetime() const { return m_lifetime; }

    QString issueCode(const AuthorizationCode &code);
    // Codes work once: a taken code is gone, whatever the caller then decides.
    bool takeCode(const QString &code, AuthorizationCode *taken);

    // The token endpoint's answers: an access token and a refresh token, or a new access token
    // for a refresh token, which stays valid; none when it is not one of the client's.
    QJsonObject issueTokens(const QString &clientId, const QString &scope);
    std::optional<QJsonObject> refresh(const QString &refreshToken, const QString &clientId);
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

    QJsonObject grant(const QString &clientId, const QString &scope);
    void keep(const QString &token, const Token &issued);
    void record(const QString &token, const Token &issued);
    // Removes the tokens which says, here and in the journal.
    void forget(bool (*which)(const Token &));

    QHash<QString, AuthorizationCode> m_codes;
    QHash<QString, Token> m_tokens;
    int m_lifetime = 0;
    DriveJournal &m_journal;
    QRandomGenerator m_random;
};

#endif // TOKENREGISTRY_H
