// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "benchrunner.h"

#include "curlreplay.h"
#include "processmeasure.h"

#include <QFile>
#include <QJsonArray>
#include <QTextStream>

namespace {
constexpr qint64 MiB = BenchTargets::MiB;

QTextStream &err()
{
    static QTextStream stream(stderr);
    return stream;
}

bool isDriveRequest(const QJsonObject &entry)
{
    return !entry.value(QStringLiteral("path")).toString().startsWith(QLatin1String("/o/oauth2"));
}
} // namespace

BenchRunner::BenchRunner(const Options &options)
    : m_options(options),
      m_servers(options.referenceServer, m_scratch.filePath(QStringLiteral("served.bin")))
{
}

int BenchRunner::runsFor(qint64 bytes) const
{
    return BenchTargets::judge(bytes) ? m_options.bigRuns : m_options.runs;
}

// The servers, and a token that every child finds in the settings.
bool BenchRunner::start()
{
    if (!m_servers.start(!m_options.frontEndSizesMiB.isEmpty()))
        return false;
    qputenv("XDG_CONFIG_HOME", m_scratch.filePath(QStringLiteral("config")).toLocal8Bit());
    const ProcessMeasure login = ProcessMeasure::run(
            m_options.program,
            { QStringLiteral("child"), QStringLiteral("login"), QStringLiteral("gdapp:/") });
    if (login.exitCode != 0) {
        err() << "bench: no authorisation (" << login.exitCode << ")" << Qt::endl;
        return false;
    }
    return true;
}

// One measured operation in a child process.
bool BenchRunner::child(const QStringList &arguments, BenchSamples *samples)
{
    const ProcessMeasure measure = ProcessMeasure::run(
            m_options.program, QStringList { QStringLiteral("child") } + arguments);
    bool ok = false;
    const double milliseconds = measure.output.trimmed().toDouble(&ok);
    if (measure.exitCode != 0 || !ok) {
        err() << "bench: " << arguments.join(QLatin1Char(' ')) << " failed (" << measure.exitCode
              << ")" << Qt::endl;
        m_failed = true;
        return false;
    }
    samples->add(milliseconds, measure.peakMiB);
    return true;
}

// The Drive requests of one run that is not measured, with their bodies kept for replays. The
// measured runs go without: a body kept in the log would cost the emulator a copy of it.
QList<ReplayedRequest> BenchRunner::capture(const QStringList &arguments)
{
    m_servers.emulator().setSettings({ { QStringLiteral("logBodies"), double(1024 * MiB) } });
    const int mark = m_servers.emulator().nextRequest();
    BenchSamples ignored;
    child(arguments, &ignored);
    QList<ReplayedRequest> requests;
    for (const QJsonValue &entry : m_servers.emulator().requests(mark)) {
        if (isDriveRequest(entry.toObject()))
            requests.append(ReplayedRequest(entry.toObject(), bodyFile(entry.toObject())));
    }
    m_servers.emulator().setSettings({ { QStringLiteral("logBodies"), 0 } });
    return requests;
}

// The body of a logged request, in a file: bodies held here would count in every child's peak
// memory, which starts as a copy of this process.
QString BenchRunner::bodyFile(const QJsonObject &request)
{
    if (request.value(QStringLiteral("bodySize")).toDouble() <= 0)
        return QString();
    const int index = request.value(QStringLiteral("index")).toInt();
    const QString file = m_scratch.filePath(QStringLiteral("body-%1").arg(index));
    if (!QFile::exists(file)) {
        ProcessMeasure::run(QStringLiteral("curl"),
                            { QStringLiteral("-sf"), QStringLiteral("-o"), file,
                              m_servers.emulator()
                                      .url(QStringLiteral("/_emulator/requests/%1/body").arg(index))
                                      .toString() });
    }
    return file;
}

void BenchRunner::replayCurl(const QList<ReplayedRequest> &requests, const QUrl &server,
                             BenchSamples *samples, const QByteArray &expectedMd5)
{
    if (!CurlReplay(requests, server, m_servers.caFile()).run(*samples, expectedMd5)) {
        err() << "bench: the curl replay failed" << Qt::endl;
        m_failed = true;
    }
}

// One run of Qt's plain request of the same bytes.
void BenchRunner::replayPlain(const ReplayedRequest &request, const QUrl &server,
                              BenchSamples *samples)
{
    child(QStringList { QStringLiteral("plain"), request.method(), request.url(server),
                        request.bodyFile() }
                  + request.headers(),
          samples);
}

BenchCase BenchRunner::transfer(BenchCase::Kind kind, int mib)
{
    static const char *const Names[] = { "upload, new file", "upload, replacement", "download" };
    BenchCase row(QStringLiteral("%1, %2 MiB%3")
                          .arg(QLatin1String(Names[int(kind)]))
                          .arg(mib)
                          .arg(m_servers.viaFrontEnd() ? QStringLiteral(", TLS + HTTP/2 (nginx)")
                                                       : QString()),
                  kind, mib * MiB);
    const QString size = QString::number(row.bytes);
    const QString replaced = QStringLiteral("gdapp:/bench/replaced.bin");
    const auto arguments = [&](const QString &name) {
        return kind == BenchCase::Kind::Download
                ? QStringList { QStringLiteral("download"), replaced }
                : QStringList { QStringLiteral("upload"), name, size };
    };
    const auto nameFor = [&](const QString &run) {
        return kind == BenchCase::Kind::Upload
                ? QStringLiteral("gdapp:/bench/new-%1-%2.bin").arg(mib).arg(run)
                : replaced;
    };
    if (kind == BenchCase::Kind::Upload)
        m_servers.emulator().seedFile(QStringLiteral("/bench/replaced.bin"), "to be replaced");

    const QList<ReplayedRequest> requests = capture(arguments(nameFor(QStringLiteral("capture"))));
    if (requests.isEmpty())
        return row;
    QByteArray md5;
    if (kind == BenchCase::Kind::Download) {
        const QJsonObject file = m_servers.emulator().fileAt(QStringLiteral("/bench/replaced.bin"));
        md5 = file.value(QStringLiteral("md5Checksum")).toString().toLatin1();
        // The reference server serves the same bytes.
        ProcessMeasure::run(
                QStringLiteral("curl"),
                { QStringLiteral("-sf"), QStringLiteral("-o"), m_servers.servedFile(),
                  m_servers.emulator()
                          .url(QStringLiteral("/_emulator/files/%1/content")
                                       .arg(file.value(QStringLiteral("id")).toString()))
                          .toString() });
    }
    // Qt's plain request goes where the plug-in's went: the same bytes to the same server.
    const ReplayedRequest transferRequest = requests.last();
    const QUrl server = m_servers.driveUrl();
    const bool viaFrontEnd = m_servers.viaFrontEnd();
    const QList<ReplayedRequest> curlRequests =
            viaFrontEnd ? requests : QList<ReplayedRequest> { transferRequest };
    const QUrl curlServer = viaFrontEnd ? server : m_servers.referenceUrl();
    // Taken in turns, so that a slow stretch of the machine weighs on all of them alike.
    for (int run = 0; run < runsFor(row.bytes); ++run) {
        child(arguments(nameFor(QString::number(run))), &row.plugin);
        replayPlain(transferRequest, server, &row.plain);
        replayCurl(curlRequests, curlServer, &row.curl, md5);
    }
    return row;
}

BenchCase BenchRunner::resolve(int depth)
{
    BenchCase row(QStringLiteral("path resolution, depth %1").arg(depth), BenchCase::Kind::Lookup);
    QString path;
    for (int level = 1; level < depth; ++level)
        path += QStringLiteral("/level%1").arg(level);
    path += QStringLiteral("/leaf.txt");
    m_servers.emulator().seedFile(QStringLiteral("/resolve") + path, "leaf");
    const QStringList arguments { QStringLiteral("resolve"),
                                  QStringLiteral("gdapp:/resolve") + path };
    const QList<ReplayedRequest> requests = capture(arguments);
    for (int run = 0; run < m_options.runs; ++run) {
        child(arguments, &row.plugin);
        replayCurl(requests, m_servers.emulator().url(), &row.curl);
    }
    return row;
}

BenchCase BenchRunner::list(int entries)
{
    BenchCase row(QStringLiteral("listing a folder of %1 entries").arg(entries),
                  BenchCase::Kind::Lookup);
    QJsonArray files;
    for (int i = 0; i < entries; ++i)
        files.append(QJsonObject {
                { QStringLiteral("path"), QStringLiteral("/many/file-%1.txt").arg(i) },
                { QStringLiteral("text"), QStringLiteral("entry %1").arg(i) } });
    m_servers.emulator().control("POST", QStringLiteral("files"),
                                 QJsonObject { { QStringLiteral("files"), files } });
    const QStringList arguments { QStringLiteral("list"), QStringLiteral("gdapp:/many") };
    const QList<ReplayedRequest> requests = capture(arguments);
    // Only the listing is timed, not the lookup of the folder before it.
    const QList<ReplayedRequest> listing =
            requests.isEmpty() ? requests : QList<ReplayedRequest> { requests.last() };
    for (int run = 0; run < m_options.runs; ++run) {
        child(arguments, &row.plugin);
        replayCurl(listing, m_servers.emulator().url(), &row.curl);
    }
    return row;
}

bool BenchRunner::run()
{
    if (!m_scratch.isValid() || !start())
        return false;
    for (const bool viaFrontEnd : { false, true }) {
        if (viaFrontEnd && !m_servers.haveFrontEnd())
            continue;
        m_servers.throughFrontEnd(viaFrontEnd);
        for (int mib : viaFrontEnd ? m_options.frontEndSizesMiB : m_options.sizesMiB) {
            err() << "bench: " << mib << " MiB transfers" << (viaFrontEnd ? " through nginx" : "")
                  << Qt::endl;
            m_cases << transfer(BenchCase::Kind::Upload, mib)
                    << transfer(BenchCase::Kind::Replacement, mib)
                    << transfer(BenchCase::Kind::Download, mib);
            m_servers.emulator().control("DELETE", QStringLiteral("files"));
            m_servers.emulator().clearRequests();
        }
    }
    m_servers.throughFrontEnd(false);
    for (int depth : m_options.depths)
        m_cases << resolve(depth);
    m_cases << list(m_options.listEntries);
    return true;
}
