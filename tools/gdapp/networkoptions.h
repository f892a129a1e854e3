// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef NETWORKOPTIONS_H
#define NETWORKOPTIONS_H

#include <QCommandLineOption>
#include <QList>
#include <QString>

#include <memory>

class ProxyFactory;
class QCommandLineParser;

// gdapp's options for the network between it and the service: --proxy and --no-proxy, which
// choose the proxy factory every request of the process takes, and --timeout, how long an
// exchange may go without moving data.
class NetworkOptions
{
public:
    static constexpr int DefaultTimeout = 300; // seconds
    static constexpr int MaxTimeout = 2000000; // what a timer holds in milliseconds, about

    static QList<QCommandLineOption> options();
    // What gdapp's help says of proxies.
    static QString description();

    explicit NetworkOptions(const QCommandLineParser &parser);
    ~NetworkOptions();

    // False when an option or a proxy variable cannot be used; errorString() says why.
    bool isValid() const { return m_error.isEmpty(); }
    QString errorString() const { return m_error; }
    int timeout() const { return m_timeout; }
    // Before the first request: the application's proxy factory is the one the plug-in's requests
    // take, and it is read when each request is made.
    void installProxyFactory();

private:
    std::unique_ptr<ProxyFactory> m_proxies;
    int m_timeout = DefaultTimeout;
    QString m_error;
};

#endif // NETWORKOPTIONS_H
