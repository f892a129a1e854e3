// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "appreplyhandler.h"

#include <QHostAddress>

AppReplyHandler::AppReplyHandler(quint16 port, QObject *parent)
    // Listen on the loopback address only: the redirect never comes from elsewhere.
    : QOAuthHttpServerReplyHandler(QHostAddress(QHostAddress::LocalHost), port, parent)
{
    qRegisterMetaType<QNetworkReply::NetworkError>();
    // The flow goes on all the same, with a redirect address that nothing answers; say why.
    if (!isListening())
        qWarning("Cannot listen on 127.0.0.1:%u for the authorisation's redirect: another program "
                 "holds the port",
                 unsigned(port));
}

void AppReplyHandler::networkReplyFinished(QNetworkReply *reply)
{
    if (reply->error() == QNetworkReply::NoError) {
        QOAuthOobReplyHandler::networkReplyFinished(reply);
        return;
    }
    emit errorFromServer(reply->error(),
                         QString::fromUtf8(reply->errorString().toLocal8Bit().constData()));
}
