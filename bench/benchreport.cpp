// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "benchreport.h"

#include "benchtargets.h"

#include <QFile>
#include <QSysInfo>
#include <QThread>

namespace {
QString number(double value)
{
    return value >= 100 ? QString::number(value, 'f', 0) : QString::number(value, 'f', 1);
}

QString cpuModel()
{
    QFile cpuinfo(QStringLiteral("/proc/cpuinfo"));
    if (!cpuinfo.open(QIODevice::ReadOnly))
        return QStringLiteral("unknown CPU");
    for (const QByteArray &line : cpuinfo.readAll().split('\n')) {
        if (line.startsWith("model name"))
            return QString::fromLatin1(line.mid(line.indexOf(':') + 1).trimmed());
    }
    return QStringLiteral("unknown CPU");
}

QString machine()
{
    return QStringLiteral("Machine: %1, %2 cores; %3, kernel %4; Qt %5.")
            .arg(cpuModel(), QString::number(QThread::idealThreadCount()),
                 QSysInfo::prettyProductName(), QSysInfo::kernelVersion(),
                 QLatin1String(qVersion()));
}

// "≤ 1.10: met", with the limit given to the decimals asked for.
QString verdict(double value, double limit, int decimals)
{
    return QStringLiteral("≤ %1: %2")
            .arg(limit, 0, 'f', decimals)
            .arg(value <= limit ? QStringLiteral("met") : QStringLiteral("**missed**"));
}

// The reference a case is compared with, as the table names it.
QString referenceName(const BenchCase &benchCase)
{
    if (benchCase.isUpload())
        return QStringLiteral(" (Qt)");
    return benchCase.kind == BenchCase::Kind::Download ? QStringLiteral(" (curl \\| md5sum)")
                                                       : QStringLiteral(" (curl)");
}
} // namespace

BenchReport::BenchReport(int runs, int bigRuns) : m_runs(runs), m_bigRuns(bigRuns) { }

QString BenchReport::markdown(const QList<BenchCase> &cases) const
{
    QString text = machine() + QStringLiteral("\n\n");
    text += QStringLiteral(
            "| Case | gdapp min / median (ms) | Qt request median (ms) | curl median "
            "(ms) | gdapp ÷ reference | target | gdapp peak RSS (MiB) | peak ÷ "
            "size |\n|---|---:|---:|---:|---|---|---:|---|\n");
    for (const BenchCase &benchCase : cases)
        text += row(benchCase);
    return text + QLatin1Char('\n') + notes() + QLatin1Char('\n');
}

QString BenchReport::row(const BenchCase &benchCase) const
{
    const bool download = benchCase.kind == BenchCase::Kind::Download;
    const bool judged = BenchTargets::judge(benchCase.bytes);
    const BenchSamples &reference = benchCase.isUpload() ? benchCase.plain : benchCase.curl;
    const BenchSamples &plugin = benchCase.plugin;
    const double ratio = reference.median() > 0 ? plugin.median() / reference.median() : 0;
    const double peakRatio =
            benchCase.bytes > 0 ? plugin.peak() * BenchTargets::MiB / benchCase.bytes : 0;

    QString target = QStringLiteral("-");
    if (judged && (benchCase.isUpload() || download))
        target = verdict(ratio, download ? BenchTargets::Download : BenchTargets::Upload, 2);
    QString peak = benchCase.bytes > 0 ? QString::number(peakRatio, 'f', 2) : QStringLiteral("-");
    if (judged && (download || benchCase.kind == BenchCase::Kind::Upload)) {
        const double limit = download ? BenchTargets::DownloadPeak : BenchTargets::UploadPeak;
        peak += QStringLiteral(" (%1)").arg(verdict(peakRatio, limit, 1));
    }
    const QStringList cells {
        benchCase.name,
        number(plugin.minimum()) + QStringLiteral(" / ") + number(plugin.median()),
        benchCase.plain.median() > 0 ? number(benchCase.plain.median()) : QStringLiteral("-"),
        number(benchCase.curl.median()) + (download ? QStringLiteral(" (\\| md5sum)") : QString()),
        (ratio > 0 ? QString::number(ratio, 'f', 2) : QStringLiteral("-"))
                + referenceName(benchCase),
        target,
        number(plugin.peak()),
        peak,
    };
    return QStringLiteral("| ") + cells.join(QLatin1String(" | ")) + QStringLiteral(" |\n");
}

QString BenchReport::notes() const
{
    return QStringLiteral("Runs per case: %1 (%2 at %3 MiB and above). ")
                   .arg(m_runs)
                   .arg(m_bigRuns)
                   .arg(BenchTargets::SizeMiB)
            + QStringLiteral(
                    "gdapp times cover the operation alone (open, flush, lookup or listing) in a "
                    "process that has loaded the plug-in and refreshed its token; the plug-in "
                    "works against the emulator. Qt request: Qt's own plain request "
                    "(QNetworkAccessManager) of the bytes the plug-in sent, to the same server, "
                    "in a child process timed from the request to its end (a download read whole "
                    "when it ends, then hashed). curl (whole process): on straight rows, the "
                    "transfer sent to a server that only serves a file with sendfile() or "
                    "discards the body; through nginx, the plug-in's requests sent again with "
                    "--http2 through the same nginx to the emulator. Path resolution and listing "
                    "replay the plug-in's requests to the emulator with curl. Peak RSS is the "
                    "process's whole peak, Qt included; children are started by a small launcher "
                    "process, whose few MiB count in every figure.");
}
