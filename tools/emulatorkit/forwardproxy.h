// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef FORWARDPROXY_H
#define FORWARDPROXY_H

#include "backgroundprogram.h"

#include <QStringList>
#include <QTemporaryDir>
#include <QUrl>

// An HTTP proxy on the way to the service: Debian's tinyproxy on a free loopback port, relaying
// plain requests and tunnelling HTTPS ones with CONNECT, for everyone or, with credentials set,
// only for requests that carry them (Basic).
//     ForwardProxy proxy;
//     if (!proxy.start())
//         QSKIP(qPrintable(proxy.errorString()));
//     gdapp with https_proxy=proxy.url() ...
// Qt never sends requests for 127.0.0.1 or localhost through a proxy: the service must be
// reached under another name. Whatever it started stops when it goes.
class ForwardProxy
{
public:
    ForwardProxy();
    ~ForwardProxy();

    // False when tinyproxy is missing or would not start; errorString() says which.
    bool start(const QString &user = QString(), const QString &password = QString());
    QString errorString() const { return m_error; }

    QUrl url() const; // http://127.0.0.1:PORT, without the credentials
    // The request lines it received, in order: "CONNECT host:port HTTP/1.1" for a tunnel,
    // "GET http://host:port/path HTTP/1.1" for a plain request.
    QStringList requests() const;

private:
    QTemporaryDir m_folder;
    BackgroundProgram m_tinyproxy;
    quint16 m_port = 0;
    QString m_error;
};

#endif // FORWARDPROXY_H
