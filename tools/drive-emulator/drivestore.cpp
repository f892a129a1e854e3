// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "drivestore.h"

#include "drivejournal.h"

DriveStore::DriveStore(DriveJournal &journal)
    : m_journal(journal), m_random(QRandomGenerator::securelySeeded())
{
    for (const QString &root : { AppDataFolderId, MyDriveRootId }) {
        DriveEntry entry;
        entry.id = root;
        entry.name = root == AppDataFolderId ? QStringLiteral("Application Data")
                                             : QStringLiteral("My Drive");
        entry.mimeType = FolderMimeType;
        entry.space = root == AppDataFolderId ? AppDataSpace : DriveSpace;
        entry.createdTime = entry.modifiedTime = QDateTime::currentDateTimeUtc();
        entry.sequence = -1 - qint64(m_bySequence.size());
        insert(entry);
    }
}

bool DriveStore::isRoot(const QString &id) const
{
    return id == AppDataFolderId || id == MyDriveRootId;
}

const DriveEntry *DriveStore::find(const QString &id) const
{
    const auto sequence = m_sequenceOf.constFind(id);
    return sequence == m_sequenceOf.cend() ? nullptr : &m_bySequence.at(*sequence);
}

QList<const DriveEntry *> DriveStore::entries() const
{
    QList<const DriveEntry *> result;
    for (const auto &pair : m_bySequence) {
        if (pair.first > 0)
            result.append(&pair.second);
    }
    return result;
}

QStringList DriveStore::subtree(const QString &id) const
{
    // Breadth first: each entry found adds its children (there are no cycles).
    QStringList result { id };
    for (qsizetype found = 0; found < result.size(); ++found) {
        for (const auto &pair : m_bySequence) {
            if (pair.second.parents.value(0) == result.at(found))
                result.append(pair.second.id);
        }
    }
    return result;
}

DriveEntry DriveStore::newEntry(const QString &name, const QString &mimeType,
                                const QString &parentId)
{
    DriveEntry entry;
    do
        entry.id = QLatin1Char('1') + randomText(m_random, 32);
    while (m_sequenceOf.contains(entry.id));
    entry.name = name;
    entry.mimeType = mimeType;
    entry.parents = QStringList(parentId);
    const DriveEntry *parent = find(parentId);
    entry.space = parent ? parent->space : DriveSpace;
    entry.createdTime = entry.modifiedTime = QDateTime::currentDateTimeUtc();
    if (entry.hasContent())
        entry.setContent(QByteArray());
    return entry;
}

const DriveEntry *DriveStore::insert(DriveEntry entry)
{
    m_sequenceOf.insert(entry.id, entry.sequence);
    return &(m_bySequence[entry.sequence] = std::move(entry));
}

const DriveEntry *DriveStore::put(DriveEntry entry)
{
    const auto existing = m_sequenceOf.constFind(entry.id);
    entry.sequence = existing != m_sequenceOf.cend() ? *existing : m_nextSequence++;
    if ((entry.hasContent() && !m_journal.writeBlob(entry.blob, entry.content))
        || !m_journal.put(entry.id, entry.record()))
        return nullptr;
    return insert(std::move(entry));
}

bool DriveStore::remove(const QStringList &ids)
{
    if (!m_journal.remove(ids))
        return false;
    for (const QString &id : ids) {
        if (!isRoot(id) && m_sequenceOf.contains(id))
            m_bySequence.erase(m_sequenceOf.take(id));
    }
    return true;
}

void DriveStore::clear()
{
    QStringList ids;
    for (const DriveEntry *entry : entries())
        ids.append(entry->id);
    remove(ids);
}

bool DriveStore::load(QString *error)
{
    for (auto it = m_journal.records().cbegin(); it != m_journal.records().cend(); ++it) {
        if (it.key().startsWith(QLatin1String("token:")))
            continue;
        DriveEntry entry = DriveEntry::fromRecord(it.value());
        const auto content = entry.hasContent() ? m_journal.readBlob(entry.blob) : QByteArray();
        if (!content) {
            *error = QStringLiteral("the content of %1 is missing").arg(entry.id);
            return false;
        }
        entry.content = *content;
        m_nextSequence = qMax(m_nextSequence, entry.sequence + 1);
        insert(std::move(entry));
    }
    return true;
}
