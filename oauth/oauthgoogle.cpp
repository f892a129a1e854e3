// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "oauthgoogle.h"

#include "appreplyhandler.h"
#include "flowcompat.h"
#include "googleendpoints.h"
#include "o2settingsstore.h"

#include <QDesktopServices>
#include <QEventLoop>

namespace {
const QString PassPhrase = QStringLiteral("K72R31D48P06");
constexpr quint16 LoopbackPort = GDAPP_LOOPBACK_PORT;
// A token counts as valid until this long after it has expired.
constexpr int ExpiryMargin = 60;

// Adjusts what the flow sends to the token endpoint.
void modifyParameters(QAbstractOAuth::Stage stage, QMultiMap<QString, QVariant> *parameters)
{
    switch (stage) {
    case QAbstractOAuth::Stage::RequestingAccessToken: {
        // The code arrives percent-encoded in the redirect: send it decoded once.
        const QByteArray code = parameters->value(QStringLiteral("code")).toByteArray();
        const QString decoded = QUrl::fromPercentEncoding(code);
        const auto it = parameters->find(QStringLiteral("code"));
        if (it != parameters->end())
            *it = decoded;
        else
            parameters->insert(QStringLiteral("code"), decoded);
        break;
    }
    case QAbstractOAuth::Stage::RefreshingAccessToken:
        // Contract: added even when the flow put them there already; the token endpoint wants
        // the client in refresh requests.
        parameters->insert(QStringLiteral("client_id"), GoogleEndpoints::clientId());
        parameters->insert(QStringLiteral("client_secret"), GoogleEndpoints::clientSecret());
        break;
    case QAbstractOAuth::Stage::RequestingTemporaryCredentials:
    case QAbstractOAuth::Stage::RequestingAuthorization:
        break;
    }
}
} // namespace

OAuthGoogle::OAuthGoogle(const QString &name, QObject *parent)
    : QOAuth2AuthorizationCodeFlow(parent),
      m_granted(false),
      m_name(name),
      m_store(new O2SettingsStore(PassPhrase, nullptr))
{
    setToken(m_store->value(key("token"), QString()));
    setRefreshToken(m_store->value(key("refreshtoken"), QString()));

    auto *handler = new AppReplyHandler(LoopbackPort, this);
    connect(handler, &AppReplyHandler::errorFromServer,
            [this](QNetworkReply::NetworkError error, const QString &text) {
                onServerError(error, text);
            });
    setReplyHandler(handler);

    setAuthorizationUrl(GoogleEndpoints::authorizationUrl());
    FlowCompat::setTokenUrl(this, GoogleEndpoints::tokenUrl());
    FlowCompat::setScope(this, GoogleEndpoints::scope());
    setContentType(QAbstractOAuth::ContentType::Json);

    connect(this, &QAbstractOAuth::statusChanged,
            [this](QAbstractOAuth::Status status) { onStatusChanged(status); });
    FlowCompat::setModifyParametersFunction(this, &modifyParameters);
    connect(this, &QAbstractOAuth::authorizeWithBrowser, &QDesktopServices::openUrl);

    setClientIdentifier(GoogleEndpoints::clientId());
    setClientIdentifierSharedKey(GoogleEndpoints::clientSecret());

    QMetaObject::invokeMethod(this, "grant", Qt::AutoConnection);
}

OAuthGoogle::~OAuthGoogle()
{
    delete m_store;
}

QString OAuthGoogle::key(const char *which) const
{
    return m_name + QLatin1Char('/') + QLatin1String(which);
}

void OAuthGoogle::grant()
{
    QEventLoop loop;
    connect(this, &OAuthGoogle::authenticated, &loop, &QEventLoop::quit);
    FlowCompat::onServerError(this, &loop, &QEventLoop::quit);

    const QString refreshToken = m_store->value(key("refreshtoken"), QString());
    if (!refreshToken.isEmpty()) {
        setRefreshToken(refreshToken);
        FlowCompat::refresh(this);
    } else {
        QOAuth2AuthorizationCodeFlow::grant();
    }
    // Contract: no time-out; a consent the user never gives keeps the caller waiting.
    loop.exec();
}

bool OAuthGoogle::isAuthenticated()
{
    // Contract: the margin is added, not subtracted; a token counts until a minute after it
    // expired.
    if (expirationAt().addSecs(ExpiryMargin) > QDateTime::currentDateTime())
        return m_granted;
    QMetaObject::invokeMethod(this, "grant", Qt::AutoConnection);
    return m_granted;
}

void OAuthGoogle::onStatusChanged(QAbstractOAuth::Status status)
{
    if (status != QAbstractOAuth::Status::Granted || isFailedRefresh())
        return;
    m_store->setValue(key("token"), token());
    m_store->setValue(key("expires"), QString::number(expirationAt().toSecsSinceEpoch()));
    m_store->setValue(key("refreshtoken"), refreshToken());
    m_granted = true;
    emit authenticated();
}

// Since Qt 6.9 a refresh whose answer cannot be read puts the flow back to Granted when it still
// holds an access token. Nothing was granted: the token and its expiry are those already
// stored (or, before the first grant of this process, the expiry is unknown). Earlier versions
// leave the status alone, and the wait goes on; so it does here. A real grant always brings a
// new token, so the check costs earlier versions nothing.
bool OAuthGoogle::isFailedRefresh() const
{
    if (token() != m_store->value(key("token"), QString()))
        return false;
    return !expirationAt().isValid()
            || QString::number(expirationAt().toSecsSinceEpoch())
            == m_store->value(key("expires"), QString());
}

void OAuthGoogle::onServerError(QNetworkReply::NetworkError error, const QString &)
{
    m_store->setValue(key("refreshtoken"), QString());
    // Contract: the token endpoint refused the code or refresh token (400): ask the user again,
    // in a wait nested inside the running one. Other failures leave the wait running.
    if (error == QNetworkReply::ProtocolInvalidOperationError)
        grant();
}
