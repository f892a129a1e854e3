// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "cloudfile.h"

#include "cloudcodes.h"

#include <QtGlobal>

namespace {
// Content above 1 GiB is stored as soon as it has been written.
constexpr qint64 DefaultFlushThreshold = 1073741824;

// Inserting grows a byte array by copying it to a larger one, so for a moment a host writing a
// large file piece by piece would hold it twice; reserving grows it where it is.
void reserveFor(QByteArray &buffer, qint64 len)
{
    const qint64 needed = buffer.size() + len;
    if (needed > buffer.capacity())
        buffer.reserve(qMax(needed, 2 * qint64(buffer.capacity())));
}
} // namespace

CloudFile::CloudFile(const QUrl &url, QObject *parent)
    : QIODevice(parent),
      m_url(url),
      m_errorCode(0),
      m_flushThreshold(DefaultFlushThreshold),
      m_writtenBytes(0),
      m_overwrite(true),
      m_position(0)
{
}

bool CloudFile::event(QEvent *event)
{
    return QObject::event(event);
}

bool CloudFile::open(QIODevice::OpenMode mode)
{
    if (!QIODevice::open(mode))
        return false;

    if (mode & QIODevice::WriteOnly) {
        const bool truncate = mode & QIODevice::Truncate;
        const bool append = mode & QIODevice::Append;
        if (truncate || !append) {
            m_buffer.clear();
            m_position = 0;
            return true;
        }
    }

    // Contract: a failed fetch leaves the device open in the requested mode.
    if (!getFile())
        return false;

    if (mode & QIODevice::WriteOnly)
        m_position = int(m_buffer.size());
    else if (mode & QIODevice::ReadOnly)
        m_position = 0;
    return true;
}

void CloudFile::close()
{
    QIODevice::close();
}

qint64 CloudFile::pos() const
{
    return m_position;
}

// Contract: any position up to the size is stored, a negative one too, and the answer is yes.
bool CloudFile::seek(qint64 pos)
{
    if (pos > m_buffer.size())
        return false;
    QIODevice::seek(pos);
    m_position = int(pos);
    return true;
}

bool CloudFile::reset()
{
    QIODevice::reset();
    m_position = 0;
    return true;
}

bool CloudFile::copy(const QUrl &to)
{
    return copy(m_url, to);
}

bool CloudFile::remove()
{
    close();
    return remove(m_url);
}

bool CloudFile::rename(const QUrl &to)
{
    return rename(m_url, to);
}

bool CloudFile::rename(const QUrl &from, const QUrl &to)
{
    if (!copy(from, to))
        return false;
    return remove(from);
}

bool CloudFile::exists(QString &etag)
{
    return exists(m_url, etag);
}

bool CloudFile::exists(const QUrl &url, QString &etag)
{
    int status = Cloud::NothingFound;
    CloudObject *object = getObjectFromPath(url, status);
    bool found = false;
    if (status != Cloud::NothingFound) {
        // Contract: with only the parent folder found, the folder's etag is reported all the
        // same.
        etag = object->etag();
        found = !object->isFolder();
    }
    delete object;
    return found;
}

bool CloudFile::isMode(QIODevice::OpenMode flags)
{
    return (openMode() & flags) == flags;
}

bool CloudFile::flush()
{
    return putFile();
}

void CloudFile::setFlushThreshold(qint64 threshold)
{
    m_flushThreshold = qMax<qint64>(threshold, 0);
}

qint64 CloudFile::flushThreshold() const
{
    return m_flushThreshold;
}

void CloudFile::setOverwrite(bool overwrite)
{
    m_overwrite = overwrite;
}

bool CloudFile::overwrite() const
{
    return m_overwrite;
}

int CloudFile::errorCode() const
{
    return m_errorCode;
}

void CloudFile::setErrorCode(int code)
{
    m_errorCode = code;
}

void CloudFile::abort()
{
    emit operationAborted();
}

void CloudFile::setProgress(qint64 done, qint64 total)
{
    if (total != 0)
        emit progress(int(done * 100 / total));
}

qint64 CloudFile::readData(char *data, qint64 maxSize)
{
    const qint64 size = m_buffer.size();
    if (size == 0 || m_position >= size)
        return 0;
    // The bytes that QByteArray::mid(position, length) would give: a range that starts before
    // the buffer (a host may seek to a negative position) is clipped at both ends.
    const qint64 length = qMin(maxSize, size);
    const qint64 begin = qBound(qint64(0), qint64(m_position), size);
    const qint64 end = qBound(qint64(0), m_position + length, size);
    if (end <= begin)
        return 0;
    const qint64 count = end - begin;
    memcpy(data, m_buffer.constData() + begin, size_t(count));
    m_position = int(m_position + count);
    return count;
}

qint64 CloudFile::writeData(const char *data, qint64 len)
{
    const qsizetype oldSize = m_buffer.size();
    // Nothing is inserted before the start: the buffer does not grow, and the result says so.
    if (m_position >= 0) {
        reserveFor(m_buffer, len);
        m_buffer.insert(m_position, data, len);
    }

    m_writtenBytes += len;
    if (m_writtenBytes > m_flushThreshold)
        flush();

    // Contract: hosts rely on this 32-bit result, including its odd value when the buffer did
    // not grow by exactly len bytes; the written-bytes count is never reset.
    const int result = m_buffer.size() == oldSize + len ? int(len) : int(oldSize - m_buffer.size());
    // Positions are 32-bit: past 2 GiB they wrap, as they always have, without overflowing.
    m_position = int(qint64(m_position) + result);
    return result;
}
