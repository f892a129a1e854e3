// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "tokenregistry.h"

#include "drivejournal.h"

namespace {
const QString TokenCharacters =
        QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_");
constexpr int CodeLifetime = 600;

const QString AccessTokenRecord = QStringLiteral("access-token");
const QString RefreshTokenRecord = QStringLiteral("refresh-token");
const QString ExpireRecord = QStringLiteral("expire-access-tokens");
const QString RevokeRecord = QStringLiteral("revoke-refresh-tokens");
} // namespace

TokenRegistry::TokenRegistry() : m_random(QRandomGenerator::securelySeeded()) { }

QString TokenRegistry::randomText(int length)
{
    QString text;
    for (int i = 0; i < length; ++i)
        text += TokenCharacters.at(int(m_random.bounded(quint32(TokenCharacters.size()))));
    return text;
}

QString TokenRegistry::issueCode(const AuthorizationCode &code)
{
    // Like the real codes: "4/" then opaque text, so the slash arrives percent-encoded.
    const QString text = QStringLiteral("4/0A") + randomText(40);
    AuthorizationCode stored = code;
    stored.expires = QDateTime::currentDateTimeUtc().addSecs(CodeLifetime);
    m_codes.insert(text, stored);
    return text;
}

bool TokenRegistry::takeCode(const QString &code, AuthorizationCode *taken)
{
    const auto it = m_codes.constFind(code);
    if (it == m_codes.cend())
        return false;
    *taken = *it;
    m_codes.erase(it);
    return taken->expires > QDateTime::currentDateTimeUtc();
}

QString TokenRegistry::issueAccessToken(const QString &clientId, const QString &scope)
{
    const QString token = QStringLiteral("ya29.") + randomText(60);
    const QDateTime expires = QDateTime::currentDateTimeUtc().addSecs(m_lifetime);
    m_accessTokens.insert(token, { clientId, scope, expires });
    record({ { QStringLiteral("op"), AccessTokenRecord },
             { QStringLiteral("token"), token },
             { QStringLiteral("clientId"), clientId },
             { QStringLiteral("scope"), scope },
             { QStringLiteral("expires"), expires.toString(Qt::ISODateWithMs) } });
    return token;
}

TokenRegistry::Grant TokenRegistry::issueTokens(const QString &clientId, const QString &scope)
{
    Grant grant;
    grant.accessToken = issueAccessToken(clientId, scope);
    grant.refreshToken = QStringLiteral("1//0g") + randomText(40);
    grant.scope = scope;
    grant.expiresIn = m_lifetime;
    m_refreshTokens.insert(grant.refreshToken, { clientId, scope, QDateTime() });
    record({ { QStringLiteral("op"), RefreshTokenRecord },
             { QStringLiteral("token"), grant.refreshToken },
             { QStringLiteral("clientId"), clientId },
             { QStringLiteral("scope"), scope } });
    return grant;
}

bool TokenRegistry::refresh(const QString &refreshToken, const QString &clientId, Grant *grant)
{
    const auto it = m_refreshTokens.constFind(refreshToken);
    if (it == m_refreshTokens.cend() || it->clientId != clientId)
        return false;
    grant->accessToken = issueAccessToken(clientId, it->scope);
    grant->refreshToken.clear();
    grant->scope = it->scope;
    grant->expiresIn = m_lifetime;
    return true;
}

TokenRegistry::AccessCheck TokenRegistry::checkAccessToken(const QString &token) const
{
    const auto it = m_accessTokens.constFind(token);
    if (it == m_accessTokens.cend())
        return AccessCheck::Unknown;
    return it->expires > QDateTime::currentDateTimeUtc() ? AccessCheck::Valid
                                                         : AccessCheck::Expired;
}

void TokenRegistry::expireAccessTokens()
{
    record({ { QStringLiteral("op"), ExpireRecord } });
    apply({ { QStringLiteral("op"), ExpireRecord } });
}

void TokenRegistry::revokeRefreshTokens()
{
    record({ { QStringLiteral("op"), RevokeRecord } });
    apply({ { QStringLiteral("op"), RevokeRecord } });
}

void TokenRegistry::clear()
{
    m_codes.clear();
    expireAccessTokens();
    revokeRefreshTokens();
    m_accessTokens.clear();
}

void TokenRegistry::record(const QJsonObject &record)
{
    if (m_journal)
        m_journal->append(record);
}

void TokenRegistry::apply(const QJsonObject &record)
{
    const QString op = record.value(QStringLiteral("op")).toString();
    const QString token = record.value(QStringLiteral("token")).toString();
    const QString clientId = record.value(QStringLiteral("clientId")).toString();
    const QString scope = record.value(QStringLiteral("scope")).toString();
    if (op == AccessTokenRecord) {
        const QDateTime expires = QDateTime::fromString(
                record.value(QStringLiteral("expires")).toString(), Qt::ISODateWithMs);
        m_accessTokens.insert(token, { clientId, scope, expires });
    } else if (op == RefreshTokenRecord) {
        m_refreshTokens.insert(token, { clientId, scope, QDateTime() });
    } else if (op == ExpireRecord) {
        const QDateTime past = QDateTime::currentDateTimeUtc().addSecs(-1);
        for (Token &access : m_accessTokens)
            access.expires = qMin(access.expires, past);
    } else if (op == RevokeRecord) {
        m_refreshTokens.clear();
    }
}

void TokenRegistry::load(const QList<QJsonObject> &records)
{
    for (const QJsonObject &record : records)
        apply(record);
}

QList<QJsonObject> TokenRegistry::snapshot() const
{
    QList<QJsonObject> records;
    const QDateTime now = QDateTime::currentDateTimeUtc();
    for (auto it = m_accessTokens.cbegin(); it != m_accessTokens.cend(); ++it) {
        if (it->expires <= now)
            continue; // an expired token answers like an unknown one after a restart
        records.append({ { QStringLiteral("op"), AccessTokenRecord },
                         { QStringLiteral("token"), it.key() },
                         { QStringLiteral("clientId"), it->clientId },
                         { QStringLiteral("scope"), it->scope },
                         { QStringLiteral("expires"), it->expires.toString(Qt::ISODateWithMs) } });
    }
    for (auto it = m_refreshTokens.cbegin(); it != m_refreshTokens.cend(); ++it) {
        records.append({ { QStringLiteral("op"), RefreshTokenRecord },
                         { QStringLiteral("token"), it.key() },
                         { QStringLiteral("clientId"), it->clientId },
                         { QStringLiteral("scope"), it->scope } });
    }
    return records;
}
