// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef DRIVEJOURNAL_H
#define DRIVEJOURNAL_H

#include <QFile>
#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QString>

// Keeps the emulator's state on disk: an append-only journal of JSON records, one per line,
// and file contents as blobs named by their MD5. Every write reaches the disk (fsync) before
// the call returns, so what the emulator has acknowledged survives a kill at any moment.
class DriveJournal
{
public:
    DriveJournal();
    ~DriveJournal();

    // Creates the folder when needed and reads back the records of earlier runs. A record
    // torn by a kill (never acknowledged) is dropped.
    bool open(const QString &folder, QString *error);
    bool isOpen() const { return m_file.isOpen(); }
    QList<QJsonObject> records() const { return m_records; }

    bool append(const QJsonObject &record);
    bool writeBlob(const QString &md5, const QByteArray &content);
    QByteArray readBlob(const QString &md5, bool *ok) const;
    // Replaces the journal by these records and deletes the blobs nobody refers to.
    bool compact(const QList<QJsonObject> &records, const QSet<QString> &liveBlobs);

private:
    QString blobPath(const QString &md5) const;
    bool syncFolder(const QString &folder) const;

    QString m_folder;
    QFile m_file;
    QList<QJsonObject> m_records;
};

#endif // DRIVEJOURNAL_H
