// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "consentbrowser.h"

#include <QDesktopServices>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QRegularExpression>

ConsentBrowser::ConsentBrowser(Answer answer, QObject *parent) : QObject(parent), m_answer(answer)
{
    QDesktopServices::setUrlHandler(QStringLiteral("http"), this, "openUrl");
    QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "openUrl");
}

ConsentBrowser::~ConsentBrowser()
{
    QDesktopServices::unsetUrlHandler(QStringLiteral("http"));
    QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
}

void ConsentBrowser::openUrl(const QUrl &url)
{
    m_opened.append(url);
    if (onOpen)
        onOpen(url);
    if (m_answer != Ignore)
        fetch("GET", url);
}

void ConsentBrowser::fetch(const QByteArray &method, const QUrl &url, const QByteArray &body)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    if (!body.isEmpty())
        request.setHeader(QNetworkRequest::ContentTypeHeader,
                          QStringLiteral("application/x-www-form-urlencoded"));
    QNetworkReply *reply = m_manager.sendCustomRequest(request, method, body);
    connect(reply, &QNetworkReply::finished, this, [this, reply, url] {
        reply->deleteLater();
        const QUrl location = reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
        if (location.isValid()) {
            m_redirects.append(url.resolved(location));
            fetch("GET", url.resolved(location));
            return;
        }
        const QString page = QString::fromUtf8(reply->readAll());
        const QRegularExpressionMatch consent =
                QRegularExpression(QStringLiteral("name=\"consent\" value=\"(\\w+)\"")).match(page);
        if (consent.hasMatch() && (m_answer == Allow || m_answer == Deny)) {
            const QByteArray decision = m_answer == Allow ? "allow" : "deny";
            QUrl action = url;
            action.setPath(QStringLiteral("/o/oauth2/v2/consent"));
            action.setQuery(QString());
            fetch("POST", action,
                  "consent=" + consent.captured(1).toLatin1() + "&decision=" + decision);
        }
    });
}
