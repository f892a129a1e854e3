// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef BENCHREPORT_H
#define BENCHREPORT_H

#include "benchcase.h"

#include <QList>

// The benchmark's cases as Markdown: the machine, a table row per case with its ratio to its
// reference and the targets it is held to, and what the figures cover.
class BenchReport
{
public:
    // runs and bigRuns: how many runs each case had, below the targets' size and from it up.
    BenchReport(int runs, int bigRuns);

    QString markdown(const QList<BenchCase> &cases) const;

private:
    QString row(const BenchCase &benchCase) const;
    QString notes() const;

    int m_runs;
    int m_bigRuns;
};

#endif // BENCHREPORT_H
