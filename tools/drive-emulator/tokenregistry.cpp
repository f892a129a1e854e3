// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "tokenregistry.h"

#include "driveentry.h"
#include "drivejournal.h"

namespace {
constexpr int CodeLifetime = 600;
// Journal keys of tokens: this, then the token.
const QString KeyPrefix = QStringLiteral("token:");
} // namespace

TokenRegistry::TokenRegistry(DriveJournal &journal)
    : m_journal(journal), m_random(QRandomGenerator::securelySeeded())
{
}

QString TokenRegistry::issueCode(const AuthorizationCode &code)
{
    // Like the real codes: "4/" then opaque text, so the slash arrives percent-encoded.
    const QString text = QStringLiteral("4/0A") + randomText(m_random, 40);
    AuthorizationCode stored = code;
    stored.expires = QDateTime::currentDateTimeUtc().addSecs(CodeLifetime);
    m_codes.insert(text, stored);
    return text;
}

bool TokenRegistry::takeCode(const QString &code, AuthorizationCode *taken)
{
    if (!m_codes.contains(code))
        return false;
    *taken = m_codes.take(code);
    return taken->expires > QDateTime::currentDateTimeUtc();
}

void TokenRegistry::keep(const QString &token, const Token &issued)
{
    m_tokens.insert(token, issued);
    record(token, issued);
}

void TokenRegistry::record(const QString &token, const Token &issued)
{
    m_journal.put(KeyPrefix + token,
                  { { QStringLiteral("refresh"), issued.refresh },
                    { QStringLiteral("clientId"), issued.clientId },
                    { QStringLiteral("scope"), issued.scope },
                    { QStringLiteral("expires"), rfc3339(issued.expires) } });
}

QJsonObject TokenRegistry::grant(const QString &clientId, const QString &scope)
{
    const QString token = QStringLiteral("ya29.") + randomText(m_random, 60);
    keep(token, { false, clientId, scope, QDateTime::currentDateTimeUtc().addSecs(m_lifetime) });
    return { { QStringLiteral("access_token"), token },
             { QStringLiteral("expires_in"), m_lifetime },
             { QStringLiteral("scope"), scope },
             { QStringLiteral("token_type"), QStringLiteral("Bearer") } };
}

QJsonObject TokenRegistry::issueTokens(const QString &clientId, const QString &scope)
{
    const QString refreshToken = QStringLiteral("1//0g") + randomText(m_random, 40);
    keep(refreshToken, { true, clientId, scope, QDateTime() });
    QJsonObject answer = grant(clientId, scope);
    answer.insert(QStringLiteral("refresh_token"), refreshToken);
    return answer;
}

std::optional<QJsonObject> TokenRegistry::refresh(const QString &refreshToken,
                                                  const QString &clientId)
{
    const Token issued = m_tokens.value(refreshToken);
    if (!issued.refresh || issued.clientId != clientId)
        return std::nullopt;
    return grant(clientId, issued.scope);
}

bool TokenRegistry::isValidAccessToken(const QString &token) const
{
    const auto it = m_tokens.constFind(token);
    return it != m_tokens.cend() && !it->refresh && it->expires > QDateTime::currentDateTimeUtc();
}

void TokenRegistry::expireAccessTokens()
{
    const QDateTime past = QDateTime::currentDateTimeUtc().addSecs(-1);
    for (auto it = m_tokens.begin(); it != m_tokens.end(); ++it) {
        if (!it->refresh && it->expires > past) {
            it->expires = past;
            record(it.key(), *it);
        }
    }
}

void TokenRegistry::revokeRefreshTokens()
{
    forget([](const Token &token) { return token.refresh; });
}

void TokenRegistry::clear()
{
    m_codes.clear();
    forget([](const Token &) { return true; });
}

void TokenRegistry::forget(bool (*which)(const Token &))
{
    QStringList keys;
    m_tokens.removeIf([&](QHash<QString, Token>::iterator it) {
        if (which(*it))
            keys.append(KeyPrefix + it.key());
        return which(*it);
    });
    m_journal.remove(keys);
}

void TokenRegistry::load()
{
    for (auto it = m_journal.records().cbegin(); it != m_journal.records().cend(); ++it) {
        if (it.key().startsWith(KeyPrefix))
            m_tokens.insert(it.key().mid(KeyPrefix.size()),
                            { it->value(QStringLiteral("refresh")).toBool(),
                              it->value(QStringLiteral("clientId")).toString(),
                              it->value(QStringLiteral("scope")).toString(),
                              QDateTime::fromString(it->value(QStringLiteral("expires")).toString(),
                                                    Qt::ISODateWithMs) });
    }
}
