// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "proxyfactory.h"

#include <QHostAddress>
#include <QMutexLocker>
#include <QRegularExpression>
#include <QUrl>

#include <algorithm>

namespace {
// curl's, whatever the kind of proxy.
constexpr int DefaultProxyPort = 1080;

bool isLoopback(const QString &host)
{
    return host == QLatin1String("localhost") || host.endsWith(QLatin1String(".localhost"))
            || QHostAddress(host).isLoopback();
}

QString withoutBrackets(const QString &host)
{
    return host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']'))
            ? host.mid(1, host.size() - 2)
            : host;
}

// One entry of no_proxy against a host name or address, both in lower case.
bool matches(QString entry, const QString &host)
{
    if (entry == QLatin1String("*"))
        return true;
    const QHostAddress address(host);
    if (!address.isNull()) {
        entry = withoutBrackets(entry);
        if (entry.contains(QLatin1Char('/'))) {
            const auto subnet = QHostAddress::parseSubnet(entry);
            return subnet.second >= 0 && address.isInSubnet(subnet);
        }
        return QHostAddress(entry) == address;
    }
    // ".example.org" and "example.org" both stand for the domain and every name below it.
    if (entry.startsWith(QLatin1Char('.')))
        entry.remove(0, 1);
    if (entry.endsWith(QLatin1Char('.')))
        entry.chop(1);
    return !entry.isEmpty() && (host == entry || host.endsWith(QLatin1Char('.') + entry));
}
} // namespace

ProxyFactory::ProxyFactory(Source source, const QProcessEnvironment &environment,
                           const QString &given)
{
    m_https.proxy = m_http.proxy = m_all.proxy = QNetworkProxy(QNetworkProxy::NoProxy);
    if (source == None) {
        m_all.name = QStringLiteral("--no-proxy");
        return;
    }
    if (source == Given) {
        Variable option { QStringLiteral("--proxy"), QNetworkProxy() };
        if (parse(option.name, given, &option.proxy))
            m_all = option;
    } else if (!read(environment, { QStringLiteral("https_proxy"), QStringLiteral("HTTPS_PROXY") },
                     &m_https)
               || !read(environment, { QStringLiteral("http_proxy") }, &m_http)
               || !read(environment, { QStringLiteral("all_proxy"), QStringLiteral("ALL_PROXY") },
                        &m_all)) {
        return;
    }
    for (const QString &name : { QStringLiteral("no_proxy"), QStringLiteral("NO_PROXY") }) {
        const QString value = environment.value(name).trimmed().toLower();
        if (value.isEmpty())
            continue;
        m_noProxyName = name;
        m_noProxy = value.split(QRegularExpression(QStringLiteral("[,\\s]+")), Qt::SkipEmptyParts);
        break;
    }
}

// The first of the names that is set and not empty.
bool ProxyFactory::read(const QProcessEnvironment &environment, const QStringList &names,
                        Variable *out)
{
    for (const QString &name : names) {
        const QString value = environment.value(name).trimmed();
        if (value.isEmpty())
            continue;
        out->name = name;
        return parse(name, value, &out->proxy);
    }
    return true;
}

bool ProxyFactory::parse(const QString &name, const QString &text, QNetworkProxy *proxy)
{
    QString address = text.trimmed();
    if (!address.contains(QLatin1String("://")))
        address.prepend(QLatin1String("http://"));
    const QUrl url(address, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty()) {
        m_error = QStringLiteral("%1: \"%2\" is not a proxy address "
                                 "([http://][user:password@]host[:port])")
                          .arg(name, text);
        return false;
    }
    const QString scheme = url.scheme().toLower();
    QNetworkProxy::ProxyType type = QNetworkProxy::HttpProxy;
    if (scheme == QLatin1String("socks5") || scheme == QLatin1String("socks5h")) {
        type = QNetworkProxy::Socks5Proxy;
    } else if (scheme != QLatin1String("http")) {
        m_error = QStringLiteral("%1: gdapp cannot use a %2:// proxy; it takes http://, "
                                 "socks5:// and socks5h:// proxies")
                          .arg(name, scheme);
        return false;
    }
    *proxy = QNetworkProxy(type, url.host(), quint16(url.port(DefaultProxyPort)),
                           url.userName(QUrl::FullyDecoded), url.password(QUrl::FullyDecoded));
    // socks5h:// leaves names to the proxy to look up, socks5:// looks them up here.
    if (scheme == QLatin1String("socks5"))
        proxy->setCapabilities(proxy->capabilities() & ~QNetworkProxy::HostNameLookupCapability);
    return true;
}

const ProxyFactory::Variable &ProxyFactory::proxyFor(const QString &scheme) const
{
    const Variable *own = scheme == QLatin1String("https")
            ? &m_https
            : (scheme == QLatin1String("http") ? &m_http : nullptr);
    return own && !own->name.isEmpty() ? *own : m_all;
}

bool ProxyFactory::bypasses(const QString &host) const
{
    QString name = withoutBrackets(host.toLower());
    if (name.endsWith(QLatin1Char('.')))
        name.chop(1);
    return std::any_of(m_noProxy.cbegin(), m_noProxy.cend(),
                       [&name](const QString &entry) { return matches(entry, name); });
}

// Only requests for a URL go through these proxies: sockets of other kinds, and listeners,
// connect and listen here.
QList<QNetworkProxy> ProxyFactory::queryProxy(const QNetworkProxyQuery &query)
{
    const QNetworkProxy direct(QNetworkProxy::NoProxy);
    if (query.queryType() != QNetworkProxyQuery::UrlRequest || isLoopback(query.url().host()))
        return { direct };
    const Variable &chosen = proxyFor(query.url().scheme());
    const bool bypassed =
            chosen.proxy.type() != QNetworkProxy::NoProxy && bypasses(query.url().host());
    tell(query, chosen, bypassed);
    return { bypassed ? direct : chosen.proxy };
}

// Once for each origin, with --verbose: which way its requests go, and why.
void ProxyFactory::tell(const QNetworkProxyQuery &query, const Variable &chosen, bool bypassed)
{
    const QUrl url = query.url();
    const QString origin = url.toString(QUrl::RemovePath | QUrl::RemoveQuery | QUrl::RemoveFragment
                                        | QUrl::RemoveUserInfo);
    {
        QMutexLocker locker(&m_toldMutex);
        if (m_told.contains(origin))
            return;
        m_told.insert(origin);
    }
    if (chosen.proxy.type() == QNetworkProxy::NoProxy)
        qInfo("%s: directly (%s)", qPrintable(origin),
              chosen.name.isEmpty() ? "no proxy set" : qPrintable(chosen.name));
    else if (bypassed)
        qInfo("%s: directly (%s)", qPrintable(origin), qPrintable(m_noProxyName));
    else
        qInfo("%s: through the proxy %s (%s)", qPrintable(origin), qPrintable(nameOf(chosen.proxy)),
              qPrintable(chosen.name));
}

QString ProxyFactory::nameOf(const QNetworkProxy &proxy)
{
    QUrl url;
    if (proxy.type() == QNetworkProxy::Socks5Proxy)
        url.setScheme(proxy.capabilities().testFlag(QNetworkProxy::HostNameLookupCapability)
                              ? QStringLiteral("socks5h")
                              : QStringLiteral("socks5"));
    else
        url.setScheme(QStringLiteral("http"));
    url.setUserName(proxy.user());
    url.setHost(proxy.hostName());
    url.setPort(proxy.port());
    return url.toString();
}
