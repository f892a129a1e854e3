// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "standardstreams.h"

#include "reporter.h"

#include <QFileDevice>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

void StandardStreams::holdClosedOnes()
{
    for (const int stream : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO }) {
        if (fcntl(stream, F_GETFD) == -1 && errno == EBADF) {
            // The lowest free number: this one, as those below are open by now.
            ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

bool StandardStreams::flushOutput(QString *error)
{
    QTextStream &out = Reporter::out();
    out.flush();
    if (out.status() == QTextStream::Ok)
        return true;
    *error = out.device()->errorString();
    return false;
}
