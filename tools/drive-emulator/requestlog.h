// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef REQUESTLOG_H
#define REQUESTLOG_H

#include "httprequest.h"

#include <QJsonArray>
#include <QList>

#include <optional>

// What the emulator received, for tests that assert the shape of requests. Bodies are kept
// whole up to a limit; of larger ones only the size.
class RequestLog
{
public:
    explicit RequestLog(qint64 bodyLimit) : m_bodyLimit(bodyLimit) { }

    int append(const HttpRequest &request);
    void setStatus(int index, int status);
    QJsonArray toJson(int since) const;
    // The body of request index, when it was kept.
    std::optional<QByteArray> body(int index) const;
    void setBodyLimit(qint64 limit) { m_bodyLimit = limit; }
    qint64 bodyLimit() const { return m_bodyLimit; }
    // The index the next request will get.
    int next() const { return m_first + int(m_entries.size()); }
    void clear();

private:
    struct Entry
    {
        HttpRequest request; // body emptied when above the limit
        qint64 bodySize = 0;
        bool bodyKept = false;
        int status = 0;
    };

    QList<Entry> m_entries;
    int m_first = 0; // index of m_entries.first() since the start
    qint64 m_bodyLimit;
};

#endif // REQUESTLOG_H
