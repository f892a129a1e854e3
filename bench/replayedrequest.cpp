// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "replayedrequest.h"

#include <QJsonArray>

namespace {
const QStringList ManagedHeaders { QStringLiteral("host"), QStringLiteral("content-length"),
                                   QStringLiteral("connection"),
                                   QStringLiteral("transfer-encoding") };
} // namespace

ReplayedRequest::ReplayedRequest(const QJsonObject &logged, const QString &bodyFile)
    : m_logged(logged), m_bodyFile(bodyFile)
{
}

QString ReplayedRequest::method() const
{
    return m_logged.value(QStringLiteral("method")).toString();
}

QString ReplayedRequest::url(const QUrl &server) const
{
    QUrl base = server;
    base.setPath(QString());
    return base.toString() + m_logged.value(QStringLiteral("target")).toString();
}

QStringList ReplayedRequest::headers() const
{
    QStringList headers;
    for (const QJsonValue &header : m_logged.value(QStringLiteral("headers")).toArray()) {
        const QString name = header.toArray().at(0).toString();
        if (!ManagedHeaders.contains(name.toLower()))
            headers << name + QStringLiteral(": ") + header.toArray().at(1).toString();
    }
    return headers;
}
