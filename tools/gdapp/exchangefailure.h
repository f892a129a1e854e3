// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef EXCHANGEFAILURE_H
#define EXCHANGEFAILURE_H

#include <QNetworkProxy>
#include <QNetworkReply>
#include <QString>

// How one exchange with a service failed, as the host saw it on the network: with no answer
// from the service itself (refused, unreachable, cut, a proxy in the way that failed, or no data
// for the time-out), or with the service's error status.
class ExchangeFailure
{
public:
    ExchangeFailure() = default;
    // A reply that finished with an error; stalledFor is the time-out, in seconds, after which
    // the host ended it, or 0.
    ExchangeFailure(const QNetworkReply &reply, int stalledFor);

    bool isNull() const { return m_error == QNetworkReply::NoError; }
    // Nothing the user did wrong, and something that may pass: no answer, or a server error.
    bool isOutage() const;
    // Whether this failure is the one a cloud file reports with this text (the plug-in keeps the
    // reply's), and says more than the text: what stalled, or which proxy was in the way.
    bool explains(const QString &errorText) const;
    // "no answer from SERVICE in 5 s", "cannot reach SERVICE through the proxy P: what Qt said",
    // "SERVICE failed: 503 Service Unavailable", ...
    QString describe(const QString &service) const;

private:
    bool isAnswer() const;
    bool throughProxy() const { return m_proxy.type() != QNetworkProxy::NoProxy; }

    QNetworkReply::NetworkError m_error = QNetworkReply::NoError;
    QString m_errorText;
    int m_status = 0; // the HTTP status answered, 0 for none
    QString m_reason;
    QNetworkProxy m_proxy { QNetworkProxy::NoProxy };
    bool m_byProxy = false; // the proxy failed or refused, rather than the service
    int m_stalledFor = 0;
};

#endif // EXCHANGEFAILURE_H
