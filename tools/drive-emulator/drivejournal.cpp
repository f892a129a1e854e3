// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "drivejournal.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>

#include <fcntl.h>
#include <unistd.h>

namespace {
const QString JournalName = QStringLiteral("journal.jsonl");
const QString BlobFolder = QStringLiteral("blobs");
const QString LockName = QStringLiteral("lock");

bool syncFolder(const QString &folder)
{
    const int fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY);
    const bool synced = fd >= 0 && ::fsync(fd) == 0;
    if (fd >= 0)
        ::close(fd);
    return synced;
}

// A whole file or nothing, on disk with its name (QSaveFile syncs the data before renaming).
bool writeDurably(const QString &path, const QByteArray &data)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.commit()
            && syncFolder(QFileInfo(path).path());
}

QByteArray line(const QJsonObject &operation)
{
    return QJsonDocument(operation).toJson(QJsonDocument::Compact) + '\n';
}
} // namespace

// Only the holder's death lets the lock go, never its age: a lock file that outlives its process
// names a process that is gone, which the next emulator sees.
bool DriveJournal::lock(const QString &folder, QString *error)
{
    m_folder = folder;
    QDir().mkpath(folder);
    m_lock = std::make_unique<QLockFile>(QDir(folder).filePath(LockName));
    m_lock->setStaleLockTime(0);
    if (m_lock->tryLock(0))
        return true;
    qint64 holder = 0;
    m_lock->getLockInfo(&holder, nullptr, nullptr);
    *error = QStringLiteral("the data folder %1 is in use by process %2").arg(folder).arg(holder);
    return false;
}

bool DriveJournal::open(QString *error)
{
    QFile journal(QDir(m_folder).filePath(JournalName));
    if (!QDir().mkpath(QDir(m_folder).filePath(BlobFolder))
        || (journal.exists() && !journal.open(QIODevice::ReadOnly))) {
        *error =
                QStringLiteral("cannot open %1: %2").arg(journal.fileName(), journal.errorString());
        return false;
    }
    // Whatever follows the last whole record was being written when the process died.
    for (const QByteArray &text :
         (journal.isOpen() ? journal.readAll() : QByteArray()).split('\n')) {
        const QJsonDocument document = QJsonDocument::fromJson(text);
        if (!document.isObject())
            break;
        apply(document.object());
    }
    m_file.setFileName(journal.fileName());
    if (!compact()) {
        *error = QStringLiteral("cannot rewrite the journal in %1").arg(m_folder);
        return false;
    }
    return true;
}

// Records are kept as the operation that put them. Files were kept under "id" and deleted as
// "ids" before other records joined them.
void DriveJournal::apply(const QJsonObject &operation)
{
    const QString op = operation.value(QStringLiteral("op")).toString();
    if (op == QLatin1String("put")) {
        m_live.insert(operation.value(QStringLiteral("key"))
                              .toString(operation.value(QStringLiteral("id")).toString()),
                      operation);
    } else if (op == QLatin1String("delete")) {
        const QJsonValue keys = operation.value(QStringLiteral("keys"));
        for (const QJsonValue &key :
             (keys.isArray() ? keys : operation.value(QStringLiteral("ids"))).toArray())
            m_live.remove(key.toString());
    }
}

bool DriveJournal::append(const QJsonObject &operation)
{
    if (!m_file.isOpen())
        return true;
    const QByteArray text = line(operation);
    if (m_file.write(text) != text.size() || !m_file.flush() || ::fsync(m_file.handle()) != 0)
        return false;
    apply(operation);
    return true;
}

bool DriveJournal::put(const QString &key, QJsonObject record)
{
    record.insert(QStringLiteral("op"), QStringLiteral("put"));
    record.insert(QStringLiteral("key"), key);
    return append(record);
}

bool DriveJournal::remove(const QStringList &keys)
{
    return append({ { QStringLiteral("op"), QStringLiteral("delete") },
                    { QStringLiteral("keys"), QJsonArray::fromStringList(keys) } });
}

QString DriveJournal::blobPath(const QString &md5) const
{
    return QDir(m_folder).filePath(BlobFolder + QLatin1Char('/') + md5);
}

bool DriveJournal::writeBlob(const QString &md5, const QByteArray &content)
{
    return !m_file.isOpen() || QFile::exists(blobPath(md5)) || writeDurably(blobPath(md5), content);
}

std::optional<QByteArray> DriveJournal::readBlob(const QString &md5) const
{
    QFile file(blobPath(md5));
    return file.open(QIODevice::ReadOnly) ? std::optional(file.readAll()) : std::nullopt;
}

bool DriveJournal::compact()
{
    QByteArray data;
    QSet<QString> blobs;
    for (const QJsonObject &record : qAsConst(m_live)) {
        data += line(record);
        blobs.insert(record.value(QStringLiteral("blob")).toString());
    }
    if (!writeDurably(m_file.fileName(), data)
        || !m_file.open(QIODevice::WriteOnly | QIODevice::Append))
        return false;
    const QDir folder(QDir(m_folder).filePath(BlobFolder));
    for (const QString &name : folder.entryList(QDir::Files | QDir::Hidden)) {
        if (!blobs.contains(name))
            QFile::remove(folder.filePath(name));
    }
    return true;
}
