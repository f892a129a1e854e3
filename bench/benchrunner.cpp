#include "benchrunner.h"

#include <QCryptographicHash>
#include <QFile>
#include <QSysInfo>
#include <QTextStream>
#include <QThread>

#include <algorithm>

namespace {
constexpr qint64 MiB = 1024 * 1024;

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
} // namespace

void BenchRunner::Samples::add(const ProcessMeasure &measure)
{
    milliseconds.append(measure.milliseconds);
    peakMiB.append(measure.peakMiB);
}

double BenchRunner::Samples::minimum() const
{
    return milliseconds.isEmpty() ? 0 : *std::min_element(milliseconds.cbegin(), milliseconds.cend());
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

int BenchRunner::runsFor(qint64 bytes) const
{
    return bytes >= 256 * MiB ? m_options.bigRuns : m_options.runs;
}

bool BenchRunner::start()
{
    // Large request bodies stay in the log so that curl can send them again.
    if (!m_emulator.start({ QStringLiteral("--auto-approve"), QStringLiteral("--log-bodies"),
                            QString::number(1024 * MiB) })) {
        err() << "bench: the emulator did not start" << Qt::endl;
        return false;
    }
    m_emulator.exportEnvironment();
    qputenv("XDG_CONFIG_HOME", m_scratch.filePath(QStringLiteral("config")).toLocal8Bit());
    const ProcessMeasure login = ProcessMeasure::run(m_options.program, { QStringLiteral("child"), QStringLiteral("login"), QStringLiteral("gdapp:/") });
    if (login.exitCode != 0) {
        err() << "bench: no authorisation (" << login.exitCode << ")" << Qt::endl;
        return false;
    }
    return true;
}

// Runs one measured operation in a child process; the requests it sent come back in requests.
bool BenchRunner::child(const QStringList &arguments, Samples *samples, QJsonArray *requests)
{
    const int mark = m_emulator.nextRequest();
    const ProcessMeasure measure = ProcessMeasure::run(m_options.program, QStringList { QStringLiteral("child") } + arguments);
    bool ok = false;
    const double milliseconds = measure.output.trimmed().toDouble(&ok);
    if (measure.exitCode != 0 || !ok) {
        err() << "bench: " << arguments.join(QLatin1Char(' ')) << " failed (" << measure.exitCode << ")" << Qt::endl;
        m_failed = true;
        return false;
    }
    samples->milliseconds.append(milliseconds);
    samples->peakMiB.append(measure.peakMiB);
    if (requests) {
        *requests = QJsonArray();
        for (const QJsonValue &entry : m_emulator.requests(mark)) {
            if (isDriveRequest(entry.toObject()))
                requests->append(entry);
        }
    }
    return true;
}

// curl arguments that send the logged requests again, in order, on one connection, with the
// same headers (but those curl manages itself) and bodies; the last answer goes to standard
// output, the others nowhere.
QStringList BenchRunner::curlArguments(const QJsonArray &requests)
{
    QStringList arguments;
    for (qsizetype i = 0; i < requests.size(); ++i) {
        const QJsonObject request = requests.at(i).toObject();
        if (i > 0)
            arguments << QStringLiteral("--next");
        arguments << QStringLiteral("-s") << QStringLiteral("--http1.1") << QStringLiteral("-X")
                  << request.value(QStringLiteral("method")).toString();
        bool contentType = false;
        for (const QJsonValue &header : request.value(QStringLiteral("headers")).toArray()) {
            const QString name = header.toArray().at(0).toString();
            static const QStringList managed { QStringLiteral("host"), QStringLiteral("content-length"),
                                               QStringLiteral("connection") };
            if (managed.contains(name.toLower()))
                continue;
            contentType = contentType || name.compare(QLatin1String("content-type"), Qt::CaseInsensitive) == 0;
            arguments << QStringLiteral("-H") << name + QStringLiteral(": ") + header.toArray().at(1).toString();
        }
        // What curl would add and the plug-in does not send.
        arguments << QStringLiteral("-H") << QStringLiteral("Expect:") << QStringLiteral("-H") << QStringLiteral("Accept:");
        if (request.value(QStringLiteral("bodySize")).toDouble() > 0) {
            const int index = request.value(QStringLiteral("index")).toInt();
            const QString bodyFile = m_scratch.filePath(QStringLiteral("body-%1").arg(index));
            // Straight to a file: bodies held here would count in every child's peak memory,
            // which starts as a copy of this process.
            if (!QFile::exists(bodyFile))
                ProcessMeasure::run(QStringLiteral("curl"), { QStringLiteral("-sf"), QStringLiteral("-o"), bodyFile,
                                                              m_emulator.url(QStringLiteral("/_emulator/requests/%1/body").arg(index)).toString() });
            if (!contentType)
                arguments << QStringLiteral("-H") << QStringLiteral("Content-Type:");
            arguments << QStringLiteral("--data-binary") << QLatin1Char('@') + bodyFile;
        }
        arguments << m_emulator.url(request.value(QStringLiteral("target")).toString()).toString(QUrl::FullyEncoded);
        arguments << QStringLiteral("-o") << (i == requests.size() - 1 ? QStringLiteral("-") : QStringLiteral("/dev/null"));
    }
    return arguments;
}

// curl alone sends the requests and drops the answers; with an expected MD5, curl | md5sum
// also runs and must find it.
bool BenchRunner::replay(const QJsonArray &requests, int runs, Samples *samples, const QByteArray &expectedMd5)
{
    const QStringList arguments = curlArguments(requests);
    for (int run = 0; run < runs; ++run) {
        const ProcessMeasure measure = expectedMd5.isEmpty()
                ? ProcessMeasure::run(QStringLiteral("bash"), QStringList { QStringLiteral("-c"), QStringLiteral("curl \"$@\" >/dev/null"), QStringLiteral("bash") } + arguments)
                : ProcessMeasure::run(QStringLiteral("bash"), QStringList { QStringLiteral("-c"), QStringLiteral("curl \"$@\" | md5sum"), QStringLiteral("bash") } + arguments);
        if (measure.exitCode != 0 || (!expectedMd5.isEmpty() && !measure.output.startsWith(expectedMd5))) {
            err() << "bench: the curl replay failed (" << measure.exitCode << ")" << Qt::endl;
            m_failed = true;
            return false;
        }
        samples->add(measure);
    }
    return true;
}

BenchRunner::Row BenchRunner::uploadNew(int mib)
{
    Row row(QStringLiteral("upload, new file, %1 MiB").arg(mib), mib * MiB);
    m_emulator.seedFolder(QStringLiteral("/bench"));
    QJsonArray requests;
    for (int run = 0; run < runsFor(row.bytes); ++run) {
        child({ QStringLiteral("upload"), QStringLiteral("gdapp:/bench/new-%1.bin").arg(run),
                QString::number(row.bytes) },
              &row.plugin, &requests);
    }
    replay(requests, runsFor(row.bytes), &row.curl);
    return row;
}

BenchRunner::Row BenchRunner::uploadReplace(int mib)
{
    Row row(QStringLiteral("upload, replacement, %1 MiB").arg(mib), mib * MiB);
    QJsonArray requests;
    for (int run = 0; run < runsFor(row.bytes); ++run) {
        child({ QStringLiteral("upload"), QStringLiteral("gdapp:/bench/new-0.bin"), QString::number(row.bytes) },
              &row.plugin, &requests);
    }
    replay(requests, runsFor(row.bytes), &row.curl);
    return row;
}

BenchRunner::Row BenchRunner::download(int mib)
{
    Row row(QStringLiteral("download, %1 MiB").arg(mib), mib * MiB);
    row.downloadReference = true;
    const QByteArray md5 = m_emulator.fileAt(QStringLiteral("/bench/new-0.bin")).value(QStringLiteral("md5Checksum")).toString().toLatin1();
    QJsonArray requests;
    for (int run = 0; run < runsFor(row.bytes); ++run)
        child({ QStringLiteral("download"), QStringLiteral("gdapp:/bench/new-0.bin") }, &row.plugin, &requests);
    replay(requests, runsFor(row.bytes), &row.curl);
    replay(requests, runsFor(row.bytes), &row.curlMd5, md5);
    return row;
}

BenchRunner::Row BenchRunner::resolve(int depth)
{
    Row row(QStringLiteral("path resolution, depth %1").arg(depth));
    QString path;
    for (int level = 1; level < depth; ++level)
        path += QStringLiteral("/level%1").arg(level);
    path += QStringLiteral("/leaf.txt");
    m_emulator.seedFile(QStringLiteral("/resolve") + path, "leaf");
    QJsonArray requests;
    for (int run = 0; run < m_options.runs; ++run)
        child({ QStringLiteral("resolve"), QStringLiteral("gdapp:/resolve") + path }, &row.plugin, &requests);
    replay(requests, m_options.runs, &row.curl);
    return row;
}

BenchRunner::Row BenchRunner::list(int entries)
{
    Row row(QStringLiteral("listing a folder of %1 entries").arg(entries));
    QJsonArray files;
    for (int i = 0; i < entries; ++i)
        files.append(QJsonObject { { QStringLiteral("path"), QStringLiteral("/many/file-%1.txt").arg(i) },
                                   { QStringLiteral("text"), QStringLiteral("entry %1").arg(i) } });
    m_emulator.control("POST", QStringLiteral("files"), QJsonObject { { QStringLiteral("files"), files } });
    QJsonArray requests;
    for (int run = 0; run < m_options.runs; ++run)
        child({ QStringLiteral("list"), QStringLiteral("gdapp:/many") }, &row.plugin, &requests);
    // Only the listing is timed, not the lookup of the folder before it.
    replay(QJsonArray { requests.last() }, m_options.runs, &row.curl);
    return row;
}

int BenchRunner::run()
{
    if (!m_scratch.isValid() || !start())
        return 1;
    QList<Row> rows;
    for (int mib : m_options.sizesMiB) {
        err() << "bench: " << mib << " MiB transfers" << Qt::endl;
        rows << uploadNew(mib) << uploadReplace(mib) << download(mib);
        m_emulator.control("DELETE", QStringLiteral("files"));
        m_emulator.clearRequests();
    }
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
    out() << "| Case | gdapp min / median (ms) | curl min / median (ms) | curl \\| md5sum min / median (ms) "
             "| gdapp ÷ reference | gdapp peak RSS (MiB) | peak ÷ size | curl peak RSS (MiB) |\n"
             "|---|---:|---:|---:|---:|---:|---:|---:|\n";
    for (const Row &row : rows) {
        const Samples &reference = row.downloadReference ? row.curlMd5 : row.curl;
        const QString ratio = reference.median() > 0 ? QString::number(row.plugin.median() / reference.median(), 'f', 2) : QStringLiteral("-");
        const QString sizeRatio = row.bytes > 0 ? QString::number(row.plugin.peak() * MiB / row.bytes, 'f', 2) : QStringLiteral("-");
        out() << "| " << row.name << " | " << number(row.plugin.minimum()) << " / " << number(row.plugin.median())
              << " | " << number(row.curl.minimum()) << " / " << number(row.curl.median()) << " | "
              << (row.downloadReference ? number(row.curlMd5.minimum()) + QStringLiteral(" / ") + number(row.curlMd5.median()) : QStringLiteral("-"))
              << " | " << ratio << (row.downloadReference ? QStringLiteral(" (curl \\| md5sum)") : QStringLiteral(" (curl)"))
              << " | " << number(row.plugin.peak()) << " | " << sizeRatio << " | " << number(row.curl.peak()) << " |\n";
    }
    out() << "\nRuns per case: " << m_options.runs << " (" << m_options.bigRuns
          << " at 256 MiB and above). gdapp times cover the operation alone (open, flush, lookup or "
             "listing) in a process that has loaded the plug-in and refreshed its token; curl times "
             "are whole processes. Peak RSS is the process's whole peak, Qt included; children are started by a small launcher process, whose few MiB count in every figure."
          << Qt::endl;
}
