// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef STANDARDSTREAMS_H
#define STANDARDSTREAMS_H

#include <QString>

// gdapp's standard streams when they are not what they should be.
class StandardStreams
{
public:
    // A closed standard stream stays unusable: the next file opened would take its number and
    // get what gdapp means for the stream (a download into the settings file, say). Each one
    // closed is held by /dev/null opened the wrong way round, so that using it fails as it
    // would have, with the system's "Bad file descriptor".
    static void holdClosedOnes();
    // Writes out what is buffered for standard output; false, with the system's words in
    // *error, when it could not take it.
    static bool flushOutput(QString *error);
};

#endif // STANDARDSTREAMS_H
