// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef BENCHRUNNER_H
#define BENCHRUNNER_H

#include "emulatorprocess.h"
#include "processmeasure.h"
#include "tlsfrontend.h"

#include <QList>
#include <QProcess>
#include <QTemporaryDir>

// Runs the benchmark cases and prints a Markdown table. The plug-in works against the emulator,
// straight or through nginx with TLS and HTTP/2, in child processes; beside it, in the same run,
// references that cannot hide its cost: Qt's own plain request of the bytes the plug-in sent,
// to the same server, and curl, straight to a server that only serves or discards bytes or
// with --http2 through the same nginx. Requests are replayed from the emulator's request log.
class BenchRunner
{
public:
    struct Options
    {
        QList<int> sizesMiB { 1, 64, 256 };
        QList<int> frontEndSizesMiB { 64, 256 };
        QList<int> depths { 1, 4, 16 };
        int listEntries = 1000;
        int runs = 7;
        int bigRuns = 9; // for sizes of 256 MiB and more
        QString program; // this executable, to start the children
        QString referenceServer;
    };

    explicit BenchRunner(const Options &options);
    ~BenchRunner();
    int run();

private:
    struct Samples
    {
        QList<double> milliseconds;
        QList<double> peakMiB;
        double minimum() const;
        double median() const;
        double peak() const;
    };

    enum class Kind { Upload, Replacement, Download, Lookup };

    struct Row
    {
        Row(const QString &name, Kind kind, qint64 bytes = 0) : name(name), kind(kind), bytes(bytes)
        {
        }
        QString name;
        Kind kind;
        qint64 bytes;
        Samples plugin;
        Samples plain; // Qt's request of the same bytes
        Samples curl; // for downloads, piped into md5sum
    };

    bool start();
    bool startReferenceServer();
    void throughFrontEnd(bool yes);
    bool child(const QStringList &arguments, Samples *samples);
    QJsonArray capture(const QStringList &arguments); // one unmeasured run, bodies logged
    QString bodyFile(const QJsonObject &request);
    QStringList curlArguments(const QJsonArray &requests, const QUrl &base);
    void replayCurl(const QJsonArray &requests, const QUrl &base, Samples *samples,
                    const QByteArray &expectedMd5 = {});
    void replayPlain(const QJsonObject &request, const QUrl &base, Samples *samples);
    int runsFor(qint64 bytes) const;
    QUrl referenceBase() const;

    Row transfer(Kind kind, int mib);
    Row resolve(int depth);
    Row list(int entries);
    void print(const QList<Row> &rows) const;

    Options m_options;
    EmulatorProcess m_emulator;
    TlsFrontEnd m_frontEnd;
    bool m_haveFrontEnd = false;
    bool m_viaFrontEnd = false;
    QProcess m_reference;
    QUrl m_referenceUrl;
    QTemporaryDir m_scratch;
    bool m_failed = false;
};

#endif // BENCHRUNNER_H
