// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef HTTPREQUESTPARSER_H
#define HTTPREQUESTPARSER_H

#include "httprequest.h"

// The request side of HTTP/1.1 without a socket: bytes go in, whole requests come out, one at a
// time. Heads take CRLF or bare LF line ends; bodies have a Content-Length or come chunked; what
// cannot be taken is refused with a status. A body of known length gets its whole buffer as soon
// as the head is read, so that a connection can read it straight from the kernel (bodyRoom()).
//     parser.append(bytes);
//     while (parser.parse() == HttpRequestParser::Complete)
//         handle(parser.takeRequest());
class HttpRequestParser
{
public:
    enum Progress {
        NeedMore, // the bytes so far make no more
        HeadRead, // a head whose body is to come: request() has it, the body's buffer is made
        Complete, // takeRequest()
        Failed, // failureStatus(), failureReason(); nothing more is read
    };

    explicit HttpRequestParser(qint64 maxBody);

    void append(const QByteArray &bytes) { m_pending += bytes; }
    Progress parse();

    HttpRequest &request() { return m_request; }
    HttpRequest takeRequest();
    // Whether the connection stays open after the answer to the last request.
    bool keepAlive() const { return m_keepAlive; }
    int failureStatus() const { return m_failureStatus; }
    QByteArray failureReason() const { return m_failureReason; }

    // Where the rest of a body of known length goes, and how much of it there is to come; 0 when
    // nothing can be written there now (some bytes are still pending, or the body is chunked).
    char *bodyEnd();
    qint64 bodyRoom() const;
    void bodyWritten(qint64 count);
    qint64 bodyReceived() const { return m_bodyReceived; }

private:
    enum class State { Head, Body, ChunkSize, ChunkData, ChunkTrailer, Complete, Failed };

    Progress parseHead();
    Progress startBody();
    Progress readBody();
    Progress readChunked();
    Progress fail(int status, const QByteArray &reason);

    qint64 m_maxBody;
    State m_state = State::Head;
    QByteArray m_pending; // received but not yet parsed
    HttpRequest m_request;
    qint64 m_bodyReceived = 0;
    qint64 m_chunkRemaining = 0;
    bool m_keepAlive = true;
    int m_failureStatus = 0;
    QByteArray m_failureReason;
};

#endif // HTTPREQUESTPARSER_H
