// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "cloudobject.h"

namespace {
// Listings travel through string-based and queued connections and inside QVariant, which
// find the types by these names.
void registerCloudObjectTypes()
{
    qRegisterMetaType<CloudObject *>("CloudObject*");
    qRegisterMetaType<QList<CloudObject *>>("QList<CloudObject*>");
}

// The folder above a folder path; the root is its own parent.
QString folderAbove(const QString &path)
{
    const QString above = path.section(QLatin1Char('/'), 0, -2);
    return above.isEmpty() ? QStringLiteral("/") : above;
}
} // namespace

Q_CONSTRUCTOR_FUNCTION(registerCloudObjectTypes)

CloudObject::CloudObject() : m_filePath(QStringLiteral("/")), m_isFolder(true), m_bytes(0) { }

CloudObject::~CloudObject() = default;

QString CloudObject::fileName() const
{
    return m_fileName;
}

QString CloudObject::filePath() const
{
    return m_filePath;
}

QString CloudObject::fullPath() const
{
    QString path = m_filePath;
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    return path + m_fileName;
}

QString CloudObject::parent() const
{
    return folderAbove(m_filePath);
}

QString CloudObject::contentType() const
{
    return m_contentType;
}

quint64 CloudObject::bytes() const
{
    return m_bytes;
}

QDateTime CloudObject::lastModified() const
{
    return m_lastModified;
}

bool CloudObject::isFolder() const
{
    return m_isFolder;
}

QString CloudObject::etag() const
{
    return m_etag;
}

QString CloudObject::id() const
{
    return m_id;
}

void CloudObject::cdup()
{
    m_fileName = QString();
    m_filePath = folderAbove(m_filePath);
    m_isFolder = true;
}

void CloudObject::cd(const CloudObject *child)
{
    m_filePath = child->filePath();
    m_fileName = child->fileName();
}

void CloudObject::setFromStdPath(const QString &path)
{
    m_fileName = path.section(QLatin1Char('/'), -1, -1);
    m_filePath = path.section(QLatin1Char('/'), 0, -2);
    if (!m_filePath.startsWith(QLatin1Char('/')))
        m_filePath.prepend(QLatin1Char('/'));
}
