// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "benchrunner.h"

#include <QFile>
#include <QSysInfo>
#include <QTextStream>
#include <QThread>

#include <algorithm>

namespace {
constexpr qint64 MiB = 1024 * 1024;
// The targets, as ratios within one run at this size and above.
constexpr qint64 TargetSize = 256 * MiB;
constexpr double UploadTarget = 1.10; // of Qt's plain request of the same bytes
constexpr double DownloadTarget = 1.30; // of curl | md5sum
constexpr double DownloadPeakTarget = 1.10; // of the size
constexpr double UploadPeakTarget = 2.10;
// Headers that curl and Qt make themselves, and those a front end adds on its way.
const QStringList ManagedHeaders { QStringLiteral("host"), QStringLiteral("content-length"),
                                   QStringLiteral("connection"),
                                   QStringLiteral("transfer-encoding") };

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream &err()
{
    static QTextStream stream(stderr);
    return stream;
}

bool isDriveRequest(const QJsonObject &entry)
{
    return !entry.value(QStringLiteral("path")).toString().startsWith(QLatin1String("/o/oauth2"));
}

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

QStringList replayedHeaders(const QJsonObject &request)
{
    QStringList headers;
    for (const QJsonValue &header : request.value(QStringLiteral("headers")).toArray()) {
        const QString name = header.toArray().at(0).toString();
        if (!ManagedHeaders.contains(name.toLower()))
            headers << name + QStringLiteral(": ") + header.toArray().at(1).toString();
    }
    return headers;
}

QString met(double value, double target)
{
    return value <= target ? QStringLiteral("met") : QStringLiteral("**missed**");
}
} // namespace

double BenchRunner::Samples::minimum() const
{
    return milliseconds.isEmpty() ? 0
                                  : *std::min_element(milliseconds.cbegin(), milliseconds.cend());
}

double BenchRunner::Samples::median() const
{
    if (milliseconds.isEmpty())
        return 0;
    QList<double> sorted = milliseconds;
    std::sort(sorted.begin(), sorted.end());
    const qsizetype middle = sorted.size() / 2;
    return sorted.size() % 2 ? sorted.at(middle) : (sorted.at(middle - 1) + sorted.at(middle)) / 2;
}

double BenchRunner::Samples::peak() const
{
    return peakMiB.isEmpty() ? 0 : *std::max_element(peakMiB.cbegin(), peakMiB.cend());
}

BenchRunner::BenchRunner(const Options &options) : m_options(options) { }

BenchRunner::~BenchRunner()
{
    m_reference.kill();
    m_reference.waitForFinished();
}

int BenchRunner::runsFor(qint64 bytes) const
{
    return bytes >= TargetSize ? m_options.bigRuns : m_options.runs;
}

QUrl BenchRunner::referenceBase() const
{
    return m_referenceUrl;
}

bool BenchRunner::startReferenceServer()
{
    QFile served(m_scratch.filePath(QStringLiteral("served.bin")));
    if (!served.open(QIODevice::WriteOnly))
        return false;
    served.close();
    m_reference.start(m_options.referenceServer, { served.fileName() });
    if (!m_reference.waitForReadyRead(10000))
        return false;
    const QByteArray line = m_reference.readLine().trimmed();
    m_referenceUrl = QUrl(QString::fromLatin1(line.mid(line.lastIndexOf(' ') + 1)));
    return m_referenceUrl.isValid() && m_referenceUrl.port() > 0;
}

bool BenchRunner::start()
{
    if (!m_emulator.start({ QStringLiteral("--auto-approve"), QStringLiteral("--log-bodies"),
                            QStringLiteral("0") })) {
        err() << "bench: the emulator did not start" << Qt::endl;
        return false;
    }
    if (!startReferenceServer()) {
        err() << "bench: the reference server did not start" << Qt::endl;
        return false;
    }
    m_haveFrontEnd = !m_options.frontEndSizesMiB.isEmpty() && m_frontEnd.start(m_emulator.port());
    if (!m_options.frontEndSizesMiB.isEmpty() && !m_haveFrontEnd)
        err() << "bench: no rows through TLS and HTTP/2: " << m_frontEnd.errorString() << Qt::endl;
    qputenv("XDG_CONFIG_HOME", m_scratch.filePath(QStringLiteral("config")).toLocal8Bit());
    throughFrontEnd(false);
    const ProcessMeasure login = ProcessMeasure::run(
            m_options.program,
            { QStringLiteral("child"), QStringLiteral("login"), QStringLiteral("gdapp:/") });
    if (login.exitCode != 0) {
        err() << "bench: no authorisation (" << login.exitCode << ")" << Qt::endl;
        return false;
    }
    return true;
}

// Children, started later, take the environment of the moment.
void BenchRunner::throughFrontEnd(bool yes)
{
    m_viaFrontEnd = yes;
    const QByteArray base = (yes ? m_frontEnd.url() : m_emulator.url()).toString().toLatin1();
    qputenv("GDAPP_DRIVE_URL", base);
    qputenv("GDAPP_OAUTH_URL", base);
    if (yes)
        qputenv("GDAPP_CA_FILE", m_frontEnd.caFile().toLocal8Bit());
    else
        qunsetenv("GDAPP_CA_FILE");
}

// One measured operation in a child process.
bool BenchRunner::child(const QStringList &arguments, Samples *samples)
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
    samples->milliseconds.append(milliseconds);
    samples->peakMiB.append(measure.peakMiB);
    return true;
}

// The Drive requests of one run that is not measured, with their bodies kept for replays. The
// measured runs go without: a body kept in the log would cost the emulator a copy of it.
QJsonArray BenchRunner::capture(const QStringList &arguments)
{
    m_emulator.setSettings({ { QStringLiteral("logBodies"), double(1024 * MiB) } });
    const int mark = m_emulator.nextRequest();
    Samples ignored;
    child(arguments, &ignored);
    QJsonArray requests;
    for (const QJsonValue &entry : m_emulator.requests(mark)) {
        if (isDriveRequest(entry.toObject()))
            requests.append(entry);
    }
    for (const QJsonValue &request : requests)
        bodyFile(request.toObject());
    m_emulator.setSettings({ { QStringLiteral("logBodies"), 0 } });
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
        ProcessMeasure::run(
                QStringLiteral("curl"),
                { QStringLiteral("-sf"), QStringLiteral("-o"), file,
                  m_emulator.url(QStringLiteral("/_emulator/requests/%1/body").arg(index))
                          .toString() });
    }
    return file;
}

// curl arguments that send the logged requests again to base, in order, on one connection,
// with the same headers (but those curl manages itself) and bodies; the last answer goes to
// standard output, the others nowhere. Over TLS, curl speaks HTTP/2 as the plug-in does.
QStringList BenchRunner::curlArguments(const QJsonArray &requests, const QUrl &base)
{
    const bool tls = base.scheme() == QLatin1String("https");
    QStringList arguments;
    for (qsizetype i = 0; i < requests.size(); ++i) {
        const QJsonObject request = requests.at(i).toObject();
        if (i > 0)
            arguments << QStringLiteral("--next");
        arguments << QStringLiteral("-s");
        if (tls)
            arguments << QStringLiteral("--http2") << QStringLiteral("--cacert")
                      << m_frontEnd.caFile();
        else
            arguments << QStringLiteral("--http1.1");
        arguments << QStringLiteral("-X") << request.value(QStringLiteral("method")).toString();
        const QStringList headers = replayedHeaders(request);
        for (const QString &header : headers)
            arguments << QStringLiteral("-H") << header;
        // What curl would add and the plug-in does not send.
        arguments << QStringLiteral("-H") << QStringLiteral("Expect:") << QStringLiteral("-H")
                  << QStringLiteral("Accept:");
        const QString body = bodyFile(request);
        if (!body.isEmpty()) {
            const bool typed = std::any_of(headers.cbegin(), headers.cend(), [](const QString &h) {
                return h.startsWith(QLatin1String("content-type:"), Qt::CaseInsensitive);
            });
            if (!typed)
                arguments << QStringLiteral("-H") << QStringLiteral("Content-Type:");
            arguments << QStringLiteral("--data-binary") << QLatin1Char('@') + body;
        }
        QUrl url = base;
        url.setPath(QString());
        arguments << url.toString() + request.value(QStringLiteral("target")).toString();
        arguments << QStringLiteral("-o")
                  << (i == requests.size() - 1 ? QStringLiteral("-") : QStringLiteral("/dev/null"));
    }
    return arguments;
}

// One run of curl sending the requests and dropping the answers; with an expected MD5, of
// curl | md5sum, which must find it.
void BenchRunner::replayCurl(const QJsonArray &requests, const QUrl &base, Samples *samples,
                             const QByteArray &expectedMd5)
{
    const QString pipeline = expectedMd5.isEmpty() ? QStringLiteral("curl \"$@\" >/dev/null")
                                                   : QStringLiteral("curl \"$@\" | md5sum");
    const ProcessMeasure measure = ProcessMeasure::run(
            QStringLiteral("bash"),
            QStringList { QStringLiteral("-c"), pipeline, QStringLiteral("bash") }
                    + curlArguments(requests, base));
    if (measure.exitCode != 0
        || (!expectedMd5.isEmpty() && !measure.output.startsWith(expectedMd5))) {
        err() << "bench: the curl replay failed (" << measure.exitCode << ")" << Qt::endl;
        m_failed = true;
        return;
    }
    samples->milliseconds.append(measure.milliseconds);
    samples->peakMiB.append(measure.peakMiB);
}

// One run of Qt's plain request of the same bytes.
void BenchRunner::replayPlain(const QJsonObject &request, const QUrl &base, Samples *samples)
{
    QUrl url = base;
    url.setPath(QString());
    child(QStringList { QStringLiteral("plain"), request.value(QStringLiteral("method")).toString(),
                        url.toString() + request.value(QStringLiteral("target")).toString(),
                        bodyFile(request) }
                  + replayedHeaders(request),
          samples);
}

BenchRunner::Row BenchRunner::transfer(Kind kind, int mib)
{
    static const char *const Names[] = { "upload, new file", "upload, replacement", "download" };
    Row row(QStringLiteral("%1, %2 MiB%3")
                    .arg(QLatin1String(Names[int(kind)]))
                    .arg(mib)
                    .arg(m_viaFrontEnd ? QStringLiteral(", TLS + HTTP/2 (nginx)") : QString()),
            kind, mib * MiB);
    const QString size = QString::number(row.bytes);
    const QString replaced = QStringLiteral("gdapp:/bench/replaced.bin");
    const auto arguments = [&](const QString &name) {
        return kind == Kind::Download ? QStringList { QStringLiteral("download"), replaced }
                                      : QStringList { QStringLiteral("upload"), name, size };
    };
    const auto nameFor = [&](const QString &run) {
        return kind == Kind::Upload ? QStringLiteral("gdapp:/bench/new-%1-%2.bin").arg(mib).arg(run)
                                    : replaced;
    };
    if (kind == Kind::Upload)
        m_emulator.seedFile(QStringLiteral("/bench/replaced.bin"), "to be replaced");

    const QJsonArray requests = capture(arguments(nameFor(QStringLiteral("capture"))));
    if (requests.isEmpty())
        return row;
    QByteArray md5;
    if (kind == Kind::Download) {
        const QJsonObject file = m_emulator.fileAt(QStringLiteral("/bench/replaced.bin"));
        md5 = file.value(QStringLiteral("md5Checksum")).toString().toLatin1();
        // The reference server serves the same bytes.
        ProcessMeasure::run(
                QStringLiteral("curl"),
                { QStringLiteral("-sf"), QStringLiteral("-o"),
                  m_scratch.filePath(QStringLiteral("served.bin")),
                  m_emulator
                          .url(QStringLiteral("/_emulator/files/%1/content")
                                       .arg(file.value(QStringLiteral("id")).toString()))
                          .toString() });
    }
    // Qt's plain request goes where the plug-in's went: the same bytes to the same server.
    const QJsonObject transferRequest = requests.last().toObject();
    const QUrl server = m_viaFrontEnd ? m_frontEnd.url() : m_emulator.url();
    const QJsonArray curlRequests = m_viaFrontEnd ? requests : QJsonArray { transferRequest };
    const QUrl curlServer = m_viaFrontEnd ? m_frontEnd.url() : referenceBase();
    // Taken in turns, so that a slow stretch of the machine weighs on all of them alike.
    for (int run = 0; run < runsFor(row.bytes); ++run) {
        child(arguments(nameFor(QString::number(run))), &row.plugin);
        replayPlain(transferRequest, server, &row.plain);
        replayCurl(curlRequests, curlServer, &row.curl, md5);
    }
    return row;
}

BenchRunner::Row BenchRunner::resolve(int depth)
{
    Row row(QStringLiteral("path resolution, depth %1").arg(depth), Kind::Lookup);
    QString path;
    for (int level = 1; level < depth; ++level)
        path += QStringLiteral("/level%1").arg(level);
    path += QStringLiteral("/leaf.txt");
    m_emulator.seedFile(QStringLiteral("/resolve") + path, "leaf");
    const QStringList arguments { QStringLiteral("resolve"),
                                  QStringLiteral("gdapp:/resolve") + path };
    const QJsonArray requests = capture(arguments);
    for (int run = 0; run < m_options.runs; ++run) {
        child(arguments, &row.plugin);
        replayCurl(requests, m_emulator.url(), &row.curl);
    }
    return row;
}

BenchRunner::Row BenchRunner::list(int entries)
{
    Row row(QStringLiteral("listing a folder of %1 entries").arg(entries), Kind::Lookup);
    QJsonArray files;
    for (int i = 0; i < entries; ++i)
        files.append(QJsonObject {
                { QStringLiteral("path"), QStringLiteral("/many/file-%1.txt").arg(i) },
                { QStringLiteral("text"), QStringLiteral("entry %1").arg(i) } });
    m_emulator.control("POST", QStringLiteral("files"),
                       QJsonObject { { QStringLiteral("files"), files } });
    const QStringList arguments { QStringLiteral("list"), QStringLiteral("gdapp:/many") };
    const QJsonArray requests = capture(arguments);
    // Only the listing is timed, not the lookup of the folder before it.
    const QJsonArray listing = requests.isEmpty() ? requests : QJsonArray { requests.last() };
    for (int run = 0; run < m_options.runs; ++run) {
        child(arguments, &row.plugin);
        replayCurl(listing, m_emulator.url(), &row.curl);
    }
    return row;
}

int BenchRunner::run()
{
    if (!m_scratch.isValid() || !start())
        return 1;
    QList<Row> rows;
    for (const bool viaFrontEnd : { false, true }) {
        if (viaFrontEnd && !m_haveFrontEnd)
            continue;
        throughFrontEnd(viaFrontEnd);
        for (int mib : viaFrontEnd ? m_options.frontEndSizesMiB : m_options.sizesMiB) {
            err() << "bench: " << mib << " MiB transfers" << (viaFrontEnd ? " through nginx" : "")
                  << Qt::endl;
            rows << transfer(Kind::Upload, mib) << transfer(Kind::Replacement, mib)
                 << transfer(Kind::Download, mib);
            m_emulator.control("DELETE", QStringLiteral("files"));
            m_emulator.clearRequests();
        }
    }
    throughFrontEnd(false);
    for (int depth : m_options.depths)
        rows << resolve(depth);
    rows << list(m_options.listEntries);
    print(rows);
    return m_failed ? 1 : 0;
}

void BenchRunner::print(const QList<Row> &rows) const
{
    out() << "Machine: " << cpuModel() << ", " << QThread::idealThreadCount() << " cores; "
          << QSysInfo::prettyProductName() << ", kernel " << QSysInfo::kernelVersion() << "; Qt "
          << qVersion() << ".\n\n";
    out() << "| Case | gdapp min / median (ms) | Qt request median (ms) | curl median (ms) "
             "| gdapp ÷ reference | target | gdapp peak RSS (MiB) | peak ÷ size |\n"
             "|---|---:|---:|---:|---|---|---:|---|\n";
    for (const Row &row : rows) {
        const bool download = row.kind == Kind::Download;
        const bool upload = row.kind == Kind::Upload || row.kind == Kind::Replacement;
        const Samples &reference = upload ? row.plain : row.curl;
        const double ratio = reference.median() > 0 ? row.plugin.median() / reference.median() : 0;
        const double peakRatio = row.bytes > 0 ? row.plugin.peak() * MiB / row.bytes : 0;
        QStringList targets;
        if (row.bytes >= TargetSize && (upload || download)) {
            const double limit = download ? DownloadTarget : UploadTarget;
            targets << QStringLiteral("≤ %1: %2").arg(limit, 0, 'f', 2).arg(met(ratio, limit));
        }
        QString peak = row.bytes > 0 ? QString::number(peakRatio, 'f', 2) : QStringLiteral("-");
        if (row.bytes >= TargetSize && (download || row.kind == Kind::Upload)) {
            const double limit = download ? DownloadPeakTarget : UploadPeakTarget;
            peak += QStringLiteral(" (≤ %1: %2)").arg(limit, 0, 'f', 1).arg(met(peakRatio, limit));
        }
        out() << "| " << row.name << " | " << number(row.plugin.minimum()) << " / "
              << number(row.plugin.median()) << " | "
              << (row.plain.median() > 0 ? number(row.plain.median()) : QStringLiteral("-"))
              << " | " << number(row.curl.median()) << (download ? " (\\| md5sum)" : "") << " | "
              << (ratio > 0 ? QString::number(ratio, 'f', 2) : QStringLiteral("-"))
              << (upload             ? " (Qt)"
                          : download ? " (curl \\| md5sum)"
                                     : " (curl)")
              << " | "
              << (targets.isEmpty() ? QStringLiteral("-") : targets.join(QLatin1String("; ")))
              << " | " << number(row.plugin.peak()) << " | " << peak << " |\n";
    }
    out() << "\nRuns per case: " << m_options.runs << " (" << m_options.bigRuns
          << " at 256 MiB and above). gdapp times cover the operation alone (open, flush, lookup "
             "or listing) in a process that has loaded the plug-in and refreshed its token; the "
             "plug-in works against the emulator. Qt request: Qt's own plain request "
             "(QNetworkAccessManager) of the bytes the plug-in sent, to the same server, in a "
             "child process timed from the request to its end (a download read whole when it "
             "ends, then hashed). curl (whole process): on straight rows, the transfer sent to a "
             "server that only serves a file with sendfile() or discards the body; through nginx, "
             "the plug-in's requests sent again with --http2 through the same nginx to the "
             "emulator. Path resolution and listing replay the plug-in's requests to the "
             "emulator with curl. Peak RSS is the process's whole peak, Qt included; children are "
             "started by a small launcher process, whose few MiB count in every figure."
          << Qt::endl;
}
