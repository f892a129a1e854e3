// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef EXCHANGEFAILURE_H
#define EXCHANGEFAILURE_H

#include <QNetworkProxy>
#include <QNetworkReply>
#include <QString>

// How one exchange with a service failed, as the host saw it on the network: with the service's
// error status, or with no answer from the service itself (refused, unreachable, cut, a proxy in
// the way that failed, or no data for the time-out).
class ExchangeFailure
{
public:
    ExchangeFailure() = default;
    // A reply that finished with an error; stalledFor is the time-out, in seconds, after which
    // the host ended it, or 0; delivered, whether its request's body had all been sent.
    ExchangeFailure(const QNetworkReply &reply, int stalledFor, bool delivered = false);

    bool isNull() const { return m_error == QNetworkReply::NoError; }
    // Nothing the user did wrong, and something that may pass: no answer, or a server error.
    bool isOutage() const;
    // Whether this failure is the one a cloud file reports with this text: the plug-in keeps
    // the reply's text, not always its code.
    bool explains(const QString &errorText) const;
    // The error status the service answered with; 0 when the service gave no answer of its own.
    int httpStatus() const { return isAnswer() ? m_status : 0; }
    // The status's reason phrase, as the service sent it ("" over HTTP/2, which has none).
    QString reasonPhrase() const { return m_reason; }
    // "http://proxy:3128" when the exchange went through that proxy, else "".
    QString proxyName() const;
    // No answer within the time-out to a request sent whole: the service may have carried it out.
    bool mayHaveTakenEffect() const { return m_stalledFor > 0 && m_delivered; }
    // "no answer from SERVICE in 5 s", "cannot reach SERVICE through the proxy P: what went
    // wrong", "SERVICE failed: 503 Service Unavailable", ...
    QString describe(const QString &service) const;

private:
    bool isAnswer() const;
    bool throughProxy() const { return m_proxy.type() != QNetworkProxy::NoProxy; }
    // Why the proxy failed, in words that name it: Qt's name the service in some cases.
    QString proxysFailure() const;

    QNetworkReply::NetworkError m_error = QNetworkReply::NoError;
    QString m_errorText;
    int m_status = 0; // the HTTP status answered, 0 for none
    QString m_reason;
    QNetworkProxy m_proxy { QNetworkProxy::NoProxy };
    bool m_byProxy = false; // the proxy failed or refused, rather than the service
    int m_stalledFor = 0;
    bool m_delivered = false;
};

#endif // EXCHANGEFAILURE_H
