// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef TLSFRONTEND_H
#define TLSFRONTEND_H

#include "backgroundprogram.h"

#include <QStringList>
#include <QTemporaryDir>
#include <QUrl>

// The path users take to the real service, on loopback: nginx from Debian's package speaking TLS
// and HTTP/2 in front of a local server (the emulator), with a throwaway certificate authority
// and a certificate for 127.0.0.1 (and a host name, if given) made with openssl for the run. A
// second listener presents a certificate from another authority that nobody trusts.
//     TlsFrontEnd frontEnd;
//     if (!frontEnd.start(emulator.port()))
//         QSKIP(qPrintable(frontEnd.errorString()));
//     gdapp --cacert frontEnd.caFile() with GDAPP_DRIVE_URL=frontEnd.url() ...
// Whatever it started stops when it goes.
class TlsFrontEnd
{
public:
    TlsFrontEnd();
    ~TlsFrontEnd();

    // False when nginx or openssl is missing or would not start; errorString() says which.
    // hostName: a name the certificate is for as well, that resolves to 127.0.0.1.
    bool start(quint16 backendPort, const QString &hostName = QString());
    void stop();
    QString errorString() const { return m_error; }

    QUrl url() const; // the trusted listener
    QUrl untrustedUrl() const;
    QString caFile() const; // the authority that issued url()'s certificate, in PEM
    // One line per request served: "PROTOCOL METHOD TARGET STATUS".
    QStringList accessLog() const;

private:
    bool makeCertificates();
    bool issue(const QString &authority, const QString &name);
    bool openssl(const QStringList &arguments);
    bool writeConfiguration(quint16 backendPort);

    QTemporaryDir m_folder;
    BackgroundProgram m_nginx;
    QString m_hostName;
    quint16 m_port = 0;
    quint16 m_untrustedPort = 0;
    QString m_error;
};

#endif // TLSFRONTEND_H
