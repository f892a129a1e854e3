// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "httprequestparser.h"

#include <cstring>

namespace {
constexpr qsizetype MaxHeadSize = 64 * 1024;
} // namespace

HttpRequestParser::HttpRequestParser(qint64 maxBody) : m_maxBody(maxBody) { }

HttpRequestParser::Progress HttpRequestParser::parse()
{
    switch (m_state) {
    case State::Head:
        return parseHead();
    case State::Body:
        return readBody();
    case State::Complete:
        return Complete;
    case State::Failed:
        return Failed;
    default:
        return readChunked();
    }
}

HttpRequestParser::Progress HttpRequestParser::fail(int status, const QByteArray &reason)
{
    m_state = State::Failed;
    m_failureStatus = status;
    m_failureReason = reason;
    return Failed;
}

HttpRequestParser::Progress HttpRequestParser::parseHead()
{
    // Tolerate blank lines between requests.
    while (m_pending.startsWith("\r\n") || m_pending.startsWith('\n'))
        m_pending.remove(0, m_pending.startsWith('\n') ? 1 : 2);

    // The head ends with a blank line; lines end with CRLF or a bare LF.
    const qsizetype lf = m_pending.indexOf("\n\n");
    const qsizetype crlf = m_pending.indexOf("\n\r\n");
    const qsizetype end = crlf >= 0 && (lf < 0 || crlf < lf) ? crlf : lf;
    if (end < 0 ? m_pending.size() > MaxHeadSize : end > MaxHeadSize)
        return fail(431, "request head too large");
    if (end < 0)
        return NeedMore;
    QList<QByteArray> lines = m_pending.left(end).split('\n');
    m_pending.remove(0, end + (end == crlf ? 3 : 2));

    const QList<QByteArray> requestLine = lines.takeFirst().trimmed().split(' ');
    if (requestLine.size() != 3 || !requestLine.at(2).startsWith("HTTP/1."))
        return fail(400, "malformed request line");

    m_request = HttpRequest();
    m_request.method = requestLine.at(0);
    m_request.target = requestLine.at(1);
    const qsizetype question = m_request.target.indexOf('?');
    m_request.path = question >= 0 ? m_request.target.left(question) : m_request.target;
    m_request.rawQuery = question >= 0 ? m_request.target.mid(question + 1) : QByteArray();
    m_request.query = formFields(m_request.rawQuery);

    for (const QByteArray &line : lines) {
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0)
            return fail(400, "malformed header line");
        m_request.headers.append({ line.left(colon), line.mid(colon + 1).trimmed() });
    }

    const QByteArray connection = m_request.header("Connection").toLower();
    m_keepAlive = requestLine.at(2) == "HTTP/1.1" ? !connection.contains("close")
                                                  : connection.contains("keep-alive");
    return startBody();
}

HttpRequestParser::Progress HttpRequestParser::startBody()
{
    m_bodyReceived = 0;
    const bool chunked = m_request.header("Transfer-Encoding").toLower().contains("chunked");
    const QByteArray declared = m_request.header("Content-Length");
    bool ok = true;
    const qint64 length = chunked || declared.isNull() ? 0 : declared.toLongLong(&ok);
    if (!ok || length < 0)
        return fail(400, "bad Content-Length");
    if (length > m_maxBody)
        return fail(413, "request body too large");
    m_request.body.resize(length);
    m_state = chunked ? State::ChunkSize : length > 0 ? State::Body : State::Complete;
    return m_state == State::Complete ? Complete : HeadRead;
}

HttpRequestParser::Progress HttpRequestParser::readBody()
{
    const qint64 take = qMin<qint64>(m_pending.size(), bodyRoom());
    if (take > 0) {
        memcpy(m_request.body.data() + m_bodyReceived, m_pending.constData(), size_t(take));
        m_pending.remove(0, take);
        m_bodyReceived += take;
    }
    if (m_bodyReceived < m_request.body.size())
        return NeedMore;
    m_state = State::Complete;
    return Complete;
}

char *HttpRequestParser::bodyEnd()
{
    return m_request.body.data() + m_bodyReceived;
}

qint64 HttpRequestParser::bodyRoom() const
{
    return m_state == State::Body ? m_request.body.size() - m_bodyReceived : 0;
}

void HttpRequestParser::bodyWritten(qint64 count)
{
    m_bodyReceived += qBound<qint64>(0, count, bodyRoom());
}

HttpRequestParser::Progress HttpRequestParser::readChunked()
{
    for (;;) {
        if (m_state == State::ChunkSize) {
            const qsizetype newline = m_pending.indexOf('\n');
            if (newline < 0)
                return NeedMore;
            QByteArray line = m_pending.left(newline).trimmed();
            m_pending.remove(0, newline + 1);
            const qsizetype extension = line.indexOf(';');
            if (extension >= 0)
                line.truncate(extension);
            bool ok = false;
            m_chunkRemaining = line.toLongLong(&ok, 16);
            if (!ok || m_chunkRemaining < 0)
                return fail(400, "bad chunk");
            if (m_chunkRemaining > m_maxBody - m_request.body.size())
                return fail(413, "request body too large");
            m_state = m_chunkRemaining == 0 ? State::ChunkTrailer : State::ChunkData;
        } else if (m_state == State::ChunkData) {
            const qint64 take = qMin<qint64>(m_pending.size(), m_chunkRemaining);
            m_request.body.append(m_pending.constData(), take);
            m_pending.remove(0, take);
            m_chunkRemaining -= take;
            if (m_chunkRemaining > 0)
                return NeedMore;
            // The line end after the chunk data.
            if (m_pending.size() < 2 && !m_pending.startsWith('\n'))
                return NeedMore;
            m_pending.remove(0, m_pending.startsWith('\n') ? 1 : 2);
            m_state = State::ChunkSize;
        } else {
            const qsizetype newline = m_pending.indexOf('\n');
            if (newline < 0)
                return NeedMore;
            const bool last = m_pending.left(newline).trimmed().isEmpty();
            m_pending.remove(0, newline + 1);
            if (last) {
                m_bodyReceived = m_request.body.size();
                m_state = State::Complete;
                return Complete;
            }
        }
    }
}

HttpRequest HttpRequestParser::takeRequest()
{
    HttpRequest request = std::move(m_request);
    m_request = HttpRequest();
    m_state = State::Head;
    return request;
}
