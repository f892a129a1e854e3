#include "httpconnection.h"

#include <QTcpSocket>
#include <QTimer>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace {
constexpr qsizetype MaxHeadSize = 64 * 1024;
constexpr qint64 ReadChunk = 4 * 1024 * 1024;
constexpr qint64 WriteChunk = 8 * 1024 * 1024;

// The end of the head: a blank line, with CRLF or bare LF line ends.
qsizetype headEnd(const QByteArray &data, qsizetype &separatorLength)
{
    const qsizetype crlf = data.indexOf("\r\n\r\n");
    const qsizetype lf = data.indexOf("\n\n");
    if (crlf >= 0 && (lf < 0 || crlf < lf)) {
        separatorLength = 4;
        return crlf;
    }
    separatorLength = 2;
    return lf;
}
} // namespace

HttpConnection::HttpConnection(qintptr socketDescriptor, qint64 maxBody, QObject *parent)
    : QObject(parent), m_socket(new QTcpSocket(this)), m_maxBody(maxBody)
{
    m_socket->setSocketDescriptor(socketDescriptor, QAbstractSocket::ConnectedState,
                                  QIODevice::ReadWrite | QIODevice::Unbuffered);
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connect(m_socket, &QTcpSocket::bytesWritten, this, &HttpConnection::sendOutgoing);
    connect(m_socket, &QTcpSocket::readyRead, this, &HttpConnection::readIncoming);
    connect(m_socket, &QTcpSocket::disconnected, this, &HttpConnection::announceClosed);
    QTimer::singleShot(0, this, &HttpConnection::readIncoming);
}

QHostAddress HttpConnection::peerAddress() const
{
    return m_socket->peerAddress();
}

// Clients that leave Nagle's algorithm on (Qt's do) hold their last small segment until the
// previous one is acknowledged; a delayed acknowledgement then stalls every upload by tens of
// milliseconds. The kernel drops out of quick-ack mode by itself, so this is renewed per read.
void HttpConnection::acknowledgeAtOnce()
{
    const int one = 1;
    ::setsockopt(int(m_socket->socketDescriptor()), IPPROTO_TCP, TCP_QUICKACK, &one, sizeof one);
}

void HttpConnection::readIncoming()
{
    acknowledgeAtOnce();
    for (;;) {
        switch (m_state) {
        case State::Head:
            if (m_socket->bytesAvailable() > 0)
                m_pending += m_socket->readAll();
            if (!parseHead())
                return;
            if (!startBody())
                return;
            break;
        case State::Body:
            readBody();
            if (m_state == State::Body)
                return;
            break;
        case State::ChunkSize:
        case State::ChunkData:
        case State::ChunkTrailer:
            readChunked();
            if (m_state != State::Handling)
                return;
            break;
        case State::Handling:
        case State::Closed:
            return;
        }
    }
}

bool HttpConnection::parseHead()
{
    // Tolerate blank lines between requests.
    while (m_pending.startsWith("\r\n") || m_pending.startsWith('\n'))
        m_pending.remove(0, m_pending.startsWith('\n') ? 1 : 2);

    qsizetype separatorLength = 0;
    const qsizetype end = headEnd(m_pending, separatorLength);
    if (end < 0) {
        if (m_pending.size() > MaxHeadSize)
            reject(431, "request head too large");
        return false;
    }
    if (end > MaxHeadSize) {
        reject(431, "request head too large");
        return false;
    }

    const QByteArray head = m_pending.left(end);
    m_pending.remove(0, end + separatorLength);

    QList<QByteArray> lines = head.split('\n');
    for (QByteArray &line : lines) {
        if (line.endsWith('\r'))
            line.chop(1);
    }
    const QList<QByteArray> requestLine = lines.takeFirst().split(' ');
    if (requestLine.size() != 3 || !requestLine.at(2).startsWith("HTTP/1.")) {
        reject(400, "malformed request line");
        return false;
    }

    m_request = HttpRequest();
    m_request.method = requestLine.at(0);
    m_request.target = requestLine.at(1);
    m_request.version = requestLine.at(2);
    m_request.peer = m_socket->peerAddress();
    const qsizetype question = m_request.target.indexOf('?');
    m_request.hasQuery = question >= 0;
    m_request.path = question >= 0 ? m_request.target.left(question) : m_request.target;
    m_request.rawQuery = question >= 0 ? m_request.target.mid(question + 1) : QByteArray();

    for (const QByteArray &line : lines) {
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0) {
            reject(400, "malformed header line");
            return false;
        }
        m_request.headers.append({ line.left(colon), line.mid(colon + 1).trimmed() });
    }

    const QByteArray connection = m_request.header("Connection").toLower();
    m_keepAlive = m_request.version == "HTTP/1.1" ? !connection.contains("close")
                                                  : connection.contains("keep-alive");
    return true;
}

bool HttpConnection::startBody()
{
    m_bodyReceived = 0;
    const bool chunked = m_request.header("Transfer-Encoding").toLower().contains("chunked");
    qint64 length = 0;
    if (!chunked && m_request.hasHeader("Content-Length")) {
        bool ok = false;
        length = m_request.header("Content-Length").toLongLong(&ok);
        if (!ok || length < 0) {
            reject(400, "bad Content-Length");
            return false;
        }
    }
    if (length > m_maxBody) {
        reject(413, "request body too large");
        return false;
    }
    if ((chunked || length > 0)
        && m_request.header("Expect").compare("100-continue", Qt::CaseInsensitive) == 0) {
        m_socket->write("HTTP/1.1 100 Continue\r\n\r\n");
    }

    if (chunked) {
        m_state = State::ChunkSize;
        return true;
    }
    if (length == 0) {
        finishRequest();
        return true;
    }
    m_request.body.resize(length);
    m_state = State::Body;
    return true;
}

void HttpConnection::readBody()
{
    const qint64 length = m_request.body.size();
    if (!m_pending.isEmpty()) {
        const qint64 take = qMin<qint64>(m_pending.size(), length - m_bodyReceived);
        memcpy(m_request.body.data() + m_bodyReceived, m_pending.constData(), size_t(take));
        m_pending.remove(0, take);
        m_bodyReceived += take;
    }
    while (m_bodyReceived < length && m_socket->bytesAvailable() > 0) {
        const qint64 read = m_socket->read(m_request.body.data() + m_bodyReceived,
                                           qMin(ReadChunk, length - m_bodyReceived));
        if (read <= 0)
            break;
        m_bodyReceived += read;
    }
    if (m_bodyReceived == length)
        finishRequest();
}

void HttpConnection::readChunked()
{
    if (m_socket->bytesAvailable() > 0)
        m_pending += m_socket->readAll();
    for (;;) {
        if (m_state == State::ChunkSize) {
            const qsizetype newline = m_pending.indexOf('\n');
            if (newline < 0)
                return;
            QByteArray line = m_pending.left(newline).trimmed();
            m_pending.remove(0, newline + 1);
            const qsizetype extension = line.indexOf(';');
            if (extension >= 0)
                line.truncate(extension);
            bool ok = false;
            m_chunkRemaining = line.toLongLong(&ok, 16);
            if (!ok || m_chunkRemaining < 0
                || m_request.body.size() + m_chunkRemaining > m_maxBody) {
                reject(ok ? 413 : 400, "bad chunk");
                return;
            }
            m_state = m_chunkRemaining == 0 ? State::ChunkTrailer : State::ChunkData;
        } else if (m_state == State::ChunkData) {
            const qint64 take = qMin<qint64>(m_pending.size(), m_chunkRemaining);
            m_request.body.append(m_pending.constData(), take);
            m_pending.remove(0, take);
            m_chunkRemaining -= take;
            if (m_chunkRemaining > 0)
                return;
            // The line end after the chunk data.
            if (m_pending.size() < 2 && !m_pending.startsWith('\n'))
                return;
            m_pending.remove(0, m_pending.startsWith('\n') ? 1 : 2);
            m_state = State::ChunkSize;
        } else if (m_state == State::ChunkTrailer) {
            const qsizetype newline = m_pending.indexOf('\n');
            if (newline < 0)
                return;
            const bool last = m_pending.left(newline).trimmed().isEmpty();
            m_pending.remove(0, newline + 1);
            if (last) {
                finishRequest();
                return;
            }
        } else {
            return;
        }
    }
}

void HttpConnection::finishRequest()
{
    m_state = State::Handling;
    m_answeringHead = m_request.method == "HEAD";
    emit requestReceived(this);
}

HttpRequest HttpConnection::takeRequest()
{
    HttpRequest request = std::move(m_request);
    m_request = HttpRequest();
    return request;
}

void HttpConnection::respond(const HttpResponse &response)
{
    if (m_state != State::Handling)
        return;
    if (response.delayMs > 0) {
        HttpResponse now = response;
        now.delayMs = 0;
        QTimer::singleShot(response.delayMs, this, [this, now] { writeResponse(now); });
        return;
    }
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

    const bool keepAlive = m_keepAlive && !response.closeAfter && response.truncateAt < 0;
    const bool noBody = response.status == 204 || response.status == 304;
    QByteArray head = "HTTP/1.1 " + QByteArray::number(response.status) + ' '
            + HttpResponse::reasonPhrase(response.status) + "\r\n";
    for (const auto &header : response.headers)
        head += header.first + ": " + header.second + "\r\n";
    if (!noBody)
        head += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n";
    head += keepAlive ? "Connection: keep-alive\r\n\r\n" : "Connection: close\r\n\r\n";
    m_socket->write(head);

    if (!noBody && !m_answeringHead) {
        m_outgoing =
                response.truncateAt >= 0 ? response.body.left(response.truncateAt) : response.body;
    }
    m_outgoingSent = 0;
    m_closeWhenSent = !keepAlive;
    sendOutgoing();
}

// Keeps at most one chunk queued in the socket, so a large body is never copied whole.
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
    if (m_outgoingSent == m_outgoing.size())
        finishResponse();
}

void HttpConnection::finishResponse()
{
    m_outgoing.clear();
    m_outgoingSent = 0;
    if (m_closeWhenSent) {
        closeConnection(true);
        return;
    }
    m_state = State::Head;
    QTimer::singleShot(0, this, &HttpConnection::readIncoming);
}

void HttpConnection::reject(int status, const QByteArray &message)
{
    m_state = State::Handling;
    HttpResponse response = HttpResponse::empty(status);
    response.setHeader("Content-Type", "text/plain; charset=utf-8");
    response.body = message + '\n';
    response.closeAfter = true;
    writeResponse(response);
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
