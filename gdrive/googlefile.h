// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef GOOGLEFILE_H
#define GOOGLEFILE_H

#include "cloudfile.h"

#include <memory>

class OAuthGoogle;
class QCryptographicHash;
class QNetworkReply;
class QNetworkRequest;

// A file of the application-data folder of a Drive account, addressed by a "gdapp:" URL whose
// path names folders below that folder. Every operation is one or more blocking Drive
// requests; each request leaves its error code and text on the file.
class GoogleFile : public CloudFile
{
    Q_OBJECT

public:
    GoogleFile(const QString &scheme, OAuthGoogle *oauth, const QUrl &url, QObject *parent);
    ~GoogleFile() override;

    QUrl filename(bool schemeOnly) const override;
    QString scheme() const override;
    void setFilename(const QUrl &url) override;
    using CloudFile::copy;
    bool copy(const QUrl &from, const QUrl &to) override;
    using CloudFile::remove;
    bool remove(const QUrl &url) override;
    bool remove(const CloudObject *object) override;
    using CloudFile::rename;
    bool rename(const QUrl &from, const QUrl &to) override;
    bool listObjects(const CloudObject *folder) override;
    CloudObject *getObjectFromPath(const QUrl &url, int &status) override;
    CloudObject *getCloudObject() override;
    bool mkdir(CloudObject *parent, const QString &name) override;
    bool getFile() override;
    bool putFile() override;

    // Runs one files query and appends what it finds to out.
    bool listObjects(const QString &q, QList<CloudObject *> &out);
    // The identifier of the file last resolved by a transfer or a copy.
    QString fileId() const { return m_fileId; }

private:
    enum class Progress { None, Download, Upload };
    // How a request presents itself and its token; which requests take which is fixed.
    enum class Shape { Plain, Announced };

    // Sends the request with the verb through the flow's access manager.
    QNetworkReply *send(const QByteArray &verb, const QNetworkRequest &request,
                        const QByteArray &body = QByteArray()) const;
    // Waits for the answer, records its error code and text on the file and, when it failed,
    // writes the operation's debug line. On success the answer body goes to *answer, and into
    // *digest as well when one is given.
    bool exchange(QNetworkReply *reply, const char *signature, Progress progress = Progress::None,
                  QByteArray *answer = nullptr, QCryptographicHash *digest = nullptr);
    void reportFailure(const char *signature) const;
    // Adds the headers of the shape, the token's among them, after those already set: the
    // order is part of what the service receives.
    void authorise(QNetworkRequest &request, Shape shape = Shape::Plain) const;
    // What the whole path of url names, or nothing when any segment of it is not found.
    std::unique_ptr<CloudObject> resolveWhole(const QUrl &url);

    QString m_scheme;
    QString m_fileId;
    OAuthGoogle *m_oauth;
};

#endif // GOOGLEFILE_H
