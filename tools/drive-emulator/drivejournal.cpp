// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "drivejournal.h"

#include <QDir>
#include <QJsonDocument>
#include <QSaveFile>

#include <fcntl.h>
#include <unistd.h>

namespace {
const QString JournalName = QStringLiteral("journal.jsonl");
const QString BlobFolder = QStringLiteral("blobs");

bool syncFile(QFile &file)
{
    return file.flush() && ::fsync(file.handle()) == 0;
}

bool writeDurably(const QString &path, const QByteArray &data)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    if (file.write(data) != data.size() || !file.flush() || ::fsync(file.handle()) != 0) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}
} // namespace

DriveJournal::DriveJournal() = default;
DriveJournal::~DriveJournal() = default;

bool DriveJournal::open(const QString &folder, QString *error)
{
    m_folder = folder;
    if (!QDir().mkpath(QDir(folder).filePath(BlobFolder))) {
        *error = QStringLiteral("cannot create %1").arg(folder);
        return false;
    }
    m_file.setFileName(QDir(folder).filePath(JournalName));
    if (!m_file.open(QIODevice::ReadWrite)) {
        *error = QStringLiteral("cannot open %1: %2").arg(m_file.fileName(), m_file.errorString());
        return false;
    }

    const QByteArray data = m_file.readAll();
    qsizetype good = 0;
    while (good < data.size()) {
        const qsizetype newline = data.indexOf('\n', good);
        if (newline < 0)
            break;
        QJsonParseError parseError;
        const QJsonDocument document =
                QJsonDocument::fromJson(data.mid(good, newline - good), &parseError);
        if (parseError.error != QJsonParseError::NoError || !document.isObject())
            break;
        m_records.append(document.object());
        good = newline + 1;
    }
    // Whatever follows the last whole record was being written when the process died.
    if (good < data.size() && !m_file.resize(good)) {
        *error = QStringLiteral("cannot repair %1").arg(m_file.fileName());
        return false;
    }
    m_file.seek(good);
    return true;
}

bool DriveJournal::append(const QJsonObject &record)
{
    if (!m_file.isOpen())
        return true;
    const QByteArray line = QJsonDocument(record).toJson(QJsonDocument::Compact) + '\n';
    return m_file.write(line) == line.size() && syncFile(m_file);
}

QString DriveJournal::blobPath(const QString &md5) const
{
    return QDir(m_folder).filePath(BlobFolder + QLatin1Char('/') + md5);
}

bool DriveJournal::writeBlob(const QString &md5, const QByteArray &content)
{
    if (!m_file.isOpen() || QFile::exists(blobPath(md5)))
        return true;
    return writeDurably(blobPath(md5), content) && syncFolder(QDir(m_folder).filePath(BlobFolder));
}

QByteArray DriveJournal::readBlob(const QString &md5, bool *ok) const
{
    QFile file(blobPath(md5));
    *ok = file.open(QIODevice::ReadOnly);
    return *ok ? file.readAll() : QByteArray();
}

bool DriveJournal::compact(const QList<QJsonObject> &records, const QSet<QString> &liveBlobs)
{
    if (!m_file.isOpen())
        return true;
    QByteArray data;
    for (const QJsonObject &record : records)
        data += QJsonDocument(record).toJson(QJsonDocument::Compact) + '\n';
    m_file.close();
    if (!writeDurably(m_file.fileName(), data) || !syncFolder(m_folder))
        return false;
    if (!m_file.open(QIODevice::ReadWrite | QIODevice::Append))
        return false;
    m_records = records;

    const QDir blobs(QDir(m_folder).filePath(BlobFolder));
    for (const QString &name : blobs.entryList(QDir::Files | QDir::Hidden)) {
        if (!liveBlobs.contains(name))
            QFile::remove(blobs.filePath(name));
    }
    return true;
}

bool DriveJournal::syncFolder(const QString &folder) const
{
    const int fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY);
    if (fd < 0)
        return false;
    const bool synced = ::fsync(fd) == 0;
    ::close(fd);
    return synced;
}
