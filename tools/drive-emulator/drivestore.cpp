// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "drivestore.h"

#include "drivejournal.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QSet>

namespace {
const QString PutOperation = QStringLiteral("put");
const QString DeleteOperation = QStringLiteral("delete");
const QString IdCharacters =
        QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_");
} // namespace

DriveStore::DriveStore() : m_random(QRandomGenerator::securelySeeded())
{
    addRoots();
}

void DriveStore::addRoots()
{
    const QDateTime epoch = QDateTime::currentDateTimeUtc();
    for (const auto &root :
         { qMakePair(AppDataFolderId, AppDataSpace), qMakePair(MyDriveRootId, DriveSpace) }) {
        DriveEntry entry;
        entry.id = root.first;
        entry.name = root.first == AppDataFolderId ? QStringLiteral("Application Data")
                                                   : QStringLiteral("My Drive");
        entry.mimeType = FolderMimeType;
        entry.space = root.second;
        entry.createdTime = entry.modifiedTime = epoch;
        entry.sequence = -1 - m_bySequence.size();
        m_sequenceOf.insert(entry.id, entry.sequence);
        m_bySequence.emplace(entry.sequence, entry);
    }
}

bool DriveStore::isRoot(const QString &id) const
{
    return id == AppDataFolderId || id == MyDriveRootId;
}

const DriveEntry *DriveStore::find(const QString &id) const
{
    const auto sequence = m_sequenceOf.constFind(id);
    if (sequence == m_sequenceOf.cend())
        return nullptr;
    return &m_bySequence.at(*sequence);
}

QList<const DriveEntry *> DriveStore::entries() const
{
    QList<const DriveEntry *> result;
    result.reserve(m_bySequence.size());
    for (const auto &pair : m_bySequence) {
        if (pair.first > 0)
            result.append(&pair.second);
    }
    return result;
}

QStringList DriveStore::subtree(const QString &id) const
{
    QStringList result { id };
    QSet<QString> seen { id };
    // Entries come in creation order, but a moved folder can hold older entries: repeat until
    // nothing new is found.
    bool grew = true;
    while (grew) {
        grew = false;
        for (const auto &pair : m_bySequence) {
            const DriveEntry &entry = pair.second;
            if (seen.contains(entry.id))
                continue;
            for (const QString &parent : entry.parents) {
                if (seen.contains(parent)) {
                    result.append(entry.id);
                    seen.insert(entry.id);
                    grew = true;
                    break;
                }
            }
        }
    }
    return result;
}

QString DriveStore::newId()
{
    for (;;) {
        QString id = QStringLiteral("1");
        for (int i = 0; i < 32; ++i)
            id += IdCharacters.at(int(m_random.bounded(quint32(IdCharacters.size()))));
        if (!m_sequenceOf.contains(id))
            return id;
    }
}

DriveEntry DriveStore::newEntry(const QString &name, const QString &mimeType,
                                const QString &parentId)
{
    DriveEntry entry;
    entry.id = newId();
    entry.name = name;
    entry.mimeType = mimeType;
    entry.parents = QStringList(parentId);
    const DriveEntry *parent = find(parentId);
    entry.space = parent ? parent->space : DriveSpace;
    entry.createdTime = entry.modifiedTime = QDateTime::currentDateTimeUtc();
    if (entry.hasContent()) {
        entry.setContent(
                QByteArray(),
                QString::fromLatin1(
                        QCryptographicHash::hash(QByteArray(), QCryptographicHash::Md5).toHex()));
    }
    return entry;
}

bool DriveStore::put(DriveEntry entry)
{
    const auto existing = m_sequenceOf.constFind(entry.id);
    entry.sequence = existing != m_sequenceOf.cend() ? *existing : m_nextSequence++;
    if (m_journal) {
        if (entry.hasContent() && !m_journal->writeBlob(entry.blob, entry.content))
            return false;
        QJsonObject record = entry.record();
        record.insert(QStringLiteral("op"), PutOperation);
        if (!m_journal->append(record))
            return false;
    }
    m_sequenceOf.insert(entry.id, entry.sequence);
    m_bySequence[entry.sequence] = std::move(entry);
    return true;
}

bool DriveStore::remove(const QStringList &ids)
{
    if (m_journal
        && !m_journal->append({ { QStringLiteral("op"), DeleteOperation },
                                { QStringLiteral("ids"), QJsonArray::fromStringList(ids) } }))
        return false;
    for (const QString &id : ids) {
        if (isRoot(id))
            continue;
        const auto sequence = m_sequenceOf.constFind(id);
        if (sequence == m_sequenceOf.cend())
            continue;
        m_bySequence.erase(*sequence);
        m_sequenceOf.erase(sequence);
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

bool DriveStore::load(const QList<QJsonObject> &records, QString *error)
{
    for (const QJsonObject &record : records) {
        const QString op = record.value(QStringLiteral("op")).toString();
        if (op == DeleteOperation) {
            for (const QJsonValue &id : record.value(QStringLiteral("ids")).toArray()) {
                const auto sequence = m_sequenceOf.constFind(id.toString());
                if (sequence != m_sequenceOf.cend() && !isRoot(id.toString())) {
                    m_bySequence.erase(*sequence);
                    m_sequenceOf.erase(sequence);
                }
            }
        } else if (op == PutOperation) {
            DriveEntry entry = DriveEntry::fromRecord(record);
            if (entry.hasContent()) {
                bool ok = false;
                entry.content = m_journal->readBlob(entry.blob, &ok);
                if (!ok) {
                    *error = QStringLiteral("the content of %1 is missing").arg(entry.id);
                    return false;
                }
            }
            m_nextSequence = qMax(m_nextSequence, entry.sequence + 1);
            m_sequenceOf.insert(entry.id, entry.sequence);
            m_bySequence[entry.sequence] = std::move(entry);
        }
    }
    return true;
}

QList<QJsonObject> DriveStore::snapshot() const
{
    QList<QJsonObject> records;
    for (const DriveEntry *entry : entries()) {
        QJsonObject record = entry->record();
        record.insert(QStringLiteral("op"), PutOperation);
        records.append(record);
    }
    return records;
}

QSet<QString> DriveStore::liveBlobs() const
{
    QSet<QString> blobs;
    for (const DriveEntry *entry : entries()) {
        if (entry->hasContent())
            blobs.insert(entry->blob);
    }
    return blobs;
}
