// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "exchangewatch.h"

#include <QChildEvent>
#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QTimer>

#include <memory>

ExchangeWatch::ExchangeWatch(int timeout, QObject *parent) : QObject(parent), m_timeout(timeout)
{
    QCoreApplication::instance()->installEventFilter(this);
}

ExchangeWatch::~ExchangeWatch()
{
    if (QCoreApplication::instance())
        QCoreApplication::instance()->removeEventFilter(this);
}

bool ExchangeWatch::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::ChildAdded && qobject_cast<QNetworkAccessManager *>(watched)) {
        const QPointer<QObject> child = static_cast<QChildEvent *>(event)->child();
        QMetaObject::invokeMethod(
                this,
                [this, child] {
                    if (auto *reply = qobject_cast<QNetworkReply *>(child.data()))
                        watch(reply);
                },
                Qt::QueuedConnection);
    }
    return QObject::eventFilter(watched, event);
}

void ExchangeWatch::watch(QNetworkReply *reply)
{
    if (reply->isFinished()) {
        if (reply->error() != QNetworkReply::NoError)
            m_lastFailure = ExchangeFailure(*reply, 0);
        return;
    }
    // Whether the request's body has all gone out: with no answer, the service may have acted.
    const auto delivered = std::make_shared<bool>(false);
    connect(reply, &QNetworkReply::uploadProgress, this, [delivered](qint64 sent, qint64 total) {
        if (total > 0 && sent == total)
            *delivered = true;
    });
    QTimer *idle = nullptr;
    if (m_timeout > 0) {
        idle = new QTimer(reply);
        idle->setSingleShot(true);
        idle->setTimerType(Qt::PreciseTimer);
        idle->setInterval(m_timeout * 1000);
        const auto moved = [idle] { idle->start(); };
        connect(reply, &QNetworkReply::metaDataChanged, idle, moved);
        connect(reply, &QNetworkReply::readyRead, idle, moved);
        connect(reply, &QNetworkReply::downloadProgress, idle, moved);
        connect(reply, &QNetworkReply::uploadProgress, idle, moved);
        connect(idle, &QTimer::timeout, reply, [reply, idle] {
            // Aborting reports progress once more: it must not count as data moved.
            QObject::disconnect(reply, nullptr, idle, nullptr);
            reply->abort();
        });
        idle->start();
    }
    connect(reply, &QNetworkReply::finished, this, [this, reply, idle, delivered] {
        // The idle timer stops only by firing.
        const bool stalled = idle && !idle->isActive();
        if (idle)
            idle->stop();
        if (reply->error() != QNetworkReply::NoError)
            m_lastFailure = ExchangeFailure(*reply, stalled ? m_timeout : 0, *delivered);
    });
}
