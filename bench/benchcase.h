// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef BENCHCASE_H
#define BENCHCASE_H

#include "benchsamples.h"

#include <QString>

// One case of the benchmark, a row of its report: what was measured, and the runs of the
// plug-in and of its references.
struct BenchCase
{
    enum class Kind { Upload, Replacement, Download, Lookup };

    BenchCase(const QString &name, Kind kind, qint64 bytes = 0)
        : name(name), kind(kind), bytes(bytes)
    {
    }
    bool isUpload() const { return kind == Kind::Upload || kind == Kind::Replacement; }

    QString name;
    Kind kind;
    qint64 bytes;
    BenchSamples plugin;
    BenchSamples plain; // Qt's request of the same bytes
    BenchSamples curl; // for downloads, piped into md5sum
};

#endif // BENCHCASE_H
