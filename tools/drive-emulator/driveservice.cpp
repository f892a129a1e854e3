// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "driveservice.h"

#include "drivequery.h"
#include "drivestore.h"
#include "fieldselection.h"
#include "multipartbody.h"
#include "oauthservice.h"
#include "serviceerror.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>

using namespace DriveError;

namespace {
constexpr int DefaultPageSize = 100;
constexpr int MaxPageSize = 1000;

// What an update may change; the rest of the resource is the service's.
const QStringList WritableKeys { QStringLiteral("name"), QStringLiteral("mimeType"),
                                 QStringLiteral("trashed"), QStringLiteral("modifiedTime") };

// What an upload carries, as one reader finds it in a media or a multipart body.
struct Upload
{
    QJsonObject metadata;
    QByteArray content;
    QString mediaType;
};

bool isListing(const HttpRequest &request)
{
    return request.method == "GET" && request.path == "/drive/v3/files";
}

// The selection that "fields" makes, or the service's default one.
FieldSelection fieldsOf(const HttpRequest &request)
{
    const QString text = request.query.value(QStringLiteral("fields"));
    const QString usual = isListing(request)
            ? QStringLiteral("kind,incompleteSearch,nextPageToken,files(kind,id,name,mimeType)")
            : QStringLiteral("kind,id,name,mimeType");
    return FieldSelection::parse(text.isEmpty() ? usual : text).value_or(FieldSelection());
}

// Refuses a "fields" that names a key the answer cannot hold.
std::optional<HttpResponse> checkFields(const HttpRequest &request)
{
    const QString text = request.query.value(QStringLiteral("fields"));
    if (text.isEmpty())
        return std::nullopt;
    DriveEntry file;
    file.md5Checksum = QStringLiteral("0");
    const QJsonObject listing { { QStringLiteral("kind"), QString() },
                                { QStringLiteral("incompleteSearch"), false },
                                { QStringLiteral("files"), QJsonArray { file.resource() } },
                                { QStringLiteral("nextPageToken"), QString() } };
    const std::optional<FieldSelection> fields = FieldSelection::parse(text);
    const QString unknown =
            fields ? fields->unknownIn(isListing(request) ? listing : file.resource()) : text;
    return unknown.isNull() ? std::nullopt : std::optional(make(InvalidFields, unknown));
}

HttpResponse fileAnswer(const HttpRequest &request, const DriveEntry &entry)
{
    return HttpResponse::json(200, fieldsOf(request).apply(entry.resource()));
}

std::optional<HttpResponse> readMetadata(const QByteArray &body, QJsonObject *metadata)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (!body.trimmed().isEmpty()
        && (error.error != QJsonParseError::NoError || !document.isObject()))
        return make(ParseError);
    *metadata = document.object();
    return std::nullopt;
}

// The one reader of upload bodies, for creations and replacements alike.
std::optional<HttpResponse> readUpload(HttpRequest &request, Upload *upload)
{
    const QString uploadType = request.query.value(QStringLiteral("uploadType"));
    QByteArray mediaType = request.header("Content-Type");
    if (uploadType == QLatin1String("media")) {
        upload->content = std::move(request.body);
    } else if (uploadType == QLatin1String("multipart")) {
        if (request.mediaType() != "multipart/related")
            return make(BadContent, QString::fromUtf8(request.mediaType()));
        MultipartBody body;
        if (!body.parse(std::move(request.body), request.contentTypeParameter("boundary")))
            return make(MalformedMultipart, body.errorString());
        if (const auto refused = readMetadata(body.metadata().body, &upload->metadata))
            return refused;
        mediaType = body.media().header("Content-Type");
        upload->content = body.media().body;
    } else {
        return make(InvalidValue, QStringLiteral("uploadType"));
    }
    upload->mediaType = mediaType.isEmpty() ? QStringLiteral("application/octet-stream")
                                            : QString::fromUtf8(mediaType);
    return std::nullopt;
}

// A page token is opaque to clients: what the listing was asked, which the next request must ask
// again, then where the page begins.
QByteArray listingBasis(const HttpRequest &request)
{
    return (request.query.value(QStringLiteral("q")) + QLatin1Char('\n')
            + request.query.value(QStringLiteral("spaces")) + QLatin1Char('\n')
            + request.query.value(QStringLiteral("orderBy")) + QLatin1Char('\n'))
            .toUtf8();
}

QString pageToken(int offset, const HttpRequest &request)
{
    return QString::fromLatin1(
            (listingBasis(request) + QByteArray::number(offset))
                    .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

// Where the page asked begins: 0 without a token, -1 for a token of another listing.
int pageOffset(const HttpRequest &request)
{
    const QByteArray token = request.query.value(QStringLiteral("pageToken")).toLatin1();
    const QByteArray text = QByteArray::fromBase64(token, QByteArray::Base64UrlEncoding);
    const QByteArray basis = listingBasis(request);
    bool ok = false;
    const int offset = text.mid(basis.size()).toInt(&ok);
    return token.isEmpty() ? 0 : ok && offset >= 0 && text.startsWith(basis) ? offset : -1;
}

// orderBy: comma-separated keys, each optionally followed by " desc".
bool sortEntries(QList<const DriveEntry *> &entries, const QString &orderBy)
{
    static const QRegularExpression known(
            QStringLiteral("^\\s*(folder|modifiedTime|name)(\\s+desc)?\\s*$"));
    QList<QPair<QString, bool>> keys; // name, descending
    for (const QString &part : orderBy.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QRegularExpressionMatch match = known.match(part);
        if (!match.hasMatch())
            return false;
        keys.append({ match.captured(1), match.hasCaptured(2) });
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

// The content, or the part of it that a Range header asks: "bytes=first-last", "bytes=first-"
// or "bytes=-suffix".
HttpResponse media(const HttpRequest &request, const DriveEntry &entry)
{
    HttpResponse response = HttpResponse::make(200, entry.mimeType.toUtf8(), entry.content);
    const QByteArray range = request.header("Range");
    if (range.isEmpty())
        return response;
    static const QRegularExpression bytes(QStringLiteral("^bytes=(\\d*)-(\\d*)$"));
    const QRegularExpressionMatch match = bytes.match(QString::fromLatin1(range.trimmed()));
    const QString from = match.captured(1);
    const qint64 to = match.captured(2).toLongLong();
    const qint64 length = entry.content.size();
    const qint64 first = from.isEmpty() ? qMax<qint64>(0, length - to) : from.toLongLong();
    const qint64 last =
            from.isEmpty() || match.captured(2).isEmpty() ? length - 1 : qMin(to, length - 1);
    if (!match.hasMatch() || first > last || (from.isEmpty() && to <= 0)) {
        HttpResponse refused = HttpResponse::make(416);
        refused.setHeader("Content-Range", "bytes */" + QByteArray::number(length));
        return refused;
    }
    response.status = 206;
    response.setHeader("Content-Range",
                       "bytes " + QByteArray::number(first) + '-' + QByteArray::number(last) + '/'
                               + QByteArray::number(length));
    response.body = entry.content.mid(first, last - first + 1);
    return response;
}
} // namespace

DriveService::DriveService(DriveStore &store, const OAuthService &oauth)
    : m_store(store), m_oauth(oauth)
{
}

std::optional<HttpResponse> DriveService::admit(const HttpRequest &request) const
{
    const QByteArray authorization = request.header("Authorization");
    if (authorization.isEmpty())
        return make(LoginRequired);
    if (authorization.left(7).compare("Bearer ", Qt::CaseInsensitive) != 0
        || !m_oauth.isValidAccessToken(QString::fromUtf8(authorization.mid(7).trimmed())))
        return make(InvalidCredentials);
    const QString alt = request.query.value(QStringLiteral("alt"));
    if (!alt.isEmpty() && alt != QLatin1String("json") && alt != QLatin1String("media"))
        return make(InvalidValue, QStringLiteral("alt"));
    return checkFields(request);
}

HttpResponse DriveService::list(const HttpRequest &request, bool shortPage)
{
    QStringList spaces;
    for (const QString &space :
         request.query.value(QStringLiteral("spaces"), DriveSpace).split(QLatin1Char(','))) {
        spaces.append(space.trimmed());
        if (spaces.last() != DriveSpace && spaces.last() != AppDataSpace)
            return make(InvalidValue, QStringLiteral("spaces"));
    }
    const DriveQuery query = DriveQuery::parse(request.query.value(QStringLiteral("q")));
    if (!query.isValid())
        return make(InvalidValue, QStringLiteral("q"));
    bool ok = false;
    const int pageSize =
            request.query.value(QStringLiteral("pageSize"), QString::number(DefaultPageSize))
                    .toInt(&ok);
    if (!ok || pageSize < 1 || pageSize > MaxPageSize)
        return make(InvalidValue, QStringLiteral("pageSize"));
    const int offset = pageOffset(request);
    if (offset < 0)
        return make(InvalidValue, QStringLiteral("pageToken"));

    QList<const DriveEntry *> matching;
    for (const DriveEntry *entry : m_store.entries()) {
        if (spaces.contains(entry->space) && query.matches(*entry))
            matching.append(entry);
    }
    if (!sortEntries(matching, request.query.value(QStringLiteral("orderBy"))))
        return make(InvalidValue, QStringLiteral("orderBy"));

    int end = qMin<int>(matching.size(), offset + pageSize);
    if (shortPage)
        end = offset + (end - offset) / 2;
    QJsonArray files;
    for (int i = offset; i < end; ++i)
        files.append(matching.at(i)->resource());
    QJsonObject answer { { QStringLiteral("kind"), QStringLiteral("drive#fileList") },
                         { QStringLiteral("incompleteSearch"), false },
                         { QStringLiteral("files"), files } };
    if (end < matching.size())
        answer.insert(QStringLiteral("nextPageToken"), pageToken(end, request));
    return HttpResponse::json(200, fieldsOf(request).apply(answer));
}

HttpResponse DriveService::get(const HttpRequest &request, const QString &id)
{
    const DriveEntry *entry = m_store.find(id);
    if (!entry)
        return make(NotFound, id);
    if (request.query.value(QStringLiteral("alt")) != QLatin1String("media"))
        return fileAnswer(request, *entry);
    if (!entry->hasContent())
        return make(FileNotDownloadable);
    return media(request, *entry);
}

// A new entry as metadata describes it, with this name and type unless it gives its own, in its
// single parent, which must be a folder: the user's own root when none is named.
std::optional<HttpResponse> DriveService::newEntry(const QJsonObject &metadata, const QString &name,
                                                   const QString &mimeType, DriveEntry *entry)
{
    const QJsonArray parents = metadata.value(QStringLiteral("parents")).toArray();
    if (parents.size() > 1)
        return make(CannotAddParent);
    const QString parentId = parents.isEmpty() ? MyDriveRootId : parents.at(0).toString();
    const DriveEntry *parent = m_store.find(parentId);
    if (!parent)
        return make(NotFound, parentId);
    if (!parent->isFolder())
        return make(NotAFolder);
    *entry = m_store.newEntry(metadata.value(QStringLiteral("name")).toString(name),
                              metadata.value(QStringLiteral("mimeType")).toString(mimeType),
                              parentId);
    if (entry->space == AppDataSpace && !entry->hasContent() && !entry->isFolder())
        return make(AppDataOnly);
    return std::nullopt;
}

std::optional<HttpResponse> DriveService::applyMetadata(DriveEntry &entry,
                                                        const QJsonObject &metadata,
                                                        const HttpRequest &request) const
{
    for (const QString &key : metadata.keys()) {
        if (!WritableKeys.contains(key))
            return make(key == QLatin1String("parents") ? ParentsNotWritable : FieldNotWritable);
    }
    const QJsonValue trashed = metadata.value(QStringLiteral("trashed"));
    if (trashed.toBool() && entry.space == AppDataSpace)
        return make(NotTrashable);
    entry.name = metadata.value(QStringLiteral("name")).toString(entry.name);
    const QString type = metadata.value(QStringLiteral("mimeType")).toString(entry.mimeType);
    if (entry.isFolder() != (type == FolderMimeType))
        return make(FolderTypeChanged);
    entry.mimeType = type;
    if (!trashed.isUndefined())
        entry.trashed = entry.explicitlyTrashed = trashed.toBool();
    const QJsonValue time = metadata.value(QStringLiteral("modifiedTime"));
    entry.modifiedTime = time.isUndefined()
            ? QDateTime::currentDateTimeUtc()
            : QDateTime::fromString(time.toString(), Qt::ISODateWithMs);
    if (!entry.modifiedTime.isValid())
        return make(InvalidValue, QStringLiteral("modifiedTime"));

    // Moves: removeParents, then addParents; one parent in the end, in the same space, no cycles.
    QStringList parents = entry.parents;
    for (const QString &id : request.query.value(QStringLiteral("removeParents"))
                                     .split(QLatin1Char(','), Qt::SkipEmptyParts))
        parents.removeAll(id.trimmed());
    for (const QString &id : request.query.value(QStringLiteral("addParents"))
                                     .split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const DriveEntry *parent = m_store.find(id.trimmed());
        if (!parent)
            return make(NotFound, id.trimmed());
        if (!parent->isFolder())
            return make(NotAFolder);
        if (parent->space != entry.space)
            return make(AppDataOnly);
        if (m_store.subtree(entry.id).contains(parent->id))
            return make(MovedIntoItself);
        if (!parents.contains(parent->id))
            parents.append(parent->id);
    }
    if (parents.size() != 1)
        return make(CannotAddParent);
    entry.parents = parents;
    ++entry.version;
    return std::nullopt;
}

HttpResponse DriveService::store(DriveEntry entry, const HttpRequest &request)
{
    const DriveEntry *stored = m_store.put(std::move(entry));
    return stored ? fileAnswer(request, *stored) : make(NotSaved);
}

HttpResponse DriveService::create(const HttpRequest &request)
{
    QJsonObject metadata;
    if (const auto refused = readMetadata(request.body, &metadata))
        return *refused;
    DriveEntry entry;
    if (const auto refused = newEntry(metadata, QStringLiteral("Untitled"),
                                      QStringLiteral("application/octet-stream"), &entry))
        return *refused;
    return store(std::move(entry), request);
}

HttpResponse DriveService::update(const HttpRequest &request, const QString &id)
{
    const DriveEntry *existing = m_store.find(id);
    if (!existing)
        return make(NotFound, id);
    if (m_store.isRoot(id))
        return make(InsufficientFilePermissions);
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
        return make(NotFound, id);
    if (m_store.isRoot(id))
        return make(InsufficientFilePermissions);
    if (!m_store.remove(m_store.subtree(id)))
        return make(NotSaved);
    return HttpResponse::make(204);
}

HttpResponse DriveService::copy(const HttpRequest &request, const QString &id)
{
    const DriveEntry *source = m_store.find(id);
    if (!source)
        return make(NotFound, id);
    if (source->isFolder())
        return make(CannotCopyFile);
    QJsonObject metadata;
    if (const auto refused = readMetadata(request.body, &metadata))
        return *refused;
    metadata.remove(QStringLiteral("mimeType")); // a copy keeps its source's type
    if (!metadata.contains(QStringLiteral("parents")))
        metadata.insert(QStringLiteral("parents"), QJsonArray { source->parents.value(0) });
    DriveEntry entry;
    if (const auto refused = newEntry(metadata, QStringLiteral("Copy of ") + source->name,
                                      source->mimeType, &entry))
        return *refused;
    entry.setContent(source->content, source->blob);
    return store(std::move(entry), request);
}

HttpResponse DriveService::upload(HttpRequest &request, const QString &id)
{
    const DriveEntry *existing = id.isNull() ? nullptr : m_store.find(id);
    if (!id.isNull() && !existing)
        return make(NotFound, id);
    Upload upload;
    if (const auto refused = readUpload(request, &upload))
        return *refused;
    DriveEntry entry = existing ? *existing : DriveEntry();
    if (const auto refused = existing
                ? applyMetadata(entry, upload.metadata, request)
                : newEntry(upload.metadata, QStringLiteral("Untitled"), upload.mediaType, &entry))
        return *refused;
    if (!entry.hasContent())
        return make(CannotHoldContent);
    entry.setContent(upload.content, request.receivedMd5(upload.content));
    return store(std::move(entry), request);
}
