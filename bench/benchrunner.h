// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef BENCHRUNNER_H
#define BENCHRUNNER_H

#include "benchcase.h"
#include "benchservers.h"
#include "benchtargets.h"
#include "replayedrequest.h"

#include <QList>
#include <QTemporaryDir>

// Runs the benchmark's cases. The plug-in works against the emulator, straight or through nginx
// with TLS and HTTP/2, in child processes; beside it, in the same run, references that cannot
// hide its cost: Qt's own plain request of the bytes the plug-in sent, to the same server, and
// curl, straight to a server that only serves or discards bytes or with --http2 through the same
// nginx. Requests are replayed from the emulator's request log.
class BenchRunner
{
public:
    struct Options
    {
        QList<int> sizesMiB { 1, 64, BenchTargets::SizeMiB };
        QList<int> frontEndSizesMiB { 64, BenchTargets::SizeMiB };
        QList<int> depths { 1, 4, 16 };
        int listEntries = 1000;
        int runs = 7;
        int bigRuns = 9; // for the sizes the targets judge
        QString program; // this executable, to start the children
        QString referenceServer;
    };

    explicit BenchRunner(const Options &options);
    // False when the servers or the authorisation could not be had, and nothing was measured.
    bool run();
    const QList<BenchCase> &cases() const { return m_cases; }
    // Whether every run of every case succeeded.
    bool complete() const { return !m_failed; }

private:
    bool start();
    bool child(const QStringList &arguments, BenchSamples *samples);
    QList<ReplayedRequest> capture(const QStringList &arguments);
    QString bodyFile(const QJsonObject &request);
    void replayCurl(const QList<ReplayedRequest> &requests, const QUrl &server,
                    BenchSamples *samples, const QByteArray &expectedMd5 = {});
    void replayPlain(const ReplayedRequest &request, const QUrl &server, BenchSamples *samples);
    int runsFor(qint64 bytes) const;

    BenchCase transfer(BenchCase::Kind kind, int mib);
    BenchCase resolve(int depth);
    BenchCase list(int entries);

    Options m_options;
    QTemporaryDir m_scratch;
    BenchServers m_servers;
    QList<BenchCase> m_cases;
    bool m_failed = false;
};

#endif // BENCHRUNNER_H
