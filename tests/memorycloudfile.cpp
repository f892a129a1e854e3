// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "memorycloudfile.h"

#include <QCryptographicHash>
#include <QDir>

namespace {
QString folderOf(const QString &path)
{
    const QString folder = path.section(QLatin1Char('/'), 0, -2);
    return folder.isEmpty() ? QStringLiteral("/") : folder;
}
} // namespace

MemoryObject::MemoryObject(const QString &path, const MemoryStore::Entry &entry)
{
    if (path != QLatin1String("/"))
        setFromStdPath(path);
    m_isFolder = entry.folder;
    m_bytes = quint64(entry.data.size());
    m_etag = entry.folder
            ? QStringLiteral("folder:") + path
            : QString::fromLatin1(
                    QCryptographicHash::hash(entry.data, QCryptographicHash::Md5).toHex());
}

MemoryCloudFile::MemoryCloudFile(QSharedPointer<MemoryStore> store, const QUrl &url,
                                 QObject *parent)
    : CloudFile(url, parent), m_store(std::move(store))
{
}

QUrl MemoryCloudFile::filename(bool schemeOnly) const
{
    return schemeOnly ? QUrl(scheme()) : m_url;
}

QString MemoryCloudFile::scheme() const
{
    return QStringLiteral("mem");
}

void MemoryCloudFile::setFilename(const QUrl &url)
{
    m_url = url;
}

bool MemoryCloudFile::copy(const QUrl &from, const QUrl &to)
{
    m_store->calls.append(QStringLiteral("copy %1 %2").arg(from.path(), to.path()));
    if (m_store->failCopy || !m_store->contains(from.path())) {
        setErrorCode(403);
        return false;
    }
    m_store->entries.insert(to.path(), m_store->entries.value(from.path()));
    setErrorCode(0);
    return true;
}

bool MemoryCloudFile::remove(const QUrl &url)
{
    int status = 0;
    CloudObject *object = getObjectFromPath(url, status);
    const bool removed = status == 2 && remove(object);
    delete object;
    return removed;
}

bool MemoryCloudFile::remove(const CloudObject *object)
{
    const QString path = object->fullPath();
    m_store->calls.append(QStringLiteral("remove ") + path);
    if (m_store->failRemove || !m_store->contains(path)) {
        setErrorCode(404);
        setErrorString(QStringLiteral("cannot remove ") + path);
        return false;
    }
    // What a removed folder held stays, out of every listing.
    m_store->entries.remove(path);
    setErrorCode(0);
    return true;
}

bool MemoryCloudFile::listObjects(const CloudObject *folder)
{
    const QString path = folder->fullPath();
    m_store->calls.append(QStringLiteral("list ") + path);
    QList<CloudObject *> objects;
    for (auto it = m_store->entries.cbegin(); it != m_store->entries.cend(); ++it) {
        if (it.key() != QLatin1String("/") && folderOf(it.key()) == path)
            objects.append(new MemoryObject(it.key(), it.value()));
    }
    emit objectList(objects);
    return true;
}

CloudObject *MemoryCloudFile::getObjectFromPath(const QUrl &url, int &status)
{
    const QString path = url.path();
    if (m_store->contains(path)) {
        status = 2;
        return new MemoryObject(path, m_store->entries.value(path));
    }
    setErrorCode(403);
    const QString folder = folderOf(path);
    if (m_store->contains(folder) && m_store->entries.value(folder).folder) {
        status = 1;
        return new MemoryObject(folder, m_store->entries.value(folder));
    }
    status = 0;
    return getCloudObject();
}

CloudObject *MemoryCloudFile::getCloudObject()
{
    return new MemoryObject(QStringLiteral("/"), m_store->entries.value(QStringLiteral("/")));
}

bool MemoryCloudFile::mkdir(CloudObject *parent, const QString &name)
{
    const QString path = QDir::cleanPath(parent->fullPath() + QLatin1Char('/') + name);
    m_store->calls.append(QStringLiteral("mkdir ") + path);
    if (m_store->contains(path)) {
        setErrorString(QStringLiteral("Le répertoire existe déjà"));
        return false;
    }
    m_store->addFolder(path);
    MemoryObject created(path, m_store->entries.value(path));
    parent->cd(&created);
    return true;
}

bool MemoryCloudFile::getFile()
{
    m_store->calls.append(QStringLiteral("get ") + m_url.path());
    if (m_store->failFetch || !m_store->contains(m_url.path())) {
        setErrorCode(403);
        return false;
    }
    m_buffer = m_store->entries.value(m_url.path()).data;
    setErrorCode(0);
    return true;
}

bool MemoryCloudFile::putFile()
{
    m_store->calls.append(QStringLiteral("put ") + m_url.path());
    m_store->addFile(m_url.path(), m_buffer);
    if (afterPut)
        afterPut(m_buffer);
    return true;
}
