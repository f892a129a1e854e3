// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "bodydigest.h"

#include "httprequest.h"
#include "multipartbody.h"

#include <openssl/evp.h>

namespace {
// Smaller bodies are hashed once they are in: a thread would cost more than it saves.
constexpr qsizetype WorthAThread = 1024 * 1024;
// What may follow a multipart body's media part: its line end, the closing delimiter (with a
// boundary of at most 70 characters) and some epilogue.
constexpr qsizetype MultipartTail = 4096;
// Hashed a slice at a time, so that stop() is heard soon.
constexpr qsizetype Slice = 1024 * 1024;
// A part that does not start within this much is not looked for further.
constexpr qsizetype LocatingLimit = 64 * 1024;
} // namespace

std::shared_ptr<BodyDigest> BodyDigest::forBody(const HttpRequest &head)
{
    if (head.body.size() < WorthAThread)
        return nullptr;
    return std::make_shared<BodyDigest>(head.body,
                                        head.mediaType() == "multipart/related"
                                                ? head.contentTypeParameter("boundary")
                                                : QByteArray());
}

BodyDigest::BodyDigest(const QByteArray &body, const QByteArray &boundary)
    : m_body(body.constData()),
      m_length(body.size()),
      m_boundary(boundary),
      m_hash(EVP_MD_CTX_new())
{
    EVP_DigestInit_ex(m_hash, EVP_md5(), nullptr);
    m_thread = std::thread([this] { hashAsItArrives(); });
}

BodyDigest::~BodyDigest()
{
    stop();
    EVP_MD_CTX_free(m_hash);
}

// The tail is held back even once the body is complete: only the caller knows where the part
// ends in it.
qsizetype BodyDigest::hashable() const
{
    const qsizetype tail = m_boundary.isEmpty() ? 0 : MultipartTail;
    return m_start < 0 ? 0 : qMax(m_received - tail, m_hashed);
}

void BodyDigest::received(qsizetype count)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const bool located = m_start >= 0 || m_received > LocatingLimit;
    m_received = qBound(m_received, count, m_length);
    if (!located) {
        m_start = m_boundary.isEmpty()
                ? 0
                : MultipartBody::mediaOffsetIn(QByteArray::fromRawData(m_body, m_received),
                                               m_boundary);
        m_hashed = qMax<qsizetype>(m_start, 0);
    }
    m_changed.notify_one();
}

void BodyDigest::hashAsItArrives()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_stopping || hashable() > m_hashed; });
        if (m_stopping)
            return;
        const qsizetype from = m_hashed;
        const qsizetype to = qMin(hashable(), from + Slice);
        lock.unlock();
        EVP_DigestUpdate(m_hash, m_body + from, size_t(to - from));
        lock.lock();
        m_hashed = to;
    }
}

void BodyDigest::stop()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
        m_changed.notify_one();
    }
    if (m_thread.joinable())
        m_thread.join();
}

QString BodyDigest::result(const QByteArray &part)
{
    stop();
    const qsizetype end = m_start + part.size();
    if (m_start < 0 || part.constData() != m_body + m_start || end < m_hashed || end > m_received)
        return QString();
    m_start = -1; // taken
    EVP_DigestUpdate(m_hash, m_body + m_hashed, size_t(end - m_hashed));
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_DigestFinal_ex(m_hash, digest, &size);
    return QString::fromLatin1(
            QByteArray::fromRawData(reinterpret_cast<const char *>(digest), int(size)).toHex());
}
