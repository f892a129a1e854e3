// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef DRIVEENTRY_H
#define DRIVEENTRY_H

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QString>
#include <QStringList>

// The service's names, kept here apart from the plug-in's on purpose: an independent check.
inline const QString FolderMimeType = QStringLiteral("application/vnd.google-apps.folder");
inline const QString AppDataFolderId = QStringLiteral("appDataFolder");
inline const QString MyDriveRootId = QStringLiteral("root");
inline const QString AppDataSpace = QStringLiteral("appDataFolder");
inline const QString DriveSpace = QStringLiteral("drive");

// One file or folder of the emulated store.
struct DriveEntry
{
    QString id;
    QString name;
    QString mimeType;
    QStringList parents;
    QByteArray content;
    QString blob; // MD5 of the content, lower-case hex: where the journal keeps it
    QString md5Checksum; // what the service reports; normally the same as blob
    qint64 reportedSize = -1; // a size to report other than the content's (tests), or -1
    QDateTime createdTime;
    QDateTime modifiedTime;
    bool trashed = false;
    bool explicitlyTrashed = false;
    QString space;
    qint64 version = 1;
    qint64 sequence = 0; // creation order

    bool isFolder() const { return mimeType == FolderMimeType; }
    // Documents of the office suite and folders carry no binary content.
    bool hasContent() const
    {
        return !mimeType.startsWith(QLatin1String("application/vnd.google-apps."));
    }

    // Sets the content with its checksum, computed here unless the caller knows it.
    void setContent(const QByteArray &data, const QString &md5 = QString());
    // The file resource with every key the emulator knows, as the service spells it.
    QJsonObject resource() const;
    // What the journal keeps (everything but the content, which lives in a blob).
    QJsonObject record() const;
    static DriveEntry fromRecord(const QJsonObject &record);
};

QString rfc3339(const QDateTime &time);
// Text as the service's identifiers and tokens are made of.
QString randomText(QRandomGenerator &random, int length);

#endif // DRIVEENTRY_H
