// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef BENCHTARGETS_H
#define BENCHTARGETS_H

#include <QtGlobal>

// What the plug-in's transfers are held to: ratios to the references measured in the same run,
// judged from SizeMiB up, where a transfer's own cost outweighs the requests around it. Smaller
// transfers and lookups are measured, not judged.
namespace BenchTargets {
constexpr qint64 MiB = 1024 * 1024;
constexpr int SizeMiB = 256;
constexpr double Upload = 1.10; // of Qt's plain request of the same bytes
constexpr double Download = 1.30; // of curl | md5sum
constexpr double DownloadPeak = 1.10; // of the size
constexpr double UploadPeak = 2.10; // of the size, for a new file

constexpr bool judge(qint64 bytes)
{
    return bytes >= SizeMiB * MiB;
}
} // namespace BenchTargets

#endif // BENCHTARGETS_H
