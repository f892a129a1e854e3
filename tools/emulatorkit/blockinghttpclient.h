// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef BLOCKINGHTTPCLIENT_H
#define BLOCKINGHTTPCLIENT_H

#include <QByteArray>
#include <QJsonDocument>
#include <QList>
#include <QNetworkAccessManager>
#include <QPair>
#include <QUrl>

// Blocking HTTP: one call, one answer. For control requests and hand-made ones.
class BlockingHttpClient
{
public:
    struct Reply
    {
        int status = 0; // 0 when no answer came
        int error = 0; // QNetworkReply::NetworkError
        QList<QPair<QByteArray, QByteArray>> headers;
        QByteArray body;

        QByteArray header(const QByteArray &name) const;
        QJsonObject json() const;
    };

    using Headers = QList<QPair<QByteArray, QByteArray>>;

    Reply send(const QByteArray &method, const QUrl &url, const Headers &headers = {},
               const QByteArray &body = QByteArray());
    Reply get(const QUrl &url, const Headers &headers = {}) { return send("GET", url, headers); }

private:
    QNetworkAccessManager m_manager;
};

#endif // BLOCKINGHTTPCLIENT_H
