// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "httpconnection.h"

#include "bodydigest.h"

#include <QTcpSocket>
#include <QTimer>

#include <algorithm>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace {
constexpr qint64 ReadChunk = 4 * 1024 * 1024;
constexpr qint64 ParserChunk = 64 * 1024;
constexpr qint64 PacedReadBuffer = 64 * 1024;
constexpr qint64 WriteChunk = 8 * 1024 * 1024;
constexpr qint64 AnswerChunk = 64 * 1024;
constexpr int PaceTickMs = 20;

// A body as chunked transfer coding: chunks of at most AnswerChunk bytes, then the last one.
QByteArray chunked(const QByteArray &body)
{
    QByteArray coded;
    for (qsizetype at = 0; at < body.size(); at += AnswerChunk) {
        const qsizetype size = qMin<qsizetype>(AnswerChunk, body.size() - at);
        coded += QByteArray::number(size, 16) + "\r\n";
        coded.append(body.constData() + at, size);
        coded += "\r\n";
    }
    return coded + "0\r\n\r\n";
}
} // namespace

HttpConnection::HttpConnection(qintptr socketDescriptor, qint64 maxBody, QObject *parent)
    : QObject(parent), m_socket(new QTcpSocket(this)), m_parser(maxBody)
{
    m_socket->setSocketDescriptor(socketDescriptor, QAbstractSocket::ConnectedState,
                                  QIODevice::ReadWrite | QIODevice::Unbuffered);
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connect(m_socket, &QTcpSocket::bytesWritten, this, &HttpConnection::sendOutgoing);
    connect(m_socket, &QTcpSocket::readyRead, this, &HttpConnection::readIncoming);
    connect(m_socket, &QTcpSocket::disconnected, this, &HttpConnection::announceClosed);
    QTimer::singleShot(0, this, &HttpConnection::readIncoming);
}

void HttpConnection::readIncoming()
{
    // Clients that leave Nagle's algorithm on (Qt's do) hold their last small segment until the
    // previous one is acknowledged; a delayed acknowledgement then stalls every upload by tens of
    // milliseconds. The kernel drops out of quick-ack mode by itself, so this is renewed per read.
    const int one = 1;
    ::setsockopt(int(m_socket->socketDescriptor()), IPPROTO_TCP, TCP_QUICKACK, &one, sizeof one);
    while (m_state == State::Reading) {
        switch (m_parser.parse()) {
        case HttpRequestParser::Complete:
            finishRequest();
            return;
        case HttpRequestParser::Failed:
            m_state = State::Handling;
            writeResponse(HttpResponse::make(m_parser.failureStatus(), "text/plain; charset=utf-8",
                                             m_parser.failureReason() + '\n'));
            return;
        case HttpRequestParser::HeadRead:
            startBody();
            break;
        case HttpRequestParser::NeedMore:
            if (!readMore())
                return;
            break;
        }
    }
}

// A body of known length goes straight from the kernel into its buffer; anything else through
// the parser's, a little at a time, so that little of a body goes that way with its head.
bool HttpConnection::readMore()
{
    qint64 allowance = readAllowance();
    if (m_parser.bodyRoom() == 0) {
        if (m_socket->bytesAvailable() <= 0 || allowance <= 0)
            return false;
        m_parser.append(m_socket->read(qMin(ParserChunk, allowance)));
        return true;
    }
    bool read = false;
    while (m_parser.bodyRoom() > 0 && allowance > 0 && m_socket->bytesAvailable() > 0) {
        const qint64 count = m_socket->read(
                m_parser.bodyEnd(), std::min({ ReadChunk, m_parser.bodyRoom(), allowance }));
        if (count <= 0)
            break;
        m_parser.bodyWritten(count);
        allowance -= count;
        read = true;
    }
    if (m_parser.request().digest)
        m_parser.request().digest->received(m_parser.bodyReceived());
    return read;
}

// What the pace lets be read now; a paced body is read again a tick later, as the kernel does not
// announce bytes that were already there.
qint64 HttpConnection::readAllowance()
{
    if (m_bytesPerSecond == 0)
        return ReadChunk;
    if (!m_resumeScheduled) {
        m_resumeScheduled = true;
        QTimer::singleShot(PaceTickMs, this, [this] {
            m_resumeScheduled = false;
            readIncoming();
        });
    }
    return m_bytesPerSecond * m_bodyClock.elapsed() / 1000 - m_parser.bodyReceived();
}

void HttpConnection::startBody()
{
    if (m_parser.request().header("Expect").compare("100-continue", Qt::CaseInsensitive) == 0)
        m_socket->write("HTTP/1.1 100 Continue\r\n\r\n");
    if (m_parser.bodyRoom() == 0)
        return;
    m_parser.request().digest = BodyDigest::forBody(m_parser.request());
    m_bytesPerSecond = m_pacePolicy ? m_pacePolicy(m_parser.request()) : 0;
    m_bodyClock.start();
    // Qt's socket would otherwise take in whatever the kernel holds, and the client would see its
    // upload through long before it is read.
    m_socket->setReadBufferSize(m_bytesPerSecond > 0 ? PacedReadBuffer : 0);
}

void HttpConnection::finishRequest()
{
    if (m_parser.request().digest)
        m_parser.request().digest->received(m_parser.bodyReceived());
    m_state = State::Handling;
    m_bytesPerSecond = 0;
    emit requestReceived(this);
}

HttpRequest HttpConnection::takeRequest()
{
    HttpRequest request = m_parser.takeRequest();
    request.peer = m_socket->peerAddress();
    return request;
}

void HttpConnection::respond(const HttpResponse &response)
{
    if (m_state != State::Handling)
        return;
    if (response.delayMs > 0)
        QTimer::singleShot(response.delayMs, this, [this, response] { writeResponse(response); });
    else
        writeResponse(response);
}

void HttpConnection::writeResponse(const HttpResponse &response)
{
    if (m_state == State::Closed)
        return;
    if (response.drop) {
        closeConnection(false);
        return;
    }

    const bool keepAlive =
            m_parser.keepAlive() && m_parser.failureStatus() == 0 && response.truncateAt < 0;
    const bool noBody = response.status == 204 || response.status == 304;
    QByteArray head = "HTTP/1.1 " + QByteArray::number(response.status) + ' '
            + HttpResponse::reasonPhrase(response.status) + "\r\n";
    for (const auto &header : response.headers)
        head += header.first + ": " + header.second + "\r\n";
    if (!noBody) {
        head += response.chunked
                ? QByteArray("Transfer-Encoding: chunked\r\n")
                : "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n";
    }
    head += keepAlive ? "Connection: keep-alive\r\n\r\n" : "Connection: close\r\n\r\n";
    m_socket->write(head);

    if (!noBody) {
        const QByteArray body =
                response.truncateAt >= 0 ? response.body.left(response.truncateAt) : response.body;
        m_outgoing = response.chunked ? chunked(body) : body;
    }
    m_outgoingSent = 0;
    m_closeWhenSent = !keepAlive;
    sendOutgoing();
}

// Keeps at most one chunk queued in the socket, so a large body is never copied whole; once it is
// all out, reads the next request.
void HttpConnection::sendOutgoing()
{
    if (m_state != State::Handling)
        return;
    while (m_outgoingSent < m_outgoing.size() && m_socket->bytesToWrite() < WriteChunk) {
        const qint64 written =
                m_socket->write(m_outgoing.constData() + m_outgoingSent,
                                qMin(WriteChunk, m_outgoing.size() - m_outgoingSent));
        if (written < 0) {
            closeConnection(false);
            return;
        }
        m_outgoingSent += written;
    }
    if (m_outgoingSent < m_outgoing.size())
        return;
    m_outgoing.clear();
    m_outgoingSent = 0;
    if (m_closeWhenSent) {
        closeConnection(true);
        return;
    }
    m_state = State::Reading;
    QTimer::singleShot(0, this, &HttpConnection::readIncoming);
}

void HttpConnection::closeConnection(bool graceful)
{
    m_state = State::Closed;
    if (graceful)
        m_socket->disconnectFromHost(); // after what is queued has gone out
    else
        m_socket->abort();
    if (m_socket->state() == QAbstractSocket::UnconnectedState)
        announceClosed();
}

void HttpConnection::announceClosed()
{
    m_state = State::Closed;
    if (m_closedAnnounced)
        return;
    m_closedAnnounced = true;
    emit closed(this);
}
