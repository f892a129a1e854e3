// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef MEMORYCLOUDFILE_H
#define MEMORYCLOUDFILE_H

#include "cloudfile.h"

#include <QMap>
#include <QSharedPointer>
#include <QStringList>

#include <functional>

// A remote store kept in memory: paths ("/a/b.txt") to content, folders marked as such.
struct MemoryStore
{
    struct Entry
    {
        bool folder = false;
        QByteArray data;
    };

    bool contains(const QString &path) const { return entries.contains(path); }
    void addFolder(const QString &path) { entries.insert(path, Entry { true, {} }); }
    void addFile(const QString &path, const QByteArray &data)
    {
        entries.insert(path, { false, data });
    }

    QMap<QString, Entry> entries { { QStringLiteral("/"), Entry { true, {} } } };
    QStringList calls; // what the files asked of the store, in order
    bool failFetch = false;
    bool failCopy = false;
    bool failRemove = false;
};

// An entry of the memory store.
class MemoryObject : public CloudObject
{
public:
    MemoryObject(const QString &path, const MemoryStore::Entry &entry);
};

// A cloud file over a MemoryStore, for exercising the device and the dialog without a network.
class MemoryCloudFile : public CloudFile
{
    Q_OBJECT

public:
    MemoryCloudFile(QSharedPointer<MemoryStore> store, const QUrl &url, QObject *parent = nullptr);

    QUrl filename(bool schemeOnly) const override;
    QString scheme() const override;
    void setFilename(const QUrl &url) override;
    using CloudFile::copy;
    bool copy(const QUrl &from, const QUrl &to) override;
    using CloudFile::remove;
    bool remove(const QUrl &url) override;
    bool remove(const CloudObject *object) override;
    bool listObjects(const CloudObject *folder) override;
    CloudObject *getObjectFromPath(const QUrl &url, int &status) override;
    CloudObject *getCloudObject() override;
    bool mkdir(CloudObject *parent, const QString &name) override;
    bool getFile() override;
    bool putFile() override;

    // Test access to the device's state.
    QByteArray &buffer() { return m_buffer; }
    qint64 writtenBytes() const { return m_writtenBytes; }
    qint64 callWriteData(const QByteArray &data)
    {
        return writeData(data.constData(), data.size());
    }

    std::function<void(QByteArray &)> afterPut; // lets a test disturb the buffer while flushing

private:
    QSharedPointer<MemoryStore> m_store;
};

#endif // MEMORYCLOUDFILE_H
