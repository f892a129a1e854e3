// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef CLOUDFILE_H
#define CLOUDFILE_H

#include "cloudobject.h"

#include <QByteArray>
#include <QIODevice>
#include <QList>
#include <QUrl>

class QWidget;

// A remote file as a random-access device over an in-memory copy of its content. Opening for
// reading fetches the content, writes go to the buffer, flush() stores it. Hosts are compiled
// against their own copy of this header: keep the order of fields and virtual functions.
class CloudFile : public QIODevice
{
    Q_OBJECT

public:
    CloudFile(const QUrl &url, QObject *parent);

    bool event(QEvent *event) override;
    bool open(QIODevice::OpenMode mode) override;
    void close() override;
    qint64 pos() const override;
    bool seek(qint64 pos) override;
    bool reset() override;

    virtual QUrl filename(bool schemeOnly) const = 0;
    virtual QString scheme() const = 0;
    virtual void setFilename(const QUrl &url) = 0;
    virtual bool copy(const QUrl &to);
    virtual bool copy(const QUrl &from, const QUrl &to) = 0;
    virtual bool remove();
    virtual bool remove(const QUrl &url) = 0;
    virtual bool remove(const CloudObject *object) = 0;
    virtual bool rename(const QUrl &to);
    virtual bool rename(const QUrl &from, const QUrl &to);
    virtual bool exists(QString &etag);
    virtual bool exists(const QUrl &url, QString &etag);
    virtual bool listObjects(const CloudObject *folder) = 0;
    virtual CloudObject *getObjectFromPath(const QUrl &url, int &status) = 0;
    virtual CloudObject *getCloudObject() = 0;
    virtual bool mkdir(CloudObject *parent, const QString &name) = 0;
    virtual QUrl getOpenFileName(QWidget *parent, const QString &caption, const QString &dir,
                                 const QString &filter);
    virtual QUrl getSaveFileName(QWidget *parent, const QString &caption, const QString &dir,
                                 const QString &filter);
    virtual bool getFile() = 0;
    virtual bool putFile() = 0;

    bool isMode(QIODevice::OpenMode flags);
    bool flush();
    void setFlushThreshold(qint64 threshold);
    qint64 flushThreshold() const;
    void setOverwrite(bool overwrite);
    bool overwrite() const;
    int errorCode() const;
    void setErrorCode(int code);

signals:
    void objectList(QList<CloudObject *> objects);
    void operationAborted();
    void progress(int percent);

public slots:
    void abort();
    void setProgress(qint64 done, qint64 total);

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 len) override;

    QUrl m_url;
    QByteArray m_buffer;
    int m_errorCode;
    qint64 m_flushThreshold;
    qint64 m_writtenBytes;
    bool m_overwrite;
    int m_position;
};

#endif // CLOUDFILE_H
