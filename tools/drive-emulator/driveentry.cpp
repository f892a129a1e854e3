// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "driveentry.h"

#include <QJsonArray>

QString rfc3339(const QDateTime &time)
{
    return time.toUTC().toString(Qt::ISODateWithMs);
}

QString randomText(QRandomGenerator &random, int length)
{
    static const QString characters =
            QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_");
    QString text;
    for (int i = 0; i < length; ++i)
        text += characters.at(int(random.bounded(quint32(characters.size()))));
    return text;
}

void DriveEntry::setContent(const QByteArray &data, const QString &md5)
{
    content = data;
    blob = md5;
    md5Checksum = md5;
}

QJsonObject DriveEntry::resource() const
{
    QJsonObject object {
        { QStringLiteral("kind"), QStringLiteral("drive#file") },
        { QStringLiteral("id"), id },
        { QStringLiteral("name"), name },
        { QStringLiteral("mimeType"), mimeType },
        { QStringLiteral("parents"), QJsonArray::fromStringList(parents) },
        { QStringLiteral("createdTime"), rfc3339(createdTime) },
        { QStringLiteral("modifiedTime"), rfc3339(modifiedTime) },
        { QStringLiteral("trashed"), trashed },
        { QStringLiteral("explicitlyTrashed"), explicitlyTrashed },
        { QStringLiteral("spaces"), QJsonArray { space } },
        { QStringLiteral("version"), QString::number(version) },
    };
    if (hasContent()) {
        object.insert(QStringLiteral("size"), QString::number(size()));
        object.insert(QStringLiteral("quotaBytesUsed"), QString::number(size()));
        if (!md5Checksum.isEmpty())
            object.insert(QStringLiteral("md5Checksum"), md5Checksum);
    } else {
        object.insert(QStringLiteral("quotaBytesUsed"), QStringLiteral("0"));
    }
    return object;
}

QJsonObject DriveEntry::record() const
{
    QJsonObject object {
        { QStringLiteral("id"), id },
        { QStringLiteral("name"), name },
        { QStringLiteral("mimeType"), mimeType },
        { QStringLiteral("parents"), QJsonArray::fromStringList(parents) },
        { QStringLiteral("md5"), md5Checksum },
        { QStringLiteral("blob"), blob },
        { QStringLiteral("size"), QString::number(content.size()) },
        { QStringLiteral("created"), rfc3339(createdTime) },
        { QStringLiteral("modified"), rfc3339(modifiedTime) },
        { QStringLiteral("trashed"), trashed },
        { QStringLiteral("explicitlyTrashed"), explicitlyTrashed },
        { QStringLiteral("space"), space },
        { QStringLiteral("version"), QString::number(version) },
        { QStringLiteral("sequence"), QString::number(sequence) },
    };
    if (reportedSize >= 0)
        object.insert(QStringLiteral("reportedSize"), QString::number(reportedSize));
    return object;
}

DriveEntry DriveEntry::fromRecord(const QJsonObject &record)
{
    DriveEntry entry;
    entry.id = record.value(QStringLiteral("id")).toString();
    entry.name = record.value(QStringLiteral("name")).toString();
    entry.mimeType = record.value(QStringLiteral("mimeType")).toString();
    for (const QJsonValue &parent : record.value(QStringLiteral("parents")).toArray())
        entry.parents.append(parent.toString());
    entry.md5Checksum = record.value(QStringLiteral("md5")).toString();
    entry.reportedSize = record.value(QStringLiteral("reportedSize"))
                                 .toString(QStringLiteral("-1"))
                                 .toLongLong();
    entry.blob = record.value(QStringLiteral("blob")).toString();
    entry.createdTime = QDateTime::fromString(record.value(QStringLiteral("created")).toString(),
                                              Qt::ISODateWithMs);
    entry.modifiedTime = QDateTime::fromString(record.value(QStringLiteral("modified")).toString(),
                                               Qt::ISODateWithMs);
    entry.trashed = record.value(QStringLiteral("trashed")).toBool();
    entry.explicitlyTrashed = record.value(QStringLiteral("explicitlyTrashed")).toBool();
    entry.space = record.value(QStringLiteral("space")).toString();
    entry.version = record.value(QStringLiteral("version")).toString().toLongLong();
    entry.sequence = record.value(QStringLiteral("sequence")).toString().toLongLong();
    return entry;
}
