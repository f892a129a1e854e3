// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef HTTPCONNECTION_H
#define HTTPCONNECTION_H

#include "httprequestparser.h"
#include "httpresponse.h"

#include <QElapsedTimer>
#include <QObject>

#include <functional>

class QTcpSocket;

// One HTTP/1.1 connection: reads requests one at a time through a parser (Content-Length or
// chunked bodies, Expect: 100-continue, keep-alive) and writes the answer to each, with a
// Content-Length or chunked. Large bodies are hashed while they arrive (BodyDigest), so that
// whoever needs their checksum finds it made.
class HttpConnection : public QObject
{
    Q_OBJECT

public:
    // Takes over an accepted socket. Bodies of known length are read straight into their request
    // (not through the parser's buffer), and answers leave in bounded chunks.
    HttpConnection(qintptr socketDescriptor, qint64 maxBody, QObject *parent = nullptr);

    // Asked, for each request with a body of known length, how many bytes of it to read a
    // second (0: as fast as they come). A slow reader fills the client's socket buffers, and
    // the client sees its upload progress at that pace.
    using PacePolicy = std::function<qint64(const HttpRequest &head)>;
    void setPacePolicy(PacePolicy policy) { m_pacePolicy = std::move(policy); }

    // The request announced by requestReceived(), handed over whole (the body is not shared).
    HttpRequest takeRequest();
    // Answers the request last announced by requestReceived().
    void respond(const HttpResponse &response);

signals:
    void requestReceived(HttpConnection *connection);
    void closed(HttpConnection *connection);

private:
    enum class State { Reading, Handling, Closed };

    void readIncoming();
    bool readMore();
    qint64 readAllowance();
    void startBody();
    void finishRequest();
    void writeResponse(const HttpResponse &response);
    void sendOutgoing();
    void closeConnection(bool graceful);
    void announceClosed();

    QTcpSocket *m_socket;
    HttpRequestParser m_parser;
    PacePolicy m_pacePolicy;
    qint64 m_bytesPerSecond = 0; // of the body being read; 0: unpaced
    QElapsedTimer m_bodyClock;
    bool m_resumeScheduled = false;
    State m_state = State::Reading;
    bool m_closedAnnounced = false;
    QByteArray m_outgoing; // the body being sent
    qint64 m_outgoingSent = 0;
    bool m_closeWhenSent = false;
};

#endif // HTTPCONNECTION_H
