// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "driveservice.h"

#include "bodydigest.h"

#include "driveerror.h"
#include "drivequery.h"
#include "drivestore.h"
#include "fieldselection.h"
#include "multipartbody.h"
#include "tokenregistry.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>

#include <algorithm>

namespace {
const QByteArray FilesPath = "/drive/v3/files";
const QByteArray DownloadPath = "/download/drive/v3/files";
const QByteArray UploadPath = "/upload/drive/v3/files";
// Smaller uploads are hashed once they are in: a thread would cost more than it saves.
constexpr qsizetype DigestedUpload = 1024 * 1024;
// What may follow a multipart upload's media part: its line end, the closing delimiter (with a
// boundary of at most 70 characters) and some epilogue.
constexpr qsizetype MultipartTail = 4096;

constexpr int DefaultPageSize = 100;
constexpr int MaxPageSize = 1000;

const QStringList DefaultFileKeys { QStringLiteral("kind"), QStringLiteral("id"),
                                    QStringLiteral("name"), QStringLiteral("mimeType") };

// Keys a selection may name: those the emulator fills and those it knows but leaves out.
const QSet<QString> &knownFileKeys()
{
    static const QSet<QString> keys {
        QStringLiteral("kind"),
        QStringLiteral("id"),
        QStringLiteral("name"),
        QStringLiteral("mimeType"),
        QStringLiteral("parents"),
        QStringLiteral("size"),
        QStringLiteral("md5Checksum"),
        QStringLiteral("createdTime"),
        QStringLiteral("modifiedTime"),
        QStringLiteral("trashed"),
        QStringLiteral("explicitlyTrashed"),
        QStringLiteral("spaces"),
        QStringLiteral("version"),
        QStringLiteral("starred"),
        QStringLiteral("ownedByMe"),
        QStringLiteral("quotaBytesUsed"),
        QStringLiteral("description"),
        QStringLiteral("webViewLink"),
        QStringLiteral("webContentLink"),
        QStringLiteral("iconLink"),
        QStringLiteral("fileExtension"),
        QStringLiteral("fullFileExtension"),
        QStringLiteral("originalFilename"),
        QStringLiteral("headRevisionId"),
        QStringLiteral("owners"),
        QStringLiteral("capabilities"),
        QStringLiteral("appProperties"),
        QStringLiteral("properties"),
        QStringLiteral("viewedByMeTime"),
        QStringLiteral("modifiedByMeTime"),
        QStringLiteral("sha1Checksum"),
        QStringLiteral("sha256Checksum"),
        QStringLiteral("resourceKey"),
        QStringLiteral("thumbnailLink"),
        QStringLiteral("shared"),
        QStringLiteral("lastModifyingUser"),
    };
    return keys;
}

const QSet<QString> &knownListKeys()
{
    static const QSet<QString> keys { QStringLiteral("kind"), QStringLiteral("incompleteSearch"),
                                      QStringLiteral("files"), QStringLiteral("nextPageToken") };
    return keys;
}

// Keys an update may carry; parents has its own refusal.
const QSet<QString> &writableKeys()
{
    static const QSet<QString> keys { QStringLiteral("name"),
                                      QStringLiteral("mimeType"),
                                      QStringLiteral("description"),
                                      QStringLiteral("trashed"),
                                      QStringLiteral("modifiedTime"),
                                      QStringLiteral("starred"),
                                      QStringLiteral("appProperties"),
                                      QStringLiteral("properties"),
                                      QStringLiteral("originalFilename") };
    return keys;
}

QString md5Hex(const QByteArray &data)
{
    return QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex());
}

QString pageSignature(const HttpRequest &request)
{
    const QByteArray basis = request.queryValue(QStringLiteral("q")).toUtf8() + '|'
            + request.queryValue(QStringLiteral("spaces")).toUtf8() + '|'
            + request.queryValue(QStringLiteral("orderBy")).toUtf8();
    return QString::fromLatin1(
            QCryptographicHash::hash(basis, QCryptographicHash::Sha1).toHex().left(16));
}

QString makePageToken(int offset, const QString &signature)
{
    const QByteArray json = QJsonDocument(QJsonObject { { QStringLiteral("o"), offset },
                                                        { QStringLiteral("s"), signature } })
                                    .toJson(QJsonDocument::Compact);
    return QString::fromLatin1(
            json.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

bool readPageToken(const QString &token, const QString &signature, int *offset)
{
    const QByteArray json = QByteArray::fromBase64(token.toLatin1(), QByteArray::Base64UrlEncoding);
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    *offset = object.value(QStringLiteral("o")).toInt(-1);
    return object.value(QStringLiteral("s")).toString() == signature && *offset >= 0;
}

// orderBy: comma-separated keys, each optionally followed by " desc".
bool sortEntries(QList<const DriveEntry *> &entries, const QString &orderBy)
{
    if (orderBy.trimmed().isEmpty())
        return true;
    struct Key
    {
        QString name;
        bool descending;
    };
    QList<Key> keys;
    static const QSet<QString> known { QStringLiteral("createdTime"),
                                       QStringLiteral("modifiedTime"), QStringLiteral("name"),
                                       QStringLiteral("name_natural"), QStringLiteral("folder") };
    for (const QString &part : orderBy.split(QLatin1Char(','))) {
        const QStringList words = part.simplified().split(QLatin1Char(' '));
        if (words.isEmpty() || !known.contains(words.first()) || words.size() > 2
            || (words.size() == 2 && words.at(1) != QLatin1String("desc")))
            return false;
        keys.append({ words.first(), words.size() == 2 });
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [&keys](const DriveEntry *a, const DriveEntry *b) {
                         for (const Key &key : keys) {
                             int order = 0;
                             if (key.name == QLatin1String("createdTime"))
                                 order = a->createdTime < b->createdTime   ? -1
                                         : b->createdTime < a->createdTime ? 1
                                                                           : 0;
                             else if (key.name == QLatin1String("modifiedTime"))
                                 order = a->modifiedTime < b->modifiedTime   ? -1
                                         : b->modifiedTime < a->modifiedTime ? 1
                                                                             : 0;
                             else if (key.name == QLatin1String("folder"))
                                 order = int(b->isFolder()) - int(a->isFolder());
                             else
                                 order = a->name.compare(b->name, Qt::CaseInsensitive);
                             if (order != 0)
                                 return key.descending ? order > 0 : order < 0;
                         }
                         return false;
                     });
    return true;
}

QString decodeId(const QByteArray &raw)
{
    return QString::fromUtf8(QByteArray::fromPercentEncoding(raw));
}

// "bytes=first-last", "bytes=first-" or "bytes=-suffix" against a length.
bool parseRange(const QByteArray &header, qint64 length, qint64 *first, qint64 *last)
{
    if (!header.startsWith("bytes=") || header.contains(','))
        return false;
    const QByteArray range = header.mid(6).trimmed();
    const qsizetype dash = range.indexOf('-');
    if (dash < 0)
        return false;
    bool ok = true;
    if (dash == 0) {
        const qint64 suffix = range.mid(1).toLongLong(&ok);
        if (!ok || suffix <= 0)
            return false;
        *first = qMax<qint64>(0, length - suffix);
        *last = length - 1;
    } else {
        *first = range.left(dash).toLongLong(&ok);
        if (!ok)
            return false;
        *last = dash + 1 < range.size() ? range.mid(dash + 1).toLongLong(&ok) : length - 1;
        if (!ok || *last < *first)
            return false;
        *last = qMin(*last, length - 1);
    }
    return *first < length;
}
} // namespace

DriveService::DriveService(DriveStore &store, TokenRegistry &tokens)
    : m_store(store), m_tokens(tokens)
{
}

bool DriveService::handles(const QByteArray &path)
{
    for (const QByteArray &prefix : { FilesPath, DownloadPath, UploadPath }) {
        if (path == prefix || path.startsWith(prefix + '/'))
            return true;
    }
    return false;
}

HttpResponse DriveService::handle(HttpRequest &request)
{
    if (const auto denied = authenticate(request))
        return *denied;

    const QString alt = request.queryValue(QStringLiteral("alt"));
    if (!alt.isEmpty() && alt != QLatin1String("json") && alt != QLatin1String("media"))
        return DriveError::invalidValue(QStringLiteral("alt"));

    if (request.path.startsWith(UploadPath))
        return routeUpload(request, request.path.mid(UploadPath.size()));
    if (request.path.startsWith(DownloadPath)) {
        const QByteArray rest = request.path.mid(DownloadPath.size());
        if (request.method != "GET" || !rest.startsWith('/'))
            return DriveError::make(404, QStringLiteral("notFound"), QStringLiteral("Not Found"));
        const QString id = decodeId(rest.mid(1));
        const DriveEntry *entry = m_store.find(id);
        return entry ? media(request, *entry) : DriveError::notFound(id);
    }
    return routeFiles(request, request.path.mid(FilesPath.size()));
}

std::optional<HttpResponse> DriveService::authenticate(const HttpRequest &request) const
{
    QString token;
    const QByteArray authorization = request.header("Authorization");
    if (authorization.size() > 7
        && authorization.left(7).compare("Bearer ", Qt::CaseInsensitive) == 0)
        token = QString::fromUtf8(authorization.mid(7).trimmed());
    else if (request.hasQueryItem(QStringLiteral("access_token")))
        token = request.queryValue(QStringLiteral("access_token"));
    else if (request.hasQueryItem(QStringLiteral("oauth_token")))
        token = request.queryValue(QStringLiteral("oauth_token"));

    if (token.isEmpty() && authorization.isEmpty())
        return DriveError::loginRequired();
    if (m_tokens.checkAccessToken(token) != TokenRegistry::AccessCheck::Valid)
        return DriveError::invalidCredentials();
    return std::nullopt;
}

HttpResponse DriveService::routeFiles(const HttpRequest &request, const QByteArray &rest)
{
    const QByteArray &method = request.method;
    if (rest.isEmpty()) {
        if (method == "GET")
            return list(request);
        if (method == "POST")
            return create(request);
    } else if (rest.startsWith('/')) {
        const QByteArray tail = rest.mid(1);
        if (tail == "trash" && method == "DELETE")
            return emptyTrash();
        if (tail.endsWith("/copy") && method == "POST")
            return copy(request, decodeId(tail.chopped(5)));
        if (!tail.contains('/')) {
            const QString id = decodeId(tail);
            if (method == "GET" || method == "HEAD")
                return get(request, id);
            if (method == "PATCH")
                return update(request, id);
            if (method == "DELETE")
                return remove(id);
        }
    }
    return DriveError::make(404, QStringLiteral("notFound"), QStringLiteral("Not Found"));
}

HttpResponse DriveService::routeUpload(HttpRequest &request, const QByteArray &rest)
{
    if (rest.isEmpty() && request.method == "POST")
        return uploadCreate(request);
    if (rest.startsWith('/') && !rest.mid(1).contains('/')
        && (request.method == "PATCH" || request.method == "PUT"))
        return uploadUpdate(request, decodeId(rest.mid(1)));
    return DriveError::make(404, QStringLiteral("notFound"), QStringLiteral("Not Found"));
}

std::optional<HttpResponse> DriveService::checkFields(const HttpRequest &request, bool list,
                                                      FieldSelection *fields) const
{
    QString error;
    *fields = FieldSelection::parse(request.queryValue(QStringLiteral("fields")), &error);
    if (!error.isEmpty())
        return DriveError::make(400, QStringLiteral("invalidParameter"), error,
                                QStringLiteral("fields"), QStringLiteral("parameter"));
    if (!fields->isGiven() || fields->selectsAll())
        return std::nullopt;

    auto invalid = [](const QString &key) {
        return DriveError::make(400, QStringLiteral("invalidParameter"),
                                QStringLiteral("Invalid field selection ") + key,
                                QStringLiteral("fields"), QStringLiteral("parameter"));
    };
    FieldSelection fileFields = *fields;
    if (list) {
        for (const QString &key : fields->keys()) {
            if (!knownListKeys().contains(key))
                return invalid(key);
        }
        fileFields = fields->child(QStringLiteral("files"));
    }
    if (!fileFields.selectsAll()) {
        for (const QString &key : fileFields.keys()) {
            if (!knownFileKeys().contains(key))
                return invalid(key);
        }
    }
    return std::nullopt;
}

HttpResponse DriveService::fileAnswer(const HttpRequest &request, const DriveEntry &entry)
{
    FieldSelection fields;
    if (const auto invalid = checkFields(request, false, &fields))
        return *invalid;
    const QJsonObject resource = entry.resource();
    if (fields.isGiven())
        return HttpResponse::json(200, fields.apply(resource));
    QJsonObject answer;
    for (const QString &key : DefaultFileKeys)
        answer.insert(key, resource.value(key));
    return HttpResponse::json(200, answer);
}

HttpResponse DriveService::list(const HttpRequest &request)
{
    FieldSelection fields;
    if (const auto invalid = checkFields(request, true, &fields))
        return *invalid;

    QStringList spaces { DriveSpace };
    if (request.hasQueryItem(QStringLiteral("spaces"))) {
        spaces = request.queryValue(QStringLiteral("spaces")).split(QLatin1Char(','));
        for (QString &space : spaces) {
            space = space.trimmed();
            if (space != DriveSpace && space != AppDataSpace && space != QLatin1String("photos"))
                return DriveError::invalidValue(QStringLiteral("spaces"));
        }
    }

    QString queryError;
    const DriveQuery query =
            DriveQuery::parse(request.queryValue(QStringLiteral("q")), &queryError);
    if (!query.isValid())
        return DriveError::invalidValue(QStringLiteral("q"));

    int pageSize = DefaultPageSize;
    if (request.hasQueryItem(QStringLiteral("pageSize"))) {
        bool ok = false;
        pageSize = request.queryValue(QStringLiteral("pageSize")).toInt(&ok);
        if (!ok || pageSize < 1 || pageSize > MaxPageSize)
            return DriveError::invalidValue(QStringLiteral("pageSize"));
    }

    const QString signature = pageSignature(request);
    int offset = 0;
    if (request.hasQueryItem(QStringLiteral("pageToken"))
        && !readPageToken(request.queryValue(QStringLiteral("pageToken")), signature, &offset))
        return DriveError::invalidValue(QStringLiteral("pageToken"));

    QList<const DriveEntry *> matching;
    for (const DriveEntry *entry : m_store.entries()) {
        if (spaces.contains(entry->space) && query.matches(*entry))
            matching.append(entry);
    }
    if (!sortEntries(matching, request.queryValue(QStringLiteral("orderBy"))))
        return DriveError::invalidValue(QStringLiteral("orderBy"));

    const FieldSelection fileFields =
            fields.isGiven() ? fields.child(QStringLiteral("files")) : FieldSelection();
    QJsonArray files;
    const int end = qMin<int>(matching.size(), offset + pageSize);
    for (int i = offset; i < end; ++i) {
        const QJsonObject resource = matching.at(i)->resource();
        if (fields.isGiven()) {
            files.append(fileFields.apply(resource));
        } else {
            QJsonObject brief;
            for (const QString &key : DefaultFileKeys)
                brief.insert(key, resource.value(key));
            files.append(brief);
        }
    }

    QJsonObject answer { { QStringLiteral("kind"), QStringLiteral("drive#fileList") },
                         { QStringLiteral("incompleteSearch"), false },
                         { QStringLiteral("files"), files } };
    if (end < matching.size())
        answer.insert(QStringLiteral("nextPageToken"), makePageToken(end, signature));
    if (fields.isGiven() && !fields.selectsAll()) {
        QJsonObject selected;
        for (const QString &key : fields.keys()) {
            if (answer.contains(key))
                selected.insert(key, answer.value(key));
        }
        answer = selected;
    }
    return HttpResponse::json(200, answer);
}

HttpResponse DriveService::get(const HttpRequest &request, const QString &id)
{
    const DriveEntry *entry = m_store.find(id);
    if (!entry)
        return DriveError::notFound(id);
    if (request.queryValue(QStringLiteral("alt")) == QLatin1String("media"))
        return media(request, *entry);
    return fileAnswer(request, *entry);
}

HttpResponse DriveService::media(const HttpRequest &request, const DriveEntry &entry)
{
    if (!entry.hasContent()) {
        const QString message = QStringLiteral("Only files with binary content can be downloaded. "
                                               "Use Export with Docs Editors files.");
        return DriveError::make(403, QStringLiteral("fileNotDownloadable"), message,
                                QStringLiteral("alt"), QStringLiteral("parameter"));
    }
    HttpResponse response;
    response.setHeader("Content-Type", entry.mimeType.toUtf8());
    response.setHeader("X-Goog-Hash",
                       "md5=" + QByteArray::fromHex(entry.blob.toLatin1()).toBase64());
    const QByteArray range = request.header("Range");
    if (range.isEmpty()) {
        response.body = entry.content;
        return response;
    }
    qint64 first = 0;
    qint64 last = 0;
    if (!parseRange(range, entry.content.size(), &first, &last)) {
        HttpResponse refused = HttpResponse::empty(416);
        refused.setHeader("Content-Range", "bytes */" + QByteArray::number(entry.content.size()));
        return refused;
    }
    response.status = 206;
    response.setHeader("Content-Range",
                       "bytes " + QByteArray::number(first) + '-' + QByteArray::number(last) + '/'
                               + QByteArray::number(entry.content.size()));
    response.body = entry.content.mid(first, last - first + 1);
    return response;
}

std::optional<HttpResponse> DriveService::readMetadata(const QByteArray &body,
                                                       QJsonObject *metadata) const
{
    if (body.trimmed().isEmpty()) {
        *metadata = QJsonObject();
        return std::nullopt;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return DriveError::make(400, QStringLiteral("parseError"), QStringLiteral("Parse Error"));
    *metadata = document.object();
    return std::nullopt;
}

// Where a new entry goes: its single parent, which must be a folder; the user's own root when
// none is named.
std::optional<HttpResponse> DriveService::placeNew(DriveEntry &entry, const QJsonObject &metadata)
{
    QString parentId = MyDriveRootId;
    if (metadata.contains(QStringLiteral("parents"))) {
        const QJsonArray parents = metadata.value(QStringLiteral("parents")).toArray();
        if (parents.size() > 1)
            return DriveError::make(
                    403, QStringLiteral("cannotAddParent"),
                    QStringLiteral("Increasing the number of parents is not allowed"));
        if (parents.size() == 1)
            parentId = parents.at(0).toString();
    }
    const DriveEntry *parent = m_store.find(parentId);
    if (!parent)
        return DriveError::notFound(parentId);
    if (!parent->isFolder())
        return DriveError::badRequest(QStringLiteral("The specified parent is not a folder."));
    entry.parents = QStringList(parent->id);
    entry.space = parent->space;
    if (entry.space == AppDataSpace && entry.isGoogleType() && !entry.isFolder())
        return DriveError::make(
                403, QStringLiteral("notSupportedForAppDataFolderFiles"),
                QStringLiteral(
                        "Method not supported for files within the Application Data folder."));
    return std::nullopt;
}

std::optional<HttpResponse> DriveService::applyMetadata(DriveEntry &entry,
                                                        const QJsonObject &metadata,
                                                        const HttpRequest &request)
{
    for (auto it = metadata.constBegin(); it != metadata.constEnd(); ++it) {
        if (it.key() == QLatin1String("parents"))
            return DriveError::make(
                    403, QStringLiteral("fieldNotWritable"),
                    QStringLiteral("The parents field is not directly writable in update requests. "
                                   "Use the addParents and removeParents parameters instead."));
        if (!writableKeys().contains(it.key()))
            return DriveError::make(
                    403, QStringLiteral("fieldNotWritable"),
                    QStringLiteral(
                            "The resource body includes fields which are not directly writable."));
    }
    if (metadata.value(QStringLiteral("trashed")).toBool() && entry.space == AppDataSpace)
        return DriveError::make(
                403, QStringLiteral("notSupportedForAppDataFolderFiles"),
                QStringLiteral(
                        "Method not supported for files within the Application Data folder."));

    if (metadata.contains(QStringLiteral("name")))
        entry.name = metadata.value(QStringLiteral("name")).toString();
    if (metadata.contains(QStringLiteral("mimeType"))) {
        const QString type = metadata.value(QStringLiteral("mimeType")).toString();
        if (entry.isFolder() != (type == FolderMimeType))
            return DriveError::badRequest(QStringLiteral("A folder cannot change its type."));
        entry.mimeType = type;
    }
    if (metadata.contains(QStringLiteral("trashed"))) {
        entry.trashed = metadata.value(QStringLiteral("trashed")).toBool();
        entry.explicitlyTrashed = entry.trashed;
    }
    entry.modifiedTime = QDateTime::currentDateTimeUtc();
    if (metadata.contains(QStringLiteral("modifiedTime"))) {
        const QDateTime time = QDateTime::fromString(
                metadata.value(QStringLiteral("modifiedTime")).toString(), Qt::ISODateWithMs);
        if (!time.isValid())
            return DriveError::invalidValue(QStringLiteral("modifiedTime"));
        entry.modifiedTime = time;
    }

    // Moves: removeParents then addParents; one parent in the end, no cycles.
    const QString remove = request.queryValue(QStringLiteral("removeParents"));
    const QString add = request.queryValue(QStringLiteral("addParents"));
    if (!remove.isEmpty() || !add.isEmpty()) {
        QStringList parents = entry.parents;
        for (const QString &id : remove.split(QLatin1Char(','), Qt::SkipEmptyParts))
            parents.removeAll(id.trimmed());
        for (const QString &id : add.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
            const DriveEntry *parent = m_store.find(id.trimmed());
            if (!parent)
                return DriveError::notFound(id.trimmed());
            if (!parent->isFolder() || parent->space != entry.space)
                return DriveError::make(403, QStringLiteral("cannotAddParent"),
                                        QStringLiteral("The parent cannot hold this file."));
            if (m_store.subtree(entry.id).contains(parent->id))
                return DriveError::badRequest(
                        QStringLiteral("A folder cannot be moved into itself."));
            if (!parents.contains(parent->id))
                parents.append(parent->id);
        }
        if (parents.size() != 1)
            return DriveError::make(
                    403, QStringLiteral("cannotAddParent"),
                    QStringLiteral("Increasing the number of parents is not allowed"));
        entry.parents = parents;
    }
    ++entry.version;
    return std::nullopt;
}

HttpResponse DriveService::store(DriveEntry entry, const HttpRequest &request)
{
    const QString id = entry.id;
    if (!m_store.put(std::move(entry)))
        return DriveError::make(500, QStringLiteral("backendError"),
                                QStringLiteral("The emulator could not save the change."));
    return fileAnswer(request, *m_store.find(id));
}

HttpResponse DriveService::create(const HttpRequest &request)
{
    QJsonObject metadata;
    if (const auto invalid = readMetadata(request.body, &metadata))
        return *invalid;
    DriveEntry entry = m_store.newEntry(
            metadata.value(QStringLiteral("name")).toString(QStringLiteral("Untitled")),
            metadata.value(QStringLiteral("mimeType"))
                    .toString(QStringLiteral("application/octet-stream")),
            MyDriveRootId);
    if (const auto refused = placeNew(entry, metadata))
        return *refused;
    return store(std::move(entry), request);
}

HttpResponse DriveService::update(const HttpRequest &request, const QString &id)
{
    const DriveEntry *existing = m_store.find(id);
    if (!existing || m_store.isRoot(id))
        return existing ? DriveError::make(
                       403, QStringLiteral("insufficientFilePermissions"),
                       QStringLiteral(
                               "The user does not have sufficient permissions for this file."))
                        : DriveError::notFound(id);
    QJsonObject metadata;
    if (const auto invalid = readMetadata(request.body, &metadata))
        return *invalid;
    DriveEntry entry = *existing;
    if (const auto refused = applyMetadata(entry, metadata, request))
        return *refused;
    return store(std::move(entry), request);
}

HttpResponse DriveService::remove(const QString &id)
{
    if (!m_store.find(id))
        return DriveError::notFound(id);
    if (m_store.isRoot(id))
        return DriveError::make(
                403, QStringLiteral("insufficientFilePermissions"),
                QStringLiteral("The user does not have sufficient permissions for this file."));
    if (!m_store.remove(m_store.subtree(id)))
        return DriveError::make(500, QStringLiteral("backendError"),
                                QStringLiteral("The emulator could not save the change."));
    return HttpResponse::empty(204);
}

HttpResponse DriveService::emptyTrash()
{
    QStringList ids;
    for (const DriveEntry *entry : m_store.entries()) {
        if (entry->trashed)
            ids += m_store.subtree(entry->id);
    }
    m_store.remove(ids);
    return HttpResponse::empty(204);
}

HttpResponse DriveService::copy(const HttpRequest &request, const QString &id)
{
    const DriveEntry *source = m_store.find(id);
    if (!source)
        return DriveError::notFound(id);
    if (source->isFolder() || m_store.isRoot(id))
        return DriveError::make(403, QStringLiteral("cannotCopyFile"),
                                QStringLiteral("This file cannot be copied by the user."));
    QJsonObject metadata;
    if (const auto invalid = readMetadata(request.body, &metadata))
        return *invalid;

    DriveEntry entry =
            m_store.newEntry(metadata.value(QStringLiteral("name"))
                                     .toString(QStringLiteral("Copy of ") + source->name),
                             metadata.value(QStringLiteral("mimeType")).toString(source->mimeType),
                             source->parents.value(0, MyDriveRootId));
    if (!metadata.contains(QStringLiteral("parents")))
        metadata.insert(QStringLiteral("parents"), QJsonArray { entry.parents.value(0) });
    if (const auto refused = placeNew(entry, metadata))
        return *refused;
    if (entry.isFolder())
        return DriveError::badRequest(QStringLiteral("A copy cannot become a folder."));
    entry.content = source->content;
    entry.blob = source->blob;
    entry.md5Checksum = entry.isGoogleType() ? QString() : source->blob;
    return store(std::move(entry), request);
}

std::shared_ptr<BodyDigest> DriveService::digestFor(const HttpRequest &head)
{
    if (!head.path.startsWith(UploadPath) || head.body.size() < DigestedUpload)
        return nullptr;
    const QString uploadType = head.queryValue(QStringLiteral("uploadType"));
    if (uploadType == QLatin1String("media"))
        return std::make_shared<BodyDigest>(
                head.body.constData(), head.body.size(), [](const QByteArray &) { return 0; }, 0);
    if (uploadType != QLatin1String("multipart"))
        return nullptr;
    const QByteArray boundary = head.contentTypeParameter("boundary");
    // The media part ends before the closing delimiter and whatever follows it.
    return std::make_shared<BodyDigest>(
            head.body.constData(), head.body.size(),
            [boundary](const QByteArray &prefix) {
                return MultipartBody::mediaOffsetIn(prefix, boundary);
            },
            MultipartTail);
}

QString DriveService::checksum(const HttpRequest &request, qsizetype start,
                               const QByteArray &content)
{
    const QString hashed =
            request.digest ? request.digest->result(start, start + content.size()) : QString();
    return hashed.isEmpty() ? md5Hex(content) : hashed;
}

HttpResponse DriveService::uploadCreate(HttpRequest &request)
{
    // From here on the body is moved and trimmed: the digest stops reading it.
    if (request.digest)
        request.digest->stop();
    const QString uploadType = request.queryValue(QStringLiteral("uploadType"));
    QJsonObject metadata;
    QByteArray content;
    qsizetype contentStart = 0;
    QString mediaType;
    if (uploadType == QLatin1String("multipart")) {
        if (request.mediaType() != "multipart/related")
            return DriveError::make(400, QStringLiteral("badContent"),
                                    QStringLiteral("Unsupported content with type: ")
                                            + QString::fromUtf8(request.mediaType()));
        MultipartBody body;
        if (!body.parse(std::move(request.body), request.contentTypeParameter("boundary")))
            return DriveError::badRequest(QStringLiteral("Malformed multipart body: ")
                                          + body.errorString());
        if (const auto invalid = readMetadata(body.metadata().body, &metadata))
            return *invalid;
        content = body.media().body;
        contentStart = body.mediaOffset();
        mediaType = QString::fromUtf8(body.media().header("Content-Type"));
    } else if (uploadType == QLatin1String("media")) {
        content = std::move(request.body);
        mediaType = QString::fromUtf8(request.header("Content-Type"));
    } else {
        return DriveError::invalidValue(QStringLiteral("uploadType"));
    }

    const QString type =
            metadata.value(QStringLiteral("mimeType"))
                    .toString(mediaType.isEmpty() ? QStringLiteral("application/octet-stream")
                                                  : mediaType);
    DriveEntry entry = m_store.newEntry(
            metadata.value(QStringLiteral("name")).toString(QStringLiteral("Untitled")), type,
            MyDriveRootId);
    if (const auto refused = placeNew(entry, metadata))
        return *refused;
    if (!entry.hasContent())
        return DriveError::badRequest(QStringLiteral("This type of file cannot hold content."));
    entry.setContent(content, checksum(request, contentStart, content));
    return store(std::move(entry), request);
}

HttpResponse DriveService::uploadUpdate(HttpRequest &request, const QString &id)
{
    if (request.digest)
        request.digest->stop();
    const DriveEntry *existing = m_store.find(id);
    if (!existing)
        return DriveError::notFound(id);
    if (!existing->hasContent())
        return DriveError::badRequest(QStringLiteral("This type of file cannot hold content."));

    const QString uploadType = request.queryValue(QStringLiteral("uploadType"));
    DriveEntry entry = *existing;
    QByteArray content;
    qsizetype contentStart = 0;
    if (uploadType == QLatin1String("multipart")) {
        MultipartBody body;
        if (request.mediaType() != "multipart/related"
            || !body.parse(std::move(request.body), request.contentTypeParameter("boundary")))
            return DriveError::badRequest(QStringLiteral("Malformed multipart body: ")
                                          + body.errorString());
        QJsonObject metadata;
        if (const auto invalid = readMetadata(body.metadata().body, &metadata))
            return *invalid;
        if (const auto refused = applyMetadata(entry, metadata, request))
            return *refused;
        content = body.media().body;
        contentStart = body.mediaOffset();
    } else if (uploadType == QLatin1String("media")) {
        content = std::move(request.body);
        ++entry.version;
        entry.modifiedTime = QDateTime::currentDateTimeUtc();
    } else {
        return DriveError::invalidValue(QStringLiteral("uploadType"));
    }
    entry.setContent(content, checksum(request, contentStart, content));
    return store(std::move(entry), request);
}
