// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef FLOWCOMPAT_H
#define FLOWCOMPAT_H

#include <QOAuth2AuthorizationCodeFlow>
#include <QtGlobal>

// The parts of Qt NetworkAuth's authorization-code flow that Qt 6.9 renamed, under one name
// each, so that the flow reads the same whatever Qt it is built with.
namespace FlowCompat {

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
