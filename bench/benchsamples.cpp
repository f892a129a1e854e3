// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "benchsamples.h"

#include <algorithm>

void BenchSamples::add(double milliseconds, double peakMiB)
{
    m_milliseconds.append(milliseconds);
    m_peakMiB.append(peakMiB);
}

double BenchSamples::minimum() const
{
    return m_milliseconds.isEmpty()
            ? 0
            : *std::min_element(m_milliseconds.cbegin(), m_milliseconds.cend());
}

double BenchSamples::median() const
{
    if (m_milliseconds.isEmpty())
        return 0;
    QList<double> sorted = m_milliseconds;
    std::sort(sorted.begin(), sorted.end());
    const qsizetype middle = sorted.size() / 2;
    return sorted.size() % 2 ? sorted.at(middle) : (sorted.at(middle - 1) + sorted.at(middle)) / 2;
}

double BenchSamples::peak() const
{
    return m_peakMiB.isEmpty() ? 0 : *std::max_element(m_peakMiB.cbegin(), m_peakMiB.cend());
}
