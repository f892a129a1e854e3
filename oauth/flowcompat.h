// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef FLOWCOMPAT_H
#define FLOWCOMPAT_H

#include <QCryptographicHash>
#include <QOAuth2AuthorizationCodeFlow>
#include <QRandomGenerator>
#include <QtGlobal>

#include <memory>

// The parts of Qt NetworkAuth's authorization-code flow that Qt 6.8 added or Qt 6.9 renamed,
// under one name each, so that the flow reads and behaves the same whatever Qt it is built with.
namespace FlowCompat {

// Sets the function that adjusts the parameters of each request. Qt 6.8 and later add a proof
// key for the code exchange to every authorisation by themselves (S256, RFC 7636), as RFC 8252
// asks of native applications: a code caught on its way to the loopback listener is worthless
// without the verifier that only this flow holds. Before 6.8 the same is done here, ahead of the
// modifier as the newer flow does: a fresh verifier for each authorisation, its challenge in the
// authorization request, the verifier in the token request.
inline void setModifyParametersFunction(QOAuth2AuthorizationCodeFlow *flow,
                                        const QAbstractOAuth::ModifyParametersFunction &modifier)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
    flow->setModifyParametersFunction(modifier);
#else
    auto verifier = std::make_shared<QByteArray>();
    flow->setModifyParametersFunction([verifier,
                                       modifier](QAbstractOAuth::Stage stage,
                                                 QMultiMap<QString, QVariant> *parameters) {
        constexpr auto Base64Url = QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals;
        if (stage == QAbstractOAuth::Stage::RequestingAuthorization) {
            // 32 random bytes make the 43 characters of the newer flow's verifiers.
            quint32 random[8];
            QRandomGenerator::system()->fillRange(random);
            *verifier = QByteArray(reinterpret_cast<const char *>(random), sizeof random)
                                .toBase64(Base64Url);
            const QByteArray challenge =
                    QCryptographicHash::hash(*verifier, QCryptographicHash::Sha256)
                            .toBase64(Base64Url);
            parameters->insert(QStringLiteral("code_challenge"), QString::fromLatin1(challenge));
            parameters->insert(QStringLiteral("code_challenge_method"), QStringLiteral("S256"));
        } else if (stage == QAbstractOAuth::Stage::RequestingAccessToken) {
            parameters->insert(QStringLiteral("code_verifier"), QString::fromLatin1(*verifier));
        }
        if (modifier)
            modifier(stage, parameters);
    });
#endif
}

inline void setTokenUrl(QOAuth2AuthorizationCodeFlow *flow, const QUrl &url)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 9, 0)
    flow->setTokenUrl(url);
#else
    flow->setAccessTokenUrl(url);
#endif
}

inline void setScope(QOAuth2AuthorizationCodeFlow *flow, const QString &scope)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 9, 0)
    flow->setRequestedScopeTokens({ scope.toUtf8() });
#else
    flow->setScope(scope);
#endif
}

inline void refresh(QOAuth2AuthorizationCodeFlow *flow)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 9, 0)
    flow->refreshTokens();
#else
    flow->refreshAccessToken();
#endif
}

// Calls slot on context when the authorisation server reports an error (access refused, say).
template<typename Context, typename Slot>
QMetaObject::Connection onServerError(QOAuth2AuthorizationCodeFlow *flow, Context *context,
                                      Slot slot)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 9, 0)
    return QObject::connect(flow, &QAbstractOAuth2::serverReportedErrorOccurred, context, slot);
#else
    return QObject::connect(flow, &QAbstractOAuth2::error, context, slot);
#endif
}

} // namespace FlowCompat

#endif // FLOWCOMPAT_H
