// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "googlefileobject.h"

#include "driveconstants.h"

#include <QJsonObject>
#include <QLocale>
#include <QNetworkReply>
#include <QTimeZone>
#include <QUrl>

GoogleFileObject::GoogleFileObject()
{
    m_id = Drive::RootId;
    m_contentType = Drive::FolderType;
    m_isFolder = true;
    m_bytes = 0;
}

GoogleFileObject::~GoogleFileObject() = default;

QString GoogleFileObject::parent() const
{
    // An entry found directly under the root has no parents listed: its folder is the root.
    return m_parents.isEmpty() ? Drive::RootId : m_parents.last();
}

void GoogleFileObject::cd(const CloudObject *child)
{
    m_parents.append(m_id);
    m_id = child->id();
    if (!m_filePath.endsWith(QLatin1Char('/')))
        m_filePath += QLatin1Char('/');
    m_filePath += m_fileName;
    m_fileName = child->fileName();
}

void GoogleFileObject::cdup()
{
    if (!m_parents.isEmpty())
        m_id = m_parents.takeLast();
    m_isFolder = true;
    m_fileName = m_filePath.section(QLatin1Char('/'), -1);
    m_filePath = m_filePath.section(QLatin1Char('/'), 0, -2);
    if (m_filePath.isEmpty())
        m_filePath = QStringLiteral("/");
}

void GoogleFileObject::from(const QJsonObject &o)
{
    m_id = o.value(QLatin1String("id")).toString();
    m_fileName = o.value(QLatin1String("name")).toString();
    m_contentType = o.value(QLatin1String("mimeType")).toString();
    m_isFolder = m_contentType.compare(Drive::FolderType, Qt::CaseInsensitive) == 0;
    m_bytes = quint64(o.value(QLatin1String("size")).toString().toLongLong());
    m_lastModified =
            QDateTime::fromString(o.value(QLatin1String("modifiedTime")).toString(), Qt::ISODate);
    m_etag = o.value(QLatin1String("md5Checksum")).toString();
}

void GoogleFileObject::from(const QUrl &url, QNetworkReply *reply)
{
    m_filePath = url.path(QUrl::FullyDecoded);
    m_contentType = QString::fromUtf8(reply->rawHeader("mimeType"));
    // Contract: unlike the JSON form, the header form compares the folder type exactly.
    m_isFolder = m_contentType == Drive::FolderType;
    m_bytes = reply->rawHeader("size").toULongLong();
    QDateTime modified =
            QLocale::c().toDateTime(QString::fromLatin1(reply->rawHeader("modifiedTime")),
                                    QStringLiteral("ddd, dd MMM yyyy HH':'mm':'ss 'GMT'"));
    modified.setTimeZone(QTimeZone::utc());
    m_lastModified = modified;
    m_etag = QString::fromUtf8(reply->rawHeader("md5Checksum"));
}

void GoogleFileObject::setParents(const QList<QString> &parents)
{
    m_parents = parents;
}
