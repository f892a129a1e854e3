// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "driveservice.h"

#include "drivequery.h"
#include "drivestore.h"
#include "fieldselection.h"
#include "multipartbody.h"
#include "serviceerror.h"
#include "tokenregistry.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>

namespace {
constexpr int DefaultPageSize = 100;
constexpr int MaxPageSize = 1000;

const QStringList DefaultFileKeys { QStringLiteral("kind"), QStringLiteral("id"),
                                    QStringLiteral("name"), QStringLiteral("mimeType") };
const QStringList ListKeys { QStringLiteral("kind"), QStringLiteral("incompleteSearch"),
                             QStringLiteral("files"), QStringLiteral("nextPageToken") };
// What an update may change; the rest of the resource is the service's.
const QStringList WritableKeys { QStringLiteral("name"), QStringLiteral("mimeType"),
                                 QStringLiteral("trashed"), QStringLiteral("modifiedTime") };

// The keys a selection may name: those of the resource the emulator gives.
const QStringList &fileKeys()
{
    static const QStringList keys = [] {
        DriveEntry file;
        file.md5Checksum = QStringLiteral("0");
        return file.resource().keys();
    }();
    return keys;
}

QJsonObject brief(const QJsonObject &resource)
{
    QJsonObject answer;
    for (const QString &key : DefaultFileKeys)
        answer.insert(key, resource.value(key));
    return answer;
}

// Refuses a "fields" that names a key the answer cannot hold.
std::optional<HttpResponse> checkFields(const HttpRequest &request, bool list)
{
    const QString text = request.queryValue(QStringLiteral("fields"));
    const std::optional<FieldSelection> fields = FieldSelection::parse(text);
    if (!fields)
        return DriveError::invalidFields(text);
    for (const QString &key : fields->keys()) {
        if (!(list ? ListKeys : fileKeys()).contains(key))
            return DriveError::invalidFields(key);
    }
    for (const QString &key :
         list ? fields->child(QStringLiteral("files")).keys() : QStringList()) {
        if (!fileKeys().contains(key))
            return DriveError::invalidFields(key);
    }
    return std::nullopt;
}

FieldSelection fieldsOf(const HttpRequest &request)
{
    return FieldSelection::parse(request.queryValue(QStringLiteral("fields")))
            .value_or(FieldSelection());
}

HttpResponse fileAnswer(const HttpRequest &request, const DriveEntry &entry)
{
    const FieldSelection fields = fieldsOf(request);
    const QJsonObject resource = entry.resource();
    return HttpResponse::json(200, fields.isGiven() ? fields.apply(resource) : brief(resource));
}

std::optional<HttpResponse> readMetadata(const QByteArray &body, QJsonObject *metadata)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (!body.trimmed().isEmpty()
        && (error.error != QJsonParseError::NoError || !document.isObject()))
        return DriveError::make(DriveError::ParseError);
    *metadata = document.object();
    return std::nullopt;
}

// A page token is opaque to clients; it holds the offset of the page and what the listing was
// asked, which the next request must ask again.
QString listingBasis(const HttpRequest &request)
{
    return request.queryValue(QStringLiteral("q")) + QLatin1Char('\n')
            + request.queryValue(QStringLiteral("spaces")) + QLatin1Char('\n')
            + request.queryValue(QStringLiteral("orderBy"));
}

QString pageToken(int offset, const QString &basis)
{
    return QString::fromLatin1(
            (QByteArray::number(offset) + '\n' + basis.toUtf8())
                    .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

int pageOffset(const QString &token, const QString &basis)
{
    const QByteArray text = QByteArray::fromBase64(token.toLatin1(), QByteArray::Base64UrlEncoding);
    const qsizetype newline = text.indexOf('\n');
    bool ok = false;
    const int offset = text.left(newline).toInt(&ok);
    return ok && offset >= 0 && QString::fromUtf8(text.mid(newline + 1)) == basis ? offset : -1;
}

// orderBy: comma-separated keys, each optionally followed by " desc".
bool sortEntries(QList<const DriveEntry *> &entries, const QString &orderBy)
{
    QList<QPair<QString, bool>> keys; // name, descending
    for (const QString &part : orderBy.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QStringList words = part.simplified().split(QLatin1Char(' '));
        static const QStringList known { QStringLiteral("folder"), QStringLiteral("modifiedTime"),
                                         QStringLiteral("name") };
        if (!known.contains(words.first()) || words.size() > 2
            || (words.size() == 2 && words.at(1) != QLatin1String("desc")))
            return false;
        keys.append({ words.first(), words.size() == 2 });
    }
    auto compare = [](const QString &key, const DriveEntry *a, const DriveEntry *b) {
        if (key == QLatin1String("folder"))
            return int(b->isFolder()) - int(a->isFolder());
        if (key == QLatin1String("modifiedTime"))
            return a->modifiedTime < b->modifiedTime ? -1 : int(b->modifiedTime < a->modifiedTime);
        return a->name.compare(b->name, Qt::CaseInsensitive);
    };
    std::stable_sort(entries.begin(), entries.end(), [&](const DriveEntry *a, const DriveEntry *b) {
        for (const auto &key : keys) {
            if (const int order = compare(key.first, a, b))
                return key.second ? order > 0 : order < 0;
        }
        return false;
    });
    return true;
}

// "bytes=first-last", "bytes=first-" or "bytes=-suffix" against a length.
bool parseRange(const QByteArray &header, qint64 length, qint64 *first, qint64 *last)
{
    static const QRegularExpression range(QStringLiteral("^bytes=(\\d*)-(\\d*)$"));
    const QRegularExpressionMatch match = range.match(QString::fromLatin1(header.trimmed()));
    const QString from = match.captured(1);
    const QString to = match.captured(2);
    if (!match.hasMatch() || (from.isEmpty() && to.isEmpty()))
        return false;
    *first = from.isEmpty() ? qMax<qint64>(0, length - to.toLongLong()) : from.toLongLong();
    *last = from.isEmpty() || to.isEmpty() ? length - 1 : qMin(to.toLongLong(), length - 1);
    return *first <= *last && (!from.isEmpty() || to.toLongLong() > 0);
}
} // namespace

// What an upload carries, as one reader finds it in a media or a multipart body.
struct DriveService::Upload
{
    QJsonObject metadata;
    QByteArray content;
    QByteArray mediaType;
    QString md5;
};

DriveService::DriveService(DriveStore &store, TokenRegistry &tokens)
    : m_store(store), m_tokens(tokens)
{
}

std::optional<HttpResponse> DriveService::admit(const HttpRequest &request) const
{
    const QByteArray authorization = request.header("Authorization");
    if (authorization.isEmpty())
        return DriveError::loginRequired();
    if (authorization.left(7).compare("Bearer ", Qt::CaseInsensitive) != 0
        || !m_tokens.isValidAccessToken(QString::fromUtf8(authorization.mid(7).trimmed())))
        return DriveError::invalidCredentials();
    const QString alt = request.queryValue(QStringLiteral("alt"));
    if (!alt.isEmpty() && alt != QLatin1String("json") && alt != QLatin1String("media"))
        return DriveError::invalidValue(QStringLiteral("alt"));
    return checkFields(request, request.method == "GET" && request.path == "/drive/v3/files");
}

HttpResponse DriveService::list(const HttpRequest &request, bool shortPage)
{
    QStringList spaces { DriveSpace };
    if (request.hasQueryItem(QStringLiteral("spaces"))) {
        spaces = request.queryValue(QStringLiteral("spaces")).split(QLatin1Char(','));
        for (QString &space : spaces) {
            space = space.trimmed();
            if (space != DriveSpace && space != AppDataSpace)
                return DriveError::invalidValue(QStringLiteral("spaces"));
        }
    }
    const DriveQuery query = DriveQuery::parse(request.queryValue(QStringLiteral("q")));
    if (!query.isValid())
        return DriveError::invalidValue(QStringLiteral("q"));
    bool ok = true;
    const int pageSize = request.hasQueryItem(QStringLiteral("pageSize"))
            ? request.queryValue(QStringLiteral("pageSize")).toInt(&ok)
            : DefaultPageSize;
    if (!ok || pageSize < 1 || pageSize > MaxPageSize)
        return DriveError::invalidValue(QStringLiteral("pageSize"));
    const QString basis = listingBasis(request);
    const int offset = request.hasQueryItem(QStringLiteral("pageToken"))
            ? pageOffset(request.queryValue(QStringLiteral("pageToken")), basis)
            : 0;
    if (offset < 0)
        return DriveError::invalidValue(QStringLiteral("pageToken"));

    QList<const DriveEntry *> matching;
    for (const DriveEntry *entry : m_store.entries()) {
        if (spaces.contains(entry->space) && query.matches(*entry))
            matching.append(entry);
    }
    if (!sortEntries(matching, request.queryValue(QStringLiteral("orderBy"))))
        return DriveError::invalidValue(QStringLiteral("orderBy"));

    const FieldSelection fields = fieldsOf(request);
    int end = qMin<int>(matching.size(), offset + pageSize);
    if (shortPage)
        end = offset + (end - offset) / 2;
    QJsonArray files;
    for (int i = offset; i < end; ++i) {
        const QJsonObject resource = matching.at(i)->resource();
        files.append(fields.isGiven() ? resource : brief(resource));
    }
    QJsonObject answer { { QStringLiteral("kind"), QStringLiteral("drive#fileList") },
                         { QStringLiteral("incompleteSearch"), false },
                         { QStringLiteral("files"), files } };
    if (end < matching.size())
        answer.insert(QStringLiteral("nextPageToken"), pageToken(end, basis));
    return HttpResponse::json(200, fields.apply(answer));
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

HttpResponse DriveService::media(const HttpRequest &request, const DriveEntry &entry) const
{
    if (!entry.hasContent())
        return DriveError::make(DriveError::FileNotDownloadable);
    HttpResponse response;
    response.setHeader("Content-Type", entry.mimeType.toUtf8());
    const QByteArray range = request.header("Range");
    if (range.isEmpty()) {
        response.body = entry.content;
        return response;
    }
    qint64 first = 0;
    qint64 last = 0;
    const QByteArray length = QByteArray::number(entry.content.size());
    if (!parseRange(range, entry.content.size(), &first, &last)) {
        HttpResponse refused = HttpResponse::empty(416);
        refused.setHeader("Content-Range", "bytes */" + length);
        return refused;
    }
    response.status = 206;
    response.setHeader("Content-Range",
                       "bytes " + QByteArray::number(first) + '-' + QByteArray::number(last) + '/'
                               + length);
    response.body = entry.content.mid(first, last - first + 1);
    return response;
}

// Where a new entry goes: its single parent, which must be a folder; the user's own root when
// none is named.
std::optional<HttpResponse> DriveService::placeNew(DriveEntry &entry,
                                                   const QJsonObject &metadata) const
{
    const QJsonArray parents = metadata.value(QStringLiteral("parents")).toArray();
    if (parents.size() > 1)
        return DriveError::make(DriveError::CannotAddParent);
    const QString parentId = parents.isEmpty() ? MyDriveRootId : parents.at(0).toString();
    const DriveEntry *parent = m_store.find(parentId);
    if (!parent)
        return DriveError::notFound(parentId);
    if (!parent->isFolder())
        return DriveError::badRequest(QStringLiteral("The specified parent is not a folder."));
    entry.parents = QStringList(parent->id);
    entry.space = parent->space;
    if (entry.space == AppDataSpace && entry.isGoogleType() && !entry.isFolder())
        return DriveError::make(DriveError::AppDataOnly);
    return std::nullopt;
}

std::optional<HttpResponse> DriveService::applyMetadata(DriveEntry &entry,
                                                        const QJsonObject &metadata,
                                                        const HttpRequest &request) const
{
    for (const QString &key : metadata.keys()) {
        if (!WritableKeys.contains(key))
            return DriveError::make(key == QLatin1String("parents") ? DriveError::ParentsNotWritable
                                                                    : DriveError::FieldNotWritable);
    }
    const QJsonValue trashed = metadata.value(QStringLiteral("trashed"));
    if (trashed.toBool() && entry.space == AppDataSpace)
        return DriveError::make(DriveError::NotTrashable);
    entry.name = metadata.value(QStringLiteral("name")).toString(entry.name);
    const QString type = metadata.value(QStringLiteral("mimeType")).toString(entry.mimeType);
    if (entry.isFolder() != (type == FolderMimeType))
        return DriveError::badRequest(QStringLiteral("A folder cannot change its type."));
    entry.mimeType = type;
    if (!trashed.isUndefined())
        entry.trashed = entry.explicitlyTrashed = trashed.toBool();
    entry.modifiedTime = QDateTime::currentDateTimeUtc();
    if (metadata.contains(QStringLiteral("modifiedTime"))) {
        entry.modifiedTime = QDateTime::fromString(
                metadata.value(QStringLiteral("modifiedTime")).toString(), Qt::ISODateWithMs);
        if (!entry.modifiedTime.isValid())
            return DriveError::invalidValue(QStringLiteral("modifiedTime"));
    }

    // Moves: removeParents, then addParents; one parent in the end, in the same space, no cycles.
    QStringList parents = entry.parents;
    for (const QString &id : request.queryValue(QStringLiteral("removeParents"))
                                     .split(QLatin1Char(','), Qt::SkipEmptyParts))
        parents.removeAll(id.trimmed());
    for (const QString &id : request.queryValue(QStringLiteral("addParents"))
                                     .split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const DriveEntry *parent = m_store.find(id.trimmed());
        if (!parent)
            return DriveError::notFound(id.trimmed());
        if (!parent->isFolder())
            return DriveError::badRequest(QStringLiteral("The specified parent is not a folder."));
        if (parent->space != entry.space)
            return DriveError::make(DriveError::AppDataOnly);
        if (m_store.subtree(entry.id).contains(parent->id))
            return DriveError::badRequest(QStringLiteral("A folder cannot be moved into itself."));
        if (!parents.contains(parent->id))
            parents.append(parent->id);
    }
    if (parents.size() != 1)
        return DriveError::make(DriveError::CannotAddParent);
    entry.parents = parents;
    ++entry.version;
    return std::nullopt;
}

HttpResponse DriveService::store(DriveEntry entry, const HttpRequest &request)
{
    const QString id = entry.id;
    if (!m_store.put(std::move(entry)))
        return DriveError::make(DriveError::NotSaved);
    return fileAnswer(request, *m_store.find(id));
}

HttpResponse DriveService::create(const HttpRequest &request)
{
    QJsonObject metadata;
    if (const auto refused = readMetadata(request.body, &metadata))
        return *refused;
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
    if (!existing)
        return DriveError::notFound(id);
    if (m_store.isRoot(id))
        return DriveError::make(DriveError::InsufficientFilePermissions);
    QJsonObject metadata;
    if (const auto refused = readMetadata(request.body, &metadata))
        return *refused;
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
        return DriveError::make(DriveError::InsufficientFilePermissions);
    if (!m_store.remove(m_store.subtree(id)))
        return DriveError::make(DriveError::NotSaved);
    return HttpResponse::empty(204);
}

HttpResponse DriveService::copy(const HttpRequest &request, const QString &id)
{
    const DriveEntry *source = m_store.find(id);
    if (!source)
        return DriveError::notFound(id);
    if (source->isFolder())
        return DriveError::make(DriveError::CannotCopyFile);
    QJsonObject metadata;
    if (const auto refused = readMetadata(request.body, &metadata))
        return *refused;
    DriveEntry entry =
            m_store.newEntry(metadata.value(QStringLiteral("name"))
                                     .toString(QStringLiteral("Copy of ") + source->name),
                             source->mimeType, MyDriveRootId);
    if (!metadata.contains(QStringLiteral("parents")))
        metadata.insert(QStringLiteral("parents"), QJsonArray { source->parents.value(0) });
    if (const auto refused = placeNew(entry, metadata))
        return *refused;
    entry.setContent(source->content, entry.isGoogleType() ? QString() : source->blob);
    entry.blob = source->blob;
    return store(std::move(entry), request);
}

// The one reader of upload bodies, for creations and replacements alike.
std::optional<HttpResponse> DriveService::readUpload(HttpRequest &request, Upload *upload) const
{
    const QString uploadType = request.queryValue(QStringLiteral("uploadType"));
    qsizetype start = 0;
    if (uploadType == QLatin1String("media")) {
        upload->mediaType = request.header("Content-Type");
        upload->content = std::move(request.body);
    } else if (uploadType == QLatin1String("multipart")) {
        if (request.mediaType() != "multipart/related")
            return DriveError::badContent(request.mediaType());
        MultipartBody body;
        if (!body.parse(std::move(request.body), request.contentTypeParameter("boundary")))
            return DriveError::badRequest(QStringLiteral("Malformed multipart body: ")
                                          + body.errorString());
        if (const auto refused = readMetadata(body.metadata().body, &upload->metadata))
            return refused;
        upload->mediaType = body.media().header("Content-Type");
        upload->content = body.media().body;
        start = body.mediaOffset();
    } else {
        return DriveError::invalidValue(QStringLiteral("uploadType"));
    }
    upload->md5 = request.md5(start, upload->content);
    return std::nullopt;
}

HttpResponse DriveService::upload(HttpRequest &request, const QString &id)
{
    const DriveEntry *existing = id.isNull() ? nullptr : m_store.find(id);
    if (!id.isNull() && !existing)
        return DriveError::notFound(id);
    Upload upload;
    if (const auto refused = readUpload(request, &upload))
        return *refused;
    DriveEntry entry;
    if (existing) {
        entry = *existing;
        if (const auto refused = applyMetadata(entry, upload.metadata, request))
            return *refused;
    } else {
        const QString mediaType = upload.mediaType.isEmpty()
                ? QStringLiteral("application/octet-stream")
                : QString::fromUtf8(upload.mediaType);
        entry = m_store.newEntry(
                upload.metadata.value(QStringLiteral("name")).toString(QStringLiteral("Untitled")),
                upload.metadata.value(QStringLiteral("mimeType")).toString(mediaType),
                MyDriveRootId);
        if (const auto refused = placeNew(entry, upload.metadata))
            return *refused;
    }
    if (!entry.hasContent())
        return DriveError::badRequest(QStringLiteral("This type of file cannot hold content."));
    entry.setContent(upload.content, upload.md5);
    return store(std::move(entry), request);
}
