// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "driveentry.h"

#include <QCryptographicHash>
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
    blob = md5.isEmpty()
            ? QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex())
            : md5;
    md5Checksum = blob;
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
    const QString size = QString::number(reportedSize >= 0 ? reportedSize : content.size());
    object.insert(QStringLiteral("quotaBytesUsed"), hasContent() ? size : QStringLiteral("0"));
    if (hasContent())
        object.insert(QStringLiteral("size"), size);
    if (hasContent() && !md5Checksum.isEmpty())
        object.insert(QStringLiteral("md5Checksum"), md5Checksum);
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
    const auto text = [&record](const char *key) {
        return record.value(QLatin1String(key)).toString();
    };
    DriveEntry entry;
    entry.id = text("id");
    entry.name = text("name");
    entry.mimeType = text("mimeType");
    entry.parents = record.value(QLatin1String("parents")).toVariant().toStringList();
    entry.md5Checksum = text("md5");
    entry.reportedSize =
            record.value(QLatin1String("reportedSize")).toString(QStringLiteral("-1")).toLongLong();
    entry.blob = text("blob");
    entry.createdTime = QDateTime::fromString(text("created"), Qt::ISODateWithMs);
    entry.modifiedTime = QDateTime::fromString(text("modified"), Qt::ISODateWithMs);
    entry.trashed = record.value(QLatin1String("trashed")).toBool();
    entry.explicitlyTrashed = record.value(QLatin1String("explicitlyTrashed")).toBool();
    entry.space = text("space");
    entry.version = text("version").toLongLong();
    entry.sequence = text("sequence").toLongLong();
    return entry;
}
