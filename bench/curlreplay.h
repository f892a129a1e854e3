// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef CURLREPLAY_H
#define CURLREPLAY_H

#include "replayedrequest.h"

#include <QList>

class BenchSamples;

// curl sending requests again to a server, in order, on one connection, with the same headers
// (but those curl manages itself) and bodies; over TLS it speaks HTTP/2 as the plug-in does.
// The whole process is measured, with the answers dropped or, for a download, the last one
// piped into md5sum.
class CurlReplay
{
public:
    // caFile: the authority that the server's certificate comes from, over TLS.
    CurlReplay(const QList<ReplayedRequest> &requests, const QUrl &server,
               const QString &caFile = QString());

    // One run, added to the samples; with an expected MD5, of curl | md5sum, which must find
    // it. False, with nothing added, when the run failed.
    bool run(BenchSamples &samples, const QByteArray &expectedMd5 = QByteArray()) const;

private:
    QStringList arguments() const;

    QList<ReplayedRequest> m_requests;
    QUrl m_server;
    QString m_caFile;
};

#endif // CURLREPLAY_H
