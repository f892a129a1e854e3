// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "curlreplay.h"

#include "benchsamples.h"
#include "processmeasure.h"

#include <algorithm>

CurlReplay::CurlReplay(const QList<ReplayedRequest> &requests, const QUrl &server,
                       const QString &caFile)
    : m_requests(requests), m_server(server), m_caFile(caFile)
{
}

bool CurlReplay::run(BenchSamples &samples, const QByteArray &expectedMd5) const
{
    const QString pipeline = expectedMd5.isEmpty() ? QStringLiteral("curl \"$@\" >/dev/null")
                                                   : QStringLiteral("curl \"$@\" | md5sum");
    const ProcessMeasure measure = ProcessMeasure::run(
            QStringLiteral("bash"),
            QStringList { QStringLiteral("-c"), pipeline, QStringLiteral("bash") } + arguments());
    if (measure.exitCode != 0
        || (!expectedMd5.isEmpty() && !measure.output.startsWith(expectedMd5)))
        return false;
    samples.add(measure.milliseconds, measure.peakMiB);
    return true;
}

// The last answer goes to standard output, the others nowhere.
QStringList CurlReplay::arguments() const
{
    const bool tls = m_server.scheme() == QLatin1String("https");
    QStringList arguments;
    for (qsizetype i = 0; i < m_requests.size(); ++i) {
        const ReplayedRequest &request = m_requests.at(i);
        if (i > 0)
            arguments << QStringLiteral("--next");
        arguments << QStringLiteral("-s");
        if (tls)
            arguments << QStringLiteral("--http2") << QStringLiteral("--cacert") << m_caFile;
        else
            arguments << QStringLiteral("--http1.1");
        arguments << QStringLiteral("-X") << request.method();
        const QStringList headers = request.headers();
        for (const QString &header : headers)
            arguments << QStringLiteral("-H") << header;
        // What curl would add and the plug-in does not send.
        arguments << QStringLiteral("-H") << QStringLiteral("Expect:") << QStringLiteral("-H")
                  << QStringLiteral("Accept:");
        if (!request.bodyFile().isEmpty()) {
            const bool typed = std::any_of(headers.cbegin(), headers.cend(), [](const QString &h) {
                return h.startsWith(QLatin1String("content-type:"), Qt::CaseInsensitive);
            });
            if (!typed)
                arguments << QStringLiteral("-H") << QStringLiteral("Content-Type:");
            arguments << QStringLiteral("--data-binary") << QLatin1Char('@') + request.bodyFile();
        }
        arguments << request.url(m_server);
        arguments << QStringLiteral("-o")
                  << (i == m_requests.size() - 1 ? QStringLiteral("-")
                                                 : QStringLiteral("/dev/null"));
    }
    return arguments;
}
