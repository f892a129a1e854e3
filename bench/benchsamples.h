// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef BENCHSAMPLES_H
#define BENCHSAMPLES_H

#include <QList>

// The runs of one case by one client: their times and peak memories, and what the report reads
// of them. Every figure is 0 when there was no run.
class BenchSamples
{
public:
    void add(double milliseconds, double peakMiB);
    double minimum() const;
    double median() const;
    double peak() const;

private:
    QList<double> m_milliseconds;
    QList<double> m_peakMiB;
};

#endif // BENCHSAMPLES_H
