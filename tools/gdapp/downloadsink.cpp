// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "downloadsink.h"

#include <QFileInfo>

#include <unistd.h>

namespace {
bool isStandardOutput(const QString &target)
{
    return target == QLatin1String("-");
}
} // namespace

DownloadSink::DownloadSink(const QString &target)
    : m_target(target),
      m_direct(isStandardOutput(target)
               || (QFileInfo::exists(target) && !QFileInfo(target).isFile())),
      m_replacement(target)
{
}

QString DownloadSink::name() const
{
    return isStandardOutput(m_target) ? QStringLiteral("standard output") : m_target;
}

bool DownloadSink::fail(const QFileDevice &device)
{
    m_error = device.errorString();
    if (!m_direct)
        m_replacement.cancelWriting();
    return false;
}

bool DownloadSink::open()
{
    // Unbuffered: a failed write is told by the write itself.
    constexpr QIODevice::OpenMode Mode = QIODevice::WriteOnly | QIODevice::Unbuffered;
    if (isStandardOutput(m_target))
        return m_file.open(STDOUT_FILENO, Mode, QFileDevice::DontCloseHandle) || fail(m_file);
    if (m_direct) {
        m_file.setFileName(m_target);
        return m_file.open(Mode) || fail(m_file);
    }
    return m_replacement.open(Mode) || fail(m_replacement);
}

bool DownloadSink::write(const QByteArray &data)
{
    QFileDevice &device = m_direct ? static_cast<QFileDevice &>(m_file) : m_replacement;
    // A disk that fills up takes part of a write without a word; the next write says why.
    for (qint64 written = 0; written < data.size();) {
        const qint64 more = device.write(data.constData() + written, data.size() - written);
        if (more <= 0)
            return fail(device);
        written += more;
    }
    return true;
}

bool DownloadSink::finish()
{
    if (m_direct)
        return m_file.flush() || fail(m_file);
    return m_replacement.commit() || fail(m_replacement);
}
