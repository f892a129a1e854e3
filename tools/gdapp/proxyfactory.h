// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef PROXYFACTORY_H
#define PROXYFACTORY_H

#include <QList>
#include <QMutex>
#include <QNetworkProxyFactory>
#include <QProcessEnvironment>
#include <QSet>
#include <QString>

// The proxy each host is reached through, read from the environment as curl reads it:
// https_proxy (or HTTPS_PROXY) for HTTPS, http_proxy for HTTP (never HTTP_PROXY, which a web
// server's CGI environment sets from a request header), all_proxy (or ALL_PROXY) for either when
// those are unset, and no_proxy (or NO_PROXY) for the hosts reached directly: names, with their
// subdomains, addresses, address ranges, or "*". A proxy given on the command line stands for
// the three proxy variables; loopback addresses and "localhost" are always reached directly.
//
// Installed as the application's proxy factory before the first request, it is the one the
// plug-in's requests take too: the plug-in uses the network configuration of its host.
class ProxyFactory : public QNetworkProxyFactory
{
public:
    enum Source {
        Environment, // the variables above
        Given, // the proxy given, and no_proxy
        None, // no proxy at all
    };

    ProxyFactory(Source source, const QProcessEnvironment &environment,
                 const QString &given = QString());

    // False when a proxy named cannot be used; errorString() says which and why.
    bool isValid() const { return m_error.isEmpty(); }
    QString errorString() const { return m_error; }

    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &query) override;
    // A proxy as its user wrote it, without the password: "http://user@proxy.example:3128".
    static QString nameOf(const QNetworkProxy &proxy);

private:
    struct Variable
    {
        QString name;
        QNetworkProxy proxy;
    };

    bool read(const QProcessEnvironment &environment, const QStringList &names, Variable *out);
    bool parse(const QString &name, const QString &text, QNetworkProxy *proxy);
    const Variable &proxyFor(const QString &scheme) const;
    bool bypasses(const QString &host) const;
    void tell(const QNetworkProxyQuery &query, const Variable &chosen, bool bypassed);

    Variable m_https;
    Variable m_http;
    Variable m_all;
    QStringList m_noProxy;
    QString m_noProxyName;
    QString m_error;
    QMutex m_toldMutex;
    QSet<QString> m_told;
};

#endif // PROXYFACTORY_H
