// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef SIZELIMIT_H
#define SIZELIMIT_H

#include <QString>

// How large a file the plug-in can take. It holds a file in memory with 32-bit positions, so
// content stays under 2 GiB, both ways; and it uploads a file in one request, whose body Qt sends
// only up to 2 GiB. A replacement's body is the content alone; a new file's wraps it in a
// multipart envelope with the file's metadata, which leaves a little less room for the content.
class SizeLimit
{
public:
    // The largest content the plug-in holds: 2 GiB less one byte.
    static constexpr qint64 MaxContent = (qint64(1) << 31) - 1;
    // The largest request body Qt sends.
    static constexpr qint64 MaxBody = qint64(1) << 31;

    // The bytes around the content of a new file called name in the folder folderId, as the
    // plug-in writes them.
    static qint64 envelope(const QString &name, const QString &folderId);
    // The largest content a new file called name in the folder folderId can have.
    static qint64 forNewFile(const QString &name, const QString &folderId);
};

#endif // SIZELIMIT_H
