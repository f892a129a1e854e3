// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "requestlog.h"

#include <QCryptographicHash>
#include <QJsonObject>

int RequestLog::append(const HttpRequest &request)
{
    Entry entry;
    entry.request = request;
    entry.request.digest.reset(); // the request's, to finish with it
    entry.bodySize = request.body.size();
    entry.bodyKept = entry.bodySize <= m_bodyLimit;
    if (!entry.bodyKept)
        entry.request.body.clear();
    m_entries.append(entry);
    return m_first + int(m_entries.size()) - 1;
}

void RequestLog::setStatus(int index, int status)
{
    const int at = index - m_first;
    if (at >= 0 && at < m_entries.size())
        m_entries[at].status = status;
}

QJsonArray RequestLog::toJson(int since) const
{
    QJsonArray array;
    for (int i = qMax(0, since - m_first); i < m_entries.size(); ++i) {
        const Entry &entry = m_entries.at(i);
        QJsonArray headers;
        for (const auto &header : entry.request.headers)
            headers.append(QJsonArray { QString::fromLatin1(header.first),
                                        QString::fromLatin1(header.second) });
        QJsonObject object {
            { QStringLiteral("index"), m_first + i },
            { QStringLiteral("method"), QString::fromLatin1(entry.request.method) },
            { QStringLiteral("target"), QString::fromLatin1(entry.request.target) },
            { QStringLiteral("path"), QString::fromLatin1(entry.request.path) },
            { QStringLiteral("query"), QString::fromLatin1(entry.request.rawQuery) },
            { QStringLiteral("headers"), headers },
            { QStringLiteral("bodySize"), double(entry.bodySize) },
            { QStringLiteral("status"), entry.status },
        };
        if (entry.bodyKept) {
            const QByteArray &body = entry.request.body;
            object.insert(QStringLiteral("body"), QString::fromLatin1(body.toBase64()));
            object.insert(QStringLiteral("bodyMd5"),
                          QString::fromLatin1(
                                  QCryptographicHash::hash(body, QCryptographicHash::Md5).toHex()));
        }
        array.append(object);
    }
    return array;
}

std::optional<QByteArray> RequestLog::body(int index) const
{
    const int at = index - m_first;
    if (at < 0 || at >= m_entries.size() || !m_entries.at(at).bodyKept)
        return std::nullopt;
    return m_entries.at(at).request.body;
}

void RequestLog::clear()
{
    m_first += int(m_entries.size());
    m_entries.clear();
}
