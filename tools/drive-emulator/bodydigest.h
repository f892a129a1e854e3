// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef BODYDIGEST_H
#define BODYDIGEST_H

#include <QByteArray>
#include <QString>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

struct HttpRequest;
struct evp_md_ctx_st;

// The MD5 of a request body, or of the media part of a multipart one, computed on a thread of its
// own while the body arrives, so that receiving and hashing overlap instead of following each
// other (the benchmarks upload hundreds of MiB). The body is read where the connection writes
// it, a buffer of its full length made before the first byte came; HttpRequest::receivedMd5()
// takes the result.
//
// A media part is looked for in the first 64 KiB of the body. Its end is known only once the
// body is complete, so until then the last bytes that may follow it are held back.
class BodyDigest
{
public:
    // For a request whose head has arrived and whose body's buffer is made, when the body is
    // large enough to be worth a thread.
    static std::shared_ptr<BodyDigest> forBody(const HttpRequest &head);

    // boundary: the multipart body's, or empty for a whole body.
    BodyDigest(const QByteArray &body, const QByteArray &boundary);
    ~BodyDigest();

    // The first count bytes of the body are there (called by the thread that receives it).
    void received(qsizetype count);
    // The MD5 of part, in lower-case hex, once the body is complete; empty when part is not what
    // was hashed, a slice of the body (still in its buffer) that begins where hashing began.
    QString result(const QByteArray &part);

private:
    void stop();
    void hashAsItArrives();
    qsizetype hashable() const; // with the lock held

    const char *m_body;
    const qsizetype m_length;
    const QByteArray m_boundary;
    evp_md_ctx_st *m_hash;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    qsizetype m_received = 0;
    qsizetype m_start = -1;
    qsizetype m_hashed = 0;
    bool m_stopping = false;
    std::thread m_thread;
};

#endif // BODYDIGEST_H
