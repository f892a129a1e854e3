#ifndef HTTPCONNECTION_H
#define HTTPCONNECTION_H

#include "httpresponse.h"

#include <QObject>

class QTcpSocket;

// One HTTP/1.1 connection: reads requests (Content-Length or chunked bodies, Expect:
// 100-continue, keep-alive) one at a time and writes the answer to each.
class HttpConnection : public QObject
{
    Q_OBJECT

public:
    // Takes over an accepted socket. Reads go straight from the kernel into request bodies
    // (no socket buffer in between) and answers leave in bounded chunks.
    HttpConnection(qintptr socketDescriptor, qint64 maxBody, QObject *parent = nullptr);

    // The request announced by requestReceived(), handed over whole (the body is not shared).
    HttpRequest takeRequest();
    // Answers the request last announced by requestReceived().
    void respond(const HttpResponse &response);
    QHostAddress peerAddress() const;

signals:
    void requestReceived(HttpConnection *connection);
    void closed(HttpConnection *connection);

private:
    enum class State { Head, Body, ChunkSize, ChunkData, ChunkTrailer, Handling, Closed };

    void readIncoming();
    void acknowledgeAtOnce();
    bool parseHead();
    bool startBody();
    void readBody();
    void readChunked();
    void finishRequest();
    void reject(int status, const QByteArray &message);
    void writeResponse(const HttpResponse &response);
    void sendOutgoing();
    void finishResponse();
    void closeConnection(bool graceful);
    void announceClosed();

    QTcpSocket *m_socket;
    qint64 m_maxBody;
    State m_state = State::Head;
    QByteArray m_pending; // read but not yet parsed
    HttpRequest m_request;
    qint64 m_bodyReceived = 0;
    qint64 m_chunkRemaining = 0;
    bool m_keepAlive = true;
    bool m_answeringHead = false;
    bool m_closedAnnounced = false;
    QByteArray m_outgoing; // the body being sent
    qint64 m_outgoingSent = 0;
    bool m_closeWhenSent = false;
};

#endif // HTTPCONNECTION_H
