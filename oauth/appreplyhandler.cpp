#include "appreplyhandler.h"

#include <QHostAddress>

AppReplyHandler::AppReplyHandler(quint16 port, QObject *parent)
    // Listen on the loopback address only: the redirect never comes from elsewhere.
    : QOAuthHttpServerReplyHandler(QHostAddress(QHostAddress::LocalHost), port, parent)
{
    qRegisterMetaType<QNetworkReply::NetworkError>();
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
