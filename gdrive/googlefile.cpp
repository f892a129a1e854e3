// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "googlefile.h"

#include "cloudcodes.h"
#include "driveconstants.h"
#include "googleendpoints.h"
#include "googlefileobject.h"
#include "oauthgoogle.h"

#include <QCryptographicHash>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrlQuery>
#include <QtDebug>

#include <memory>

namespace {
const QString CreatedType = QStringLiteral("application/tarnwick");
const QByteArray Boundary = "tarnwick_boundary";
const QString ListFields =
        QStringLiteral("files(id, name, parents, mimeType, size, modifiedTime, md5Checksum)");

constexpr qint64 ReadAhead = 512 * 1024;

QString filesEndpoint()
{
    return GoogleEndpoints::driveHost() + QStringLiteral("/drive/v3/files");
}

QString uploadEndpoint()
{
    return GoogleEndpoints::driveHost() + QStringLiteral("/upload/drive/v3/files");
}

QUrl entryUrl(const QString &id, const QString &tail = QString())
{
    return QUrl(filesEndpoint() + QLatin1Char('/') + id + tail, QUrl::TolerantMode);
}

// Contract: the upload URL is built from a query object that holds the whole endpoint text as
// its first item, so the query sent begins with an empty pair: ".../files?&uploadType=media".
// The service accepts it and hosts have always sent it so.
QUrl uploadUrl(const QString &endpoint, const QString &uploadType)
{
    QUrlQuery query(endpoint + QLatin1Char('?'));
    query.addQueryItem(QStringLiteral("uploadType"), uploadType);
    return QUrl(query.query(), QUrl::TolerantMode);
}

// Takes what the reply has received so far, so that it never holds the whole body itself.
void takeAvailable(QNetworkReply *reply, QByteArray &received, QCryptographicHash *digest)
{
    const qint64 available = reply->bytesAvailable();
    if (available <= 0)
        return;
    if (received.capacity() == 0) {
        // Room for the whole body at once when its length is announced.
        const qint64 announced = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
        received.reserve(qMax(announced, available));
    }
    const qsizetype start = received.size();
    received.resize(start + available);
    const qint64 read = reply->read(received.data() + start, available);
    received.resize(start + qMax<qint64>(read, 0));
    if (digest && read > 0)
        digest->addData(QByteArrayView(received.constData() + start, read));
}

QByteArray indentedJson(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

// Contract: a new file's metadata and content as multipart/related with bare LF line ends and a
// fixed boundary, never checked against the content. Qt sends a
// byte array from where it is; from a device, it would read its own copy in small pieces, which
// costs more over HTTP/2 than this copy does.
QByteArray multipartBody(const QJsonObject &metadata, const QByteArray &content)
{
    const QByteArray delimiter = "--" + Boundary + '\n';
    const QByteArray opening = delimiter + "Content-Type: application/json; charset=UTF-8\n\n"
            + indentedJson(metadata) + delimiter + "Content-Type: " + CreatedType.toLatin1()
            + "\n\n";
    const QByteArray closing = "\n--" + Boundary + "--\n";
    QByteArray body;
    body.reserve(opening.size() + content.size() + closing.size());
    body += opening;
    body += content;
    body += closing;
    return body;
}
} // namespace

GoogleFile::GoogleFile(const QString &scheme, OAuthGoogle *oauth, const QUrl &url, QObject *parent)
    : CloudFile(url, parent), m_scheme(scheme), m_oauth(oauth)
{
}

GoogleFile::~GoogleFile() = default;

QUrl GoogleFile::filename(bool schemeOnly) const
{
    return schemeOnly ? QUrl(m_scheme, QUrl::TolerantMode) : m_url;
}

QString GoogleFile::scheme() const
{
    return m_scheme;
}

void GoogleFile::setFilename(const QUrl &url)
{
    m_url = url;
}

CloudObject *GoogleFile::getCloudObject()
{
    return new GoogleFileObject;
}

// Contract: uploads and the rename are announced: they say who sends them and take the token in
// the local 8-bit encoding; the other requests go with Qt's agent and the token in UTF-8 (the
// two agree for the ASCII tokens the service issues). The token is used as it is, even when it
// has run out: authorisation is the flow's business, asked by the host through cloudFile().
void GoogleFile::authorise(QNetworkRequest &request, Shape shape) const
{
    const QString token = m_oauth->token();
    if (shape == Shape::Plain) {
        request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
        return;
    }
    request.setRawHeader("User-Agent", "Tarnwick");
    request.setRawHeader("Authorization", "Bearer " + token.toLocal8Bit());
}

void GoogleFile::reportFailure(const char *signature) const
{
    qDebug() << signature << errorString();
}

QNetworkReply *GoogleFile::send(const QByteArray &verb, const QNetworkRequest &request,
                                const QByteArray &body) const
{
    QNetworkAccessManager *manager = m_oauth->networkAccessManager();
    if (verb == "GET")
        return manager->get(request);
    if (verb == "DELETE")
        return manager->deleteResource(request);
    if (verb == "POST")
        return manager->post(request, body);
    return manager->sendCustomRequest(request, verb, body);
}

bool GoogleFile::exchange(QNetworkReply *reply, const char *signature, Progress progress,
                          QByteArray *answer, QCryptographicHash *digest)
{
    QEventLoop loop;
    if (progress == Progress::Download)
        connect(reply, SIGNAL(downloadProgress(qint64, qint64)), this,
                SLOT(setProgress(qint64, qint64)));
    else if (progress == Progress::Upload)
        connect(reply, SIGNAL(uploadProgress(qint64, qint64)), this,
                SLOT(setProgress(qint64, qint64)));
    connect(reply, SIGNAL(finished()), &loop, SLOT(quit()));
    // The body is taken, and hashed, as it arrives rather than copied whole at the end.
    QByteArray received;
    if (answer) {
        // A bounded read-ahead: the network thread waits for this one instead of queueing the
        // whole body in memory while it is hashed.
        reply->setReadBufferSize(ReadAhead);
        connect(reply, &QIODevice::readyRead, &loop,
                [reply, &received, digest] { takeAvailable(reply, received, digest); });
    }
    loop.exec();

    reply->deleteLater();
    setErrorCode(reply->error());
    setErrorString(reply->errorString());
    if (reply->error() != QNetworkReply::NoError) {
        if (progress == Progress::Upload)
            qDebug() << signature << errorCode() << " - " << errorString();
        else
            reportFailure(signature);
        return false;
    }
    if (answer) {
        takeAvailable(reply, received, digest);
        *answer = std::move(received);
    }
    return true;
}

bool GoogleFile::listObjects(const QString &q, QList<CloudObject *> &out)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("spaces"), Drive::RootId);
    query.addQueryItem(QStringLiteral("q"), q);
    query.addQueryItem(QStringLiteral("fields"), ListFields);
    QUrl url(filesEndpoint(), QUrl::TolerantMode);
    url.setQuery(query);

    QNetworkRequest request(url);
    authorise(request);
    QByteArray answer;
    if (!exchange(send("GET", request),
                  "bool GoogleFile::listObjects(const QString&, QList<CloudObject*>&)",
                  Progress::None, &answer))
        return false;

    // Contract: only the first page counts; no page token is sent or read.
    const QJsonArray files =
            QJsonDocument::fromJson(answer).object().value(QLatin1String("files")).toArray();
    for (const QJsonValue &file : files) {
        auto *object = new GoogleFileObject;
        object->from(file.toObject());
        out.append(object);
    }
    return true;
}

bool GoogleFile::listObjects(const CloudObject *folder)
{
    QString q = QStringLiteral("trashed=false");
    if (!folder->id().isEmpty())
        q += QStringLiteral(" and '%1' in parents").arg(folder->id());
    QList<CloudObject *> objects;
    if (!listObjects(q, objects))
        return false;
    emit objectList(objects);
    return true;
}

CloudObject *GoogleFile::getObjectFromPath(const QUrl &url, int &status)
{
    status = Cloud::NothingFound;
    auto *current = new GoogleFileObject;
    QString parentId = Drive::RootId;
    QList<QString> ids;

    const QStringList segments = url.path(QUrl::FullyDecoded).mid(1).split(QLatin1Char('/'));
    for (qsizetype i = 0; i < segments.size(); ++i) {
        const bool last = i == segments.size() - 1;
        // Contract: names go in as they are; a quote in a name makes the query malformed.
        QString q = QStringLiteral("'%1' in parents and name='%2' and trashed=false")
                            .arg(parentId, segments.at(i));
        if (!last)
            q += QStringLiteral(" and mimeType= '%1'").arg(Drive::FolderType);

        QList<CloudObject *> found;
        if (!listObjects(q, found) || found.isEmpty()) {
            setErrorCode(Cloud::PathNotFound);
            if (last)
                status = Cloud::ParentFound;
            return current;
        }
        delete current;
        current = static_cast<GoogleFileObject *>(found.takeFirst());
        qDeleteAll(found); // Contract: the first match wins
        parentId = current->id();
        ids.append(parentId);
    }
    ids.removeLast();
    current->setParents(ids);
    status = Cloud::PathFound;
    return current;
}

std::unique_ptr<CloudObject> GoogleFile::resolveWhole(const QUrl &url)
{
    int status = Cloud::NothingFound;
    std::unique_ptr<CloudObject> object(getObjectFromPath(url, status));
    if (status != Cloud::PathFound)
        return nullptr;
    return object;
}

bool GoogleFile::getFile()
{
    const std::unique_ptr<CloudObject> object = resolveWhole(m_url);
    if (!object)
        return false;
    m_fileId = object->id();

    QUrl url = entryUrl(m_fileId);
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("alt"), QStringLiteral("media"));
    url.setQuery(query);
    QNetworkRequest request(url);
    authorise(request);

    const char *signature = "virtual bool GoogleFile::getFile()";
    QByteArray content;
    QCryptographicHash md5(QCryptographicHash::Md5);
    if (!exchange(send("GET", request), signature, Progress::Download, &content, &md5))
        return false;
    m_buffer = std::move(content);

    // The digest of the whole new buffer, computed while it arrived.
    const QString digest = QString::fromLatin1(md5.result().toHex());
    if (digest.compare(object->etag(), Qt::CaseInsensitive) != 0) {
        setErrorCode(Cloud::CorruptedData);
        //: The content downloaded does not match the checksum the service gave for it.
        setErrorString(tr("Les données reçues sont corrompues"));
        reportFailure(signature);
        return false;
    }
    return true;
}

bool GoogleFile::putFile()
{
    int status = Cloud::NothingFound;
    const std::unique_ptr<CloudObject> object(getObjectFromPath(m_url, status));
    if (status == Cloud::NothingFound)
        return false;

    QNetworkRequest request;
    authorise(request, Shape::Announced);

    const char *signature = "virtual bool GoogleFile::putFile()";
    QByteArray answer;
    if (status == Cloud::PathFound) {
        // Replace the content in place: the file keeps its identifier, name and type.
        m_fileId = object->id();
        request.setUrl(
                uploadUrl(uploadEndpoint() + QLatin1Char('/') + m_fileId, QStringLiteral("media")));
        if (!exchange(send("PATCH", request, m_buffer), signature, Progress::Upload, &answer))
            return false;
    } else {
        const QJsonObject metadata {
            { QStringLiteral("name"), m_url.fileName(QUrl::FullyDecoded) },
            { QStringLiteral("parents"), QJsonArray { object->id() } },
            { QStringLiteral("mimeType"), CreatedType },
        };
        request.setUrl(uploadUrl(uploadEndpoint(), QStringLiteral("multipart")));
        const QByteArray body = multipartBody(metadata, m_buffer);
        request.setRawHeader("Content-Type",
                             QStringLiteral("multipart/related; boundary=%1")
                                     .arg(QString::fromLatin1(Boundary))
                                     .toLatin1());
        request.setRawHeader("Content-Length", QStringLiteral("%1").arg(body.size()).toLatin1());
        if (!exchange(send("POST", request, body), signature, Progress::Upload, &answer))
            return false;
    }
    if (status == Cloud::ParentFound) {
        GoogleFileObject created;
        created.from(QJsonDocument::fromJson(answer).object());
        m_fileId = created.id();
    }
    return true;
}

bool GoogleFile::mkdir(CloudObject *parent, const QString &name)
{
    QList<CloudObject *> existing;
    const bool listed =
            listObjects(QStringLiteral("trashed=false and '%1' in parents and name = '%2'")
                                .arg(parent->id(), name),
                        existing);
    const bool taken = !existing.isEmpty();
    qDeleteAll(existing);
    if (!listed)
        return false;
    if (taken) {
        //: Something of the name asked for, file or folder, is already in the folder.
        setErrorString(tr("Le répertoire existe déjà"));
        return false;
    }

    const QJsonObject metadata { { QStringLiteral("name"), name },
                                 { QStringLiteral("parents"), QJsonArray { parent->id() } },
                                 { QStringLiteral("mimeType"), Drive::FolderType } };
    QNetworkRequest request(QUrl(filesEndpoint(), QUrl::TolerantMode));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    authorise(request);
    QByteArray answer;
    if (!exchange(send("POST", request, indentedJson(metadata)),
                  "virtual bool GoogleFile::mkdir(CloudObject*, const QString&)", Progress::None,
                  &answer))
        return false;

    GoogleFileObject created;
    created.from(QJsonDocument::fromJson(answer).object());
    parent->cd(&created);
    return true;
}

bool GoogleFile::copy(const QUrl &from, const QUrl &to)
{
    const std::unique_ptr<CloudObject> object = resolveWhole(from);
    if (!object)
        return false;
    m_fileId = object->id();

    // Contract: only the destination's name counts; the copy lands in the source's folder.
    const QJsonObject metadata {
        { QStringLiteral("name"), to.fileName(QUrl::FullyDecoded) },
        { QStringLiteral("parents"), QJsonArray { object->parent() } },
        { QStringLiteral("mimeType"), object->contentType() },
    };
    QNetworkRequest request(entryUrl(m_fileId, QStringLiteral("/copy")));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    authorise(request);
    return exchange(send("POST", request, indentedJson(metadata)),
                    "virtual bool GoogleFile::copy(const QUrl&, const QUrl&)");
}

bool GoogleFile::rename(const QUrl &from, const QUrl &to)
{
    // Contract: an existing destination goes first, a folder too; one that is not found lets
    // the rename go on.
    if (!remove(to) && errorCode() != Cloud::PathNotFound)
        return false;

    const std::unique_ptr<CloudObject> object = resolveWhole(from);
    if (!object)
        return false;
    m_fileId = object->id();

    QNetworkRequest request(entryUrl(m_fileId, QStringLiteral("?")));
    authorise(request, Shape::Announced);
    request.setRawHeader("Content-Type", "application/json");
    const QJsonObject metadata { { QStringLiteral("name"), to.fileName(QUrl::FullyDecoded) } };
    return exchange(send("PATCH", request, indentedJson(metadata)),
                    "virtual bool GoogleFile::rename(const QUrl&, const QUrl&)");
}

bool GoogleFile::remove(const QUrl &url)
{
    const std::unique_ptr<CloudObject> object = resolveWhole(url);
    return object && remove(object.get());
}

bool GoogleFile::remove(const CloudObject *object)
{
    QNetworkRequest request(entryUrl(object->id()));
    authorise(request);
    return exchange(send("DELETE", request), "virtual bool GoogleFile::remove(const CloudObject*)");
}
