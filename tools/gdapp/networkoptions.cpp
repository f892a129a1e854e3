// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "networkoptions.h"

#include "proxyfactory.h"

#include <QCommandLineParser>
#include <QProcessEnvironment>

namespace {
const QString Proxy = QStringLiteral("proxy");
const QString NoProxy = QStringLiteral("no-proxy");
const QString Timeout = QStringLiteral("timeout");
} // namespace

QList<QCommandLineOption> NetworkOptions::options()
{
    return {
        { Proxy,
          QStringLiteral(
                  "Reach the services through this proxy, [http://][user:password@]host"
                  "[:port] (port 1080 by default; socks5:// and socks5h:// too), instead of "
                  "the one the proxy variables name (see gdapp --help). no_proxy still applies."),
          QStringLiteral("url") },
        { NoProxy,
          QStringLiteral("Reach the services directly, whatever the proxy variables say.") },
        { Timeout,
          QStringLiteral("End an exchange with the service that moves no data for this long "
                         "(default %1; 0 waits for ever). Data the system has taken to send counts "
                         "as moved: on a very slow link, keep it above the time a few MiB take.")
                  .arg(DefaultTimeout),
          QStringLiteral("seconds"), QString::number(DefaultTimeout) },
    };
}

QString NetworkOptions::description()
{
    return QStringLiteral(
            "Proxies are read as curl reads them: https_proxy or HTTPS_PROXY for HTTPS, "
            "http_proxy for HTTP (never HTTP_PROXY), all_proxy or ALL_PROXY for either, and "
            "no_proxy or NO_PROXY for the hosts reached directly (names, with the names below "
            "them, addresses, address ranges, or *). Credentials in a proxy's URL are used. "
            "127.0.0.1 and localhost are always reached directly.");
}

NetworkOptions::NetworkOptions(const QCommandLineParser &parser)
{
    bool number = false;
    m_timeout = parser.value(Timeout).toInt(&number);
    if (!number || m_timeout < 0 || m_timeout > MaxTimeout) {
        m_error =
                QStringLiteral("--timeout takes whole seconds, 0 (no limit) to %1").arg(MaxTimeout);
        return;
    }
    if (parser.isSet(Proxy) && parser.isSet(NoProxy)) {
        m_error = QStringLiteral("--proxy and --no-proxy exclude each other");
        return;
    }
    const ProxyFactory::Source source = parser.isSet(NoProxy)
            ? ProxyFactory::None
            : (parser.isSet(Proxy) ? ProxyFactory::Given : ProxyFactory::Environment);
    m_proxies = std::make_unique<ProxyFactory>(source, QProcessEnvironment::systemEnvironment(),
                                               parser.value(Proxy));
    m_error = m_proxies->errorString();
}

NetworkOptions::~NetworkOptions() = default;

void NetworkOptions::installProxyFactory()
{
    if (m_proxies)
        QNetworkProxyFactory::setApplicationProxyFactory(m_proxies.release());
}
