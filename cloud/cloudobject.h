// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef CLOUDOBJECT_H
#define CLOUDOBJECT_H

#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QString>

// One entry of a remote store, file or folder. Hosts are compiled against their own copy of this
// header: the order of the fields and of the virtual functions is part of the binary interface.
class CloudObject
{
public:
    CloudObject();
    virtual ~CloudObject();

    virtual QString fileName() const;
    virtual QString filePath() const;
    virtual QString fullPath() const;
    virtual QString parent() const;
    virtual QString contentType() const;
    virtual quint64 bytes() const;
    virtual QDateTime lastModified() const;
    virtual bool isFolder() const;
    virtual QString etag() const;
    virtual QString id() const;
    virtual void cdup();
    virtual void cd(const CloudObject *child);

    void setFromStdPath(const QString &path);

protected:
    QString m_fileName;
    QString m_filePath;
    QString m_contentType;
    bool m_isFolder;
    quint64 m_bytes;
    QDateTime m_lastModified;
    QString m_etag;
    QString m_id;
};

Q_DECLARE_METATYPE(CloudObject *)

#endif // CLOUDOBJECT_H
