// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef BODYDIGEST_H
#define BODYDIGEST_H

#include <QByteArray>
#include <QString>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

struct HttpRequest;
struct evp_md_ctx_st;

// The MD5 of part of a request body, computed on a thread of its own while the body arrives,
// so that receiving and hashing overlap instead of following each other (the benchmarks upload
// hundreds of MiB). The body is read where the connection writes it, a buffer of its full length
// made before the first byte came; HttpRequest::md5() takes the result.
//
// The part starts where a locator finds it in what has arrived (0 for a whole body), within the
// first 64 KiB or not at all, and ends where the caller says once the body is complete; until
// then the last tail bytes are held back, as they may turn out to follow the part.
class BodyDigest
{
public:
    using Locator = std::function<qsizetype(const QByteArray &prefix)>; // -1: not yet

    // For a request whose head has arrived and whose body's buffer is made: the whole body, or
    // the media part of a multipart one, when the body is large enough to be worth a thread.
    static std::shared_ptr<BodyDigest> forBody(const HttpRequest &head);

    BodyDigest(const char *body, qsizetype length, Locator locator, qsizetype tail);
    ~BodyDigest();

    // The first count bytes of the body are there (called by the thread that receives it).
    void received(qsizetype count);
    // Stops the hashing thread; the body may be moved and trimmed from then on, not freed.
    void stop();
    // After stop(): the MD5 of bytes [start, end) of the body, in lower-case hex, or an empty
    // string when that is not the part that was hashed (the caller then hashes it itself).
    QString result(qsizetype start, qsizetype end);

private:
    void hashAsItArrives();
    qsizetype hashable() const; // with the lock held

    const char *m_body;
    const qsizetype m_length;
    const Locator m_locator;
    const qsizetype m_tail;
    evp_md_ctx_st *m_hash;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    qsizetype m_received = 0;
    qsizetype m_start = -1;
    qsizetype m_hashed = 0;
    bool m_stopping = false;
    bool m_done = false;
    std::thread m_thread;
};

#endif // BODYDIGEST_H
