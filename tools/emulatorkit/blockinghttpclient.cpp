// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "blockinghttpclient.h"

#include <QEventLoop>
#include <QJsonObject>
#include <QNetworkReply>
#include <QNetworkRequest>

QByteArray BlockingHttpClient::Reply::header(const QByteArray &name) const
{
    for (const auto &pair : headers) {
        if (pair.first.compare(name, Qt::CaseInsensitive) == 0)
            return pair.second;
    }
    return QByteArray();
}

QJsonObject BlockingHttpClient::Reply::json() const
{
    return QJsonDocument::fromJson(body).object();
}

BlockingHttpClient::Reply BlockingHttpClient::send(const QByteArray &method, const QUrl &url,
                                                   const Headers &headers, const QByteArray &body)
{
    QNetworkRequest request(url);
    // Redirects are part of what tests look at.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    for (const auto &header : headers)
        request.setRawHeader(header.first, header.second);
    QNetworkReply *reply = m_manager.sendCustomRequest(request, method, body);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();

    Reply answer;
    answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    answer.error = reply->error();
    for (const auto &pair : reply->rawHeaderPairs())
        answer.headers.append(pair);
    answer.body = reply->readAll();
    reply->deleteLater();
    return answer;
}
