// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "oauthservice.h"

#include "driveentry.h"
#include "drivejournal.h"
#include "serviceerror.h"

#include <QCryptographicHash>
#include <QRegularExpression>
#include <QUrl>

namespace {
using namespace TokenError;

constexpr int CodeLifetime = 600; // seconds
// Journal keys of tokens: this, then the token.
const QString KeyPrefix = QStringLiteral("token:");

// Installed applications receive the code on a loopback address, on any port.
bool isLoopbackRedirect(const QString &redirect)
{
    const QUrl url(redirect, QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != QLatin1String("http") || !url.fragment().isEmpty())
        return false;
    const QString host = url.host();
    return host == QLatin1String("127.0.0.1") || host == QLatin1String("::1")
            || host == QLatin1String("localhost");
}

// The service's own pages, in the user's language.
const char ErrorPage[] = "<!DOCTYPE html>\n<html lang=\"fr\"><head><meta charset=\"utf-8\">"
                         "<title>Erreur d'autorisation</title></head>\n<body>\n"
                         "<h1>Erreur %1 : %2</h1>\n<p id=\"description\">%3</p>\n</body></html>\n";
const char ConsentPage[] =
        "<!DOCTYPE html>\n<html lang=\"fr\"><head><meta charset=\"utf-8\">"
        "<title>Autoriser l'accès</title>\n"
        "<style>body{font-family:sans-serif;max-width:34em;margin:3em auto;color:#222}"
        "h1{font-size:1.4em}.client{font-family:monospace}"
        "button{font-size:1em;padding:.5em 1.5em;margin-right:1em;cursor:pointer}"
        "#allow{background:#1a73e8;color:#fff;border:none;border-radius:4px}"
        "#deny{background:#fff;border:1px solid #888;border-radius:4px}</style>\n</head>\n<body>\n"
        "<h1>Émulateur Drive : demande d'accès</h1>\n"
        "<p>L'application <span class=\"client\">%1</span> demande l'accès suivant :</p>\n"
        "<ul id=\"scopes\">%2</ul>\n"
        "<p>La réponse sera envoyée à <span class=\"client\">%3</span>.</p>\n"
        "<form method=\"post\" action=\"/o/oauth2/v2/consent\">\n"
        "<input type=\"hidden\" name=\"consent\" value=\"%4\">\n"
        "<button type=\"submit\" id=\"allow\" name=\"decision\" "
        "value=\"allow\">Autoriser</button>\n"
        "<button type=\"submit\" id=\"deny\" name=\"decision\" value=\"deny\">Refuser</button>\n"
        "</form>\n</body></html>\n";

HttpResponse errorPage(int status, const QString &error, const QString &description)
{
    const QString page = QString::fromUtf8(ErrorPage).arg(status).arg(error.toHtmlEscaped(),
                                                                      description.toHtmlEscaped());
    return HttpResponse::make(status, "text/html; charset=utf-8", page.toUtf8());
}

QString pkceChallenge(const QString &verifier, const QString &method)
{
    if (method == QLatin1String("S256"))
        return QString::fromLatin1(
                QCryptographicHash::hash(verifier.toLatin1(), QCryptographicHash::Sha256)
                        .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
    return verifier;
}
} // namespace

OAuthService::OAuthService(DriveJournal &journal, const Options &options)
    : m_journal(journal), m_options(options), m_random(QRandomGenerator::securelySeeded())
{
}

HttpResponse OAuthService::authorize(const HttpRequest &request)
{
    const QString clientId = request.query.value(QStringLiteral("client_id"));
    const QString redirectUri = request.query.value(QStringLiteral("redirect_uri"));
    // Without a known client or a valid redirect there is nobody to send the answer to: the
    // error stays on this page.
    if (clientId.isEmpty() || clientId != m_options.clientId)
        return errorPage(401, QStringLiteral("invalid_client"),
                         QStringLiteral("The OAuth client was not found."));
    if (!isLoopbackRedirect(redirectUri))
        return errorPage(400, QStringLiteral("redirect_uri_mismatch"),
                         QStringLiteral("The redirect URI %1 is not a loopback address of this "
                                        "installed application.")
                                 .arg(redirectUri));

    const QString state = request.query.value(QStringLiteral("state"));
    if (request.query.value(QStringLiteral("response_type")) != QLatin1String("code"))
        return redirectWith(
                redirectUri,
                { { QStringLiteral("error"), QStringLiteral("unsupported_response_type") },
                  { QStringLiteral("state"), state } });

    const QStringList scopes = request.query.value(QStringLiteral("scope"))
                                       .split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (scopes.isEmpty())
        return errorPage(400, QStringLiteral("invalid_request"),
                         QStringLiteral("Missing required parameter: scope"));
    static const QRegularExpression known(
            QStringLiteral("^(openid|email|profile|https://www\\.googleapis\\.com/auth/"
                           "drive(\\.file|\\.appdata|\\.appfolder|\\.readonly)?)$"));
    for (const QString &scope : scopes) {
        if (!known.match(scope).hasMatch())
            return errorPage(400, QStringLiteral("invalid_scope"),
                             QStringLiteral("Some requested scopes were invalid: %1").arg(scope));
    }

    const Consent consent {
        clientId,
        redirectUri,
        scopes.join(QLatin1Char(' ')),
        state,
        request.query.value(QStringLiteral("code_challenge")),
        request.query.value(QStringLiteral("code_challenge_method"), QStringLiteral("plain")),
        QDateTime(),
    };
    if (!consent.challenge.isEmpty() && consent.challengeMethod != QLatin1String("S256")
        && consent.challengeMethod != QLatin1String("plain"))
        return errorPage(400, QStringLiteral("invalid_request"),
                         QStringLiteral("Invalid code_challenge_method."));

    if (m_options.autoApprove)
        return approve(consent);
    const QString consentId = QString::number(m_nextConsent++);
    m_consents.insert(consentId, consent);
    return consentPage(consentId, consent);
}

HttpResponse OAuthService::decide(const HttpRequest &request)
{
    const QHash<QString, QString> form = formFields(request.body);
    const auto it = m_consents.constFind(form.value(QStringLiteral("consent")));
    if (it == m_consents.cend())
        return errorPage(
                400, QStringLiteral("invalid_request"),
                QStringLiteral("This consent request has expired or was already answered."));
    const Consent consent = m_consents.take(it.key());
    if (form.value(QStringLiteral("decision")) == QLatin1String("allow"))
        return approve(consent);
    return redirectWith(consent.redirectUri,
                        { { QStringLiteral("error"), QStringLiteral("access_denied") },
                          { QStringLiteral("state"), consent.state } });
}

HttpResponse OAuthService::approve(Consent consent)
{
    // Like the real codes: "4/" then opaque text, so the slash arrives percent-encoded.
    const QString code = QStringLiteral("4/0A") + randomText(m_random, 40);
    consent.expires = QDateTime::currentDateTimeUtc().addSecs(CodeLifetime);
    m_codes.insert(code, consent);
    return redirectWith(consent.redirectUri,
                        { { QStringLiteral("state"), consent.state },
                          { QStringLiteral("code"), code },
                          { QStringLiteral("scope"), consent.scope } });
}

// The query as a form encodes it, spaces as "+", as the service writes the granted scopes; a
// null value leaves its item out, as the state is when the client gave none.
HttpResponse OAuthService::redirectWith(const QString &redirectUri,
                                        const QList<QPair<QString, QString>> &items)
{
    QByteArray query;
    for (const auto &item : items) {
        if (!item.second.isNull())
            query += (query.isEmpty() ? "" : "&") + QUrl::toPercentEncoding(item.first) + '='
                    + QUrl::toPercentEncoding(item.second, " ").replace(' ', '+');
    }
    const QByteArray location =
            redirectUri.toUtf8() + (redirectUri.contains(QLatin1Char('?')) ? "&" : "?") + query;
    const QString escaped = QString::fromUtf8(location).toHtmlEscaped();
    HttpResponse response = HttpResponse::make(
            302, "text/html; charset=utf-8",
            ("<html><body>Moved <a href=\"" + escaped + "\">here</a>.</body></html>\n").toUtf8());
    response.setHeader("Location", location);
    return response;
}

HttpResponse OAuthService::token(const HttpRequest &request)
{
    const QHash<QString, QString> parameters = formFields(request.body);

    const QString grantType = parameters.value(QStringLiteral("grant_type"));
    if (grantType != QLatin1String("authorization_code")
        && grantType != QLatin1String("refresh_token"))
        return make(UnsupportedGrantType, QStringLiteral("Invalid grant_type: ") + grantType);
    const QString clientId = parameters.value(QStringLiteral("client_id"));
    if (clientId.isEmpty())
        return make(InvalidRequest, QStringLiteral("Could not determine client ID from request."));
    if (clientId != m_options.clientId)
        return make(InvalidClient, QStringLiteral("The OAuth client was not found."));
    if (!parameters.contains(QStringLiteral("client_secret")))
        return make(InvalidRequest, QStringLiteral("client_secret is missing."));
    if (parameters.value(QStringLiteral("client_secret")) != m_options.clientSecret)
        return make(InvalidClient, QStringLiteral("Unauthorized"));
    return grantType == QLatin1String("authorization_code") ? exchangeCode(parameters)
                                                            : refresh(parameters);
}

HttpResponse OAuthService::exchangeCode(const QHash<QString, QString> &parameters)
{
    const QString code = parameters.value(QStringLiteral("code"));
    if (code.isEmpty())
        return make(InvalidRequest, QStringLiteral("Missing required parameter: code"));
    // A code that still carries its percent-encoding was not decoded by the client.
    if (code.contains(QLatin1Char('%')))
        return make(InvalidGrant, QStringLiteral("Malformed auth code."));
    // Codes work once: a taken code is gone, whatever is then decided.
    const Consent issued = m_codes.take(code);
    if (issued.clientId != parameters.value(QStringLiteral("client_id"))
        || issued.expires <= QDateTime::currentDateTimeUtc())
        return make(InvalidGrant);
    if (parameters.value(QStringLiteral("redirect_uri")) != issued.redirectUri)
        return make(RedirectUriMismatch);
    const QString verifier = parameters.value(QStringLiteral("code_verifier"));
    if (issued.challenge.isEmpty() && !verifier.isEmpty())
        return make(InvalidGrant, QStringLiteral("code_verifier or verifier is not needed."));
    if (!issued.challenge.isEmpty() && verifier.isEmpty())
        return make(InvalidGrant, QStringLiteral("Missing code verifier."));
    if (!issued.challenge.isEmpty()
        && pkceChallenge(verifier, issued.challengeMethod) != issued.challenge)
        return make(InvalidGrant, QStringLiteral("Invalid code verifier."));
    return HttpResponse::json(200, issueTokens(issued.clientId, issued.scope));
}

HttpResponse OAuthService::refresh(const QHash<QString, QString> &parameters)
{
    const QString refreshToken = parameters.value(QStringLiteral("refresh_token"));
    if (refreshToken.isEmpty())
        return make(InvalidRequest, QStringLiteral("Missing required parameter: refresh_token"));
    const Token issued = m_tokens.value(refreshToken);
    if (!issued.refresh || issued.clientId != parameters.value(QStringLiteral("client_id")))
        return make(InvalidGrant, QStringLiteral("Token has been expired or revoked."));
    return HttpResponse::json(200, grant(issued.clientId, issued.scope));
}

HttpResponse OAuthService::consentPage(const QString &consentId, const Consent &consent)
{
    QString scopes;
    for (const QString &scope : consent.scope.split(QLatin1Char(' ')))
        scopes += QStringLiteral("<li>%1</li>").arg(scope.toHtmlEscaped());
    const QString page = QString::fromUtf8(ConsentPage)
                                 .arg(consent.clientId.toHtmlEscaped(), scopes,
                                      consent.redirectUri.toHtmlEscaped(), consentId);
    return HttpResponse::make(200, "text/html; charset=utf-8", page.toUtf8());
}

void OAuthService::keep(const QString &token, const Token &issued)
{
    m_tokens.insert(token, issued);
    record(token, issued);
}

void OAuthService::record(const QString &token, const Token &issued)
{
    m_journal.put(KeyPrefix + token,
                  { { QStringLiteral("refresh"), issued.refresh },
                    { QStringLiteral("clientId"), issued.clientId },
                    { QStringLiteral("scope"), issued.scope },
                    { QStringLiteral("expires"), rfc3339(issued.expires) } });
}

QJsonObject OAuthService::grant(const QString &clientId, const QString &scope)
{
    const QString token = QStringLiteral("ya29.") + randomText(m_random, 60);
    keep(token,
         { false, clientId, scope, QDateTime::currentDateTimeUtc().addSecs(m_options.tokenTtl) });
    return { { QStringLiteral("access_token"), token },
             { QStringLiteral("expires_in"), m_options.tokenTtl },
             { QStringLiteral("scope"), scope },
             { QStringLiteral("token_type"), QStringLiteral("Bearer") } };
}

QJsonObject OAuthService::issueTokens(const QString &clientId, const QString &scope)
{
    const QString refreshToken = QStringLiteral("1//0g") + randomText(m_random, 40);
    keep(refreshToken, { true, clientId, scope, QDateTime() });
    QJsonObject answer = grant(clientId, scope);
    answer.insert(QStringLiteral("refresh_token"), refreshToken);
    return answer;
}

bool OAuthService::isValidAccessToken(const QString &token) const
{
    const auto it = m_tokens.constFind(token);
    return it != m_tokens.cend() && !it->refresh && it->expires > QDateTime::currentDateTimeUtc();
}

void OAuthService::expireAccessTokens()
{
    const QDateTime past = QDateTime::currentDateTimeUtc().addSecs(-1);
    for (auto it = m_tokens.begin(); it != m_tokens.end(); ++it) {
        if (!it->refresh && it->expires > past) {
            it->expires = past;
            record(it.key(), *it);
        }
    }
}

void OAuthService::revokeRefreshTokens()
{
    forget([](const Token &token) { return token.refresh; });
}

void OAuthService::clear()
{
    m_codes.clear();
    m_consents.clear();
    forget([](const Token &) { return true; });
}

void OAuthService::forget(bool (*which)(const Token &))
{
    QStringList keys;
    m_tokens.removeIf([&](QHash<QString, Token>::iterator it) {
        if (which(*it))
            keys.append(KeyPrefix + it.key());
        return which(*it);
    });
    m_journal.remove(keys);
}

void OAuthService::load()
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
