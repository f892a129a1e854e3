#ifndef BENCHRUNNER_H
#define BENCHRUNNER_H

#include "emulatorprocess.h"
#include "processmeasure.h"

#include <QList>
#include <QTemporaryDir>

// Runs the benchmark cases against the emulator: the plug-in in child processes, and in the
// same run the references, curl alone and curl piped into md5sum, sending the very requests
// the plug-in sent (replayed from the emulator's request log). Prints a Markdown table.
class BenchRunner
{
public:
    struct Options
    {
        QList<int> sizesMiB { 1, 64, 256 };
        QList<int> depths { 1, 4, 16 };
        int listEntries = 1000;
        int runs = 5;
        int bigRuns = 3; // for sizes of 256 MiB and more
        QString program; // this executable, to start the children
    };

    explicit BenchRunner(const Options &options);
    int run();

private:
    struct Samples
    {
        QList<double> milliseconds;
        QList<double> peakMiB;
        void add(const ProcessMeasure &measure);
        double minimum() const;
        double median() const;
        double peak() const;
    };

    struct Row
    {
        explicit Row(const QString &name, qint64 bytes = 0) : name(name), bytes(bytes) { }
        QString name;
        qint64 bytes;
        Samples plugin;
        Samples curl;
        Samples curlMd5;
        bool downloadReference = false;
    };

    bool start();
    bool child(const QStringList &arguments, Samples *samples, QJsonArray *requests);
    bool replay(const QJsonArray &requests, int runs, Samples *samples, const QByteArray &expectedMd5 = {});
    QStringList curlArguments(const QJsonArray &requests);
    int runsFor(qint64 bytes) const;

    Row uploadNew(int mib);
    Row uploadReplace(int mib);
    Row download(int mib);
    Row resolve(int depth);
    Row list(int entries);
    void print(const QList<Row> &rows) const;

    Options m_options;
    EmulatorProcess m_emulator;
    QTemporaryDir m_scratch;
    bool m_failed = false;
};

#endif // BENCHRUNNER_H
