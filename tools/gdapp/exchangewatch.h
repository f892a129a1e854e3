// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef EXCHANGEWATCH_H
#define EXCHANGEWATCH_H

#include "exchangefailure.h"

#include <QObject>

class QNetworkReply;

// Follows every network exchange of the process, the plug-in's included, from the moment its
// reply is made, and ends one that has moved no data for the time-out. The plug-in waits for
// each reply without a time-out of its own; an aborted reply ends that wait the way any failure
// does, and the plug-in reports it as usual. The last failed exchange is kept, to tell the user
// what went wrong in terms of the network: what stalled, which proxy refused.
//
// Replies are found as children of the access managers that make them: an application-wide event
// filter sees each one added, still under construction, and looks at it once the event loop turns.
class ExchangeWatch : public QObject
{
    Q_OBJECT

public:
    // timeout: the seconds an exchange may go without moving data; 0 for no limit.
    explicit ExchangeWatch(int timeout, QObject *parent = nullptr);
    ~ExchangeWatch() override;

    ExchangeFailure lastFailure() const { return m_lastFailure; }
    void forget() { m_lastFailure = ExchangeFailure(); }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void watch(QNetworkReply *reply);

    int m_timeout;
    ExchangeFailure m_lastFailure;
};

#endif // EXCHANGEWATCH_H
