// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef APPREPLYHANDLER_H
#define APPREPLYHANDLER_H

#include <QNetworkReply>
#include <QOAuthHttpServerReplyHandler>

// Receives the browser's redirect on the loopback address and reports token requests that
// the server answered with an error, which the base class would only log.
class AppReplyHandler : public QOAuthHttpServerReplyHandler
{
    Q_OBJECT

public:
    AppReplyHandler(quint16 port, QObject *parent);

    void networkReplyFinished(QNetworkReply *reply) override;

signals:
    void errorFromServer(QNetworkReply::NetworkError error, const QString &text);
};

#endif // APPREPLYHANDLER_H
