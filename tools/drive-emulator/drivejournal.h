// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef DRIVEJOURNAL_H
#define DRIVEJOURNAL_H

#include <QFile>
#include <QHash>
#include <QJsonObject>
#include <QLockFile>
#include <QString>

#include <memory>
#include <optional>

// Keeps the emulator's state on disk: an append-only journal of JSON records, one per line, each
// a put of a record under a key or the deletion of keys, and file contents as blobs named by
// their MD5. Every write reaches the disk (fsync) before the call returns, so what the emulator
// has acknowledged survives a kill at any moment. Until open() it keeps nothing.
class DriveJournal
{
public:
    // Makes the folder, created when needed, this process's alone for as long as it lives,
    // before anything in it is read: two emulators on one folder would lose each other's writes.
    bool lock(const QString &folder, QString *error);
    // Reads back the locked folder's records, drops a last one torn by a kill (never
    // acknowledged), and rewrites the journal with the records that are live.
    bool open(QString *error);
    // The records live, by key, each with the "op" and "key" that put it.
    const QHash<QString, QJsonObject> &records() const { return m_live; }

    bool put(const QString &key, QJsonObject record);
    bool remove(const QStringList &keys);
    bool writeBlob(const QString &md5, const QByteArray &content);
    std::optional<QByteArray> readBlob(const QString &md5) const;

private:
    bool append(const QJsonObject &operation);
    void apply(const QJsonObject &operation);
    // Replaces the journal by the live records and deletes the blobs none of them refers to.
    bool compact();
    QString blobPath(const QString &md5) const;

    QString m_folder;
    std::unique_ptr<QLockFile> m_lock;
    QFile m_file;
    QHash<QString, QJsonObject> m_live;
};

#endif // DRIVEJOURNAL_H
