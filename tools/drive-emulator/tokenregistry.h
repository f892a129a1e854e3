// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef TOKENREGISTRY_H
#define TOKENREGISTRY_H

#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QList>
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

    enum class AccessCheck { Valid, Unknown, Expired };

    TokenRegistry();
    // Codes and tokens from this seed: the same requests then give the same ones.
    void setSeed(quint32 seed) { m_random.seed(seed); }

    void setJournal(DriveJournal *journal) { m_journal = journal; }
    void load(const QList<QJsonObject> &records);
    QList<QJsonObject> snapshot() const;

    void setAccessTokenLifetime(int seconds) { m_lifetime = seconds; }
    int accessTokenLifetime() const { return m_lifetime; }

    QString issueCode(const AuthorizationCode &code);
    // Codes work once: a taken code is gone, whatever the caller then decides.
    bool takeCode(const QString &code, AuthorizationCode *taken);

    Grant issueTokens(const QString &clientId, const QString &scope);
    bool refresh(const QString &refreshToken, const QString &clientId, Grant *grant);
    AccessCheck checkAccessToken(const QString &token) const;

    void expireAccessTokens();
    void revokeRefreshTokens();
    void clear();

private:
    struct Token
    {
        QString clientId;
        QString scope;
        QDateTime expires; // access tokens only
    };

    QString randomText(int length);
    QString issueAccessToken(const QString &clientId, const QString &scope);
    void record(const QJsonObject &record);
    void apply(const QJsonObject &record);

    QHash<QString, AuthorizationCode> m_codes;
    QHash<QString, Token> m_accessTokens;
    QHash<QString, Token> m_refreshTokens;
    int m_lifetime = 3599;
    DriveJournal *m_journal = nullptr;
    QRandomGenerator m_random;
};

#endif // TOKENREGISTRY_H
