// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "multipartbody.h"

bool MultipartBody::fail(const QString &why)
{
    m_error = why;
    return false;
}

// Reads header lines up to the blank line that opens the part's content.
bool MultipartBody::readHeaders(const QByteArray &body, qsizetype &pos, Part &part)
{
    for (;;) {
        const qsizetype newline = body.indexOf('\n', pos);
        if (newline < 0)
            return fail(QStringLiteral("unterminated part headers"));
        const QByteArray line = body.mid(pos, newline - pos).trimmed();
        pos = newline + 1;
        if (line.isEmpty())
            return true;
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0)
            return fail(QStringLiteral("malformed part header"));
        part.headers.append({ line.left(colon).trimmed(), line.mid(colon + 1).trimmed() });
    }
}

bool MultipartBody::parseHead(const QByteArray &body, const QByteArray &delimiter, qsizetype *at)
{
    // The first delimiter opens a line; a preamble before it is ignored.
    qsizetype pos = body.startsWith(delimiter) ? 0 : body.indexOf("\n" + delimiter);
    if (pos < 0)
        return fail(QStringLiteral("missing opening boundary"));
    if (pos > 0)
        ++pos;
    pos += delimiter.size();
    while (pos < body.size() && (body.at(pos) == ' ' || body.at(pos) == '\t'))
        ++pos;
    m_crlf = body.mid(pos, 2) == "\r\n";
    if (!m_crlf && body.mid(pos, 1) != "\n")
        return fail(QStringLiteral("malformed opening boundary"));
    pos += m_crlf ? 2 : 1;

    if (!readHeaders(body, pos, m_metadata))
        return false;
    const qsizetype metadataEnd = body.indexOf("\n" + delimiter, pos);
    if (metadataEnd < 0)
        return fail(QStringLiteral("missing media part"));
    m_metadata.body = body.mid(pos, metadataEnd - pos);
    if (m_crlf && m_metadata.body.endsWith('\r'))
        m_metadata.body.chop(1);

    pos = metadataEnd + 1 + delimiter.size();
    if (body.mid(pos, 2) == "--")
        return fail(QStringLiteral("missing media part"));
    const qsizetype lineEnd = body.indexOf('\n', pos);
    if (lineEnd < 0)
        return fail(QStringLiteral("malformed boundary"));
    pos = lineEnd + 1;
    if (!readHeaders(body, pos, m_media))
        return false;
    *at = pos;
    return true;
}

bool MultipartBody::parse(QByteArray body, const QByteArray &boundary)
{
    if (boundary.isEmpty())
        return fail(QStringLiteral("no boundary"));
    const QByteArray delimiter = "--" + boundary;
    qsizetype pos = 0;
    if (!parseHead(body, delimiter, &pos))
        return false;

    // The media part runs to the closing delimiter; the last one counts, so content that
    // happens to hold the boundary text is kept whole.
    const qsizetype close = body.lastIndexOf("\n" + delimiter + "--");
    if (close < pos - 1)
        return fail(QStringLiteral("missing closing boundary"));
    qsizetype end = close;
    if (m_crlf && end > pos && body.at(end - 1) == '\r')
        --end;
    // Dropping the front of an unshared array only moves its start: no copy.
    body.truncate(end > pos ? end : pos);
    body.remove(0, pos);
    m_media.body = std::move(body);
    return true;
}

qsizetype MultipartBody::mediaOffsetIn(const QByteArray &prefix, const QByteArray &boundary)
{
    // What comes before the media part reads the same in a prefix as in the whole body.
    MultipartBody head;
    qsizetype pos = -1;
    return !boundary.isEmpty() && head.parseHead(prefix, "--" + boundary, &pos) ? pos : -1;
}
