// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef DRIVESTORE_H
#define DRIVESTORE_H

#include "driveentry.h"

#include <QHash>
#include <QList>
#include <QRandomGenerator>

#include <map>

class DriveJournal;

// The emulated Drive: entries by identifier, kept in creation order. Two roots always exist,
// the application-data folder and the user's own root; neither is ever listed.
class DriveStore
{
public:
    // Keeps every change in the journal.
    explicit DriveStore(DriveJournal &journal);
    // Identifiers from this seed: the same requests then give the same ones.
    void setSeed(quint32 seed) { m_random.seed(seed); }
    // Reads the entries the journal holds.
    bool load(QString *error);

    const DriveEntry *find(const QString &id) const;
    QList<const DriveEntry *> entries() const; // creation order, roots excluded
    bool isRoot(const QString &id) const;
    // The identifiers of id and of everything below it.
    QStringList subtree(const QString &id) const;

    // A fresh entry under parentId (in the parent's space), not stored yet.
    DriveEntry newEntry(const QString &name, const QString &mimeType, const QString &parentId);
    // Stores entry (new or replaced) durably, and gives it back stored; null when the disk
    // failed. A new entry goes last in creation order.
    const DriveEntry *put(DriveEntry entry);
    bool remove(const QStringList &ids);
    void clear();

private:
    const DriveEntry *insert(DriveEntry entry);

    std::map<qint64, DriveEntry> m_bySequence;
    QHash<QString, qint64> m_sequenceOf;
    qint64 m_nextSequence = 1;
    DriveJournal &m_journal;
    QRandomGenerator m_random;
};

#endif // DRIVESTORE_H
