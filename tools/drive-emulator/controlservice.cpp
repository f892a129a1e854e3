// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "controlservice.h"

#include "drivestore.h"
#include "faultinjector.h"
#include "oauthservice.h"
#include "requestlog.h"
#include "tokenregistry.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <optional>

namespace {
HttpResponse badRequest(const QString &why)
{
    return HttpResponse::json(400, { { QStringLiteral("error"), why } });
}

// The objects of a JSON body: an object, an array of them, or {"<listKey>": [...]}; none when
// the body is not JSON. An empty body is an empty object.
std::optional<QList<QJsonObject>> objectsOf(const QByteArray &body, const QString &listKey)
{
    QJsonParseError error;
    const QJsonDocument document =
            QJsonDocument::fromJson(body.trimmed().isEmpty() ? "{}" : body, &error);
    if (error.error != QJsonParseError::NoError)
        return std::nullopt;
    const QJsonObject object = document.object();
    const QJsonArray array = document.isArray() ? document.array()
            : object.contains(listKey)          ? object.value(listKey).toArray()
                                                : QJsonArray { object };
    QList<QJsonObject> objects;
    for (const QJsonValue &value : array)
        objects.append(value.toObject());
    return objects;
}
} // namespace

ControlService::ControlService(const Parts &parts) : m_parts(parts) { }

HttpResponse ControlService::requests(const HttpRequest &request) const
{
    const int since = request.query.value(QStringLiteral("since")).toInt();
    return HttpResponse::json(200,
                              { { QStringLiteral("requests"), m_parts.log.toJson(since) },
                                { QStringLiteral("next"), m_parts.log.next() } });
}

HttpResponse ControlService::requestBody(const QString &index) const
{
    HttpResponse response;
    if (!m_parts.log.body(index.toInt(), &response.body))
        return HttpResponse::json(
                404,
                { { QStringLiteral("error"),
                    QStringLiteral("no such request, or its body was not kept") } });
    response.setHeader("Content-Type", "application/octet-stream");
    return response;
}

HttpResponse ControlService::addFaults(const QByteArray &body)
{
    const auto objects = objectsOf(body, QStringLiteral("faults"));
    if (!objects)
        return badRequest(QStringLiteral("the body is not JSON"));
    QList<FaultRule> rules;
    for (const QJsonObject &object : *objects) {
        QString error;
        const auto rule = FaultRule::fromJson(object, &error);
        if (!rule)
            return badRequest(error);
        rules.append(*rule);
    }
    for (const FaultRule &rule : rules)
        m_parts.faults.add(rule);
    return HttpResponse::json(200, { { QStringLiteral("faults"), m_parts.faults.rules() } });
}

HttpResponse ControlService::seedFiles(const QByteArray &body)
{
    const auto descriptions = objectsOf(body, QStringLiteral("files"));
    if (!descriptions)
        return badRequest(QStringLiteral("the body is not JSON"));
    QJsonArray created;
    for (const QJsonObject &description : *descriptions) {
        QString error;
        const auto resource = seedOne(description, &error);
        if (!resource)
            return badRequest(error);
        created.append(*resource);
    }
    return HttpResponse::json(200, { { QStringLiteral("files"), created } });
}

// The folder that the path's segments name below the application-data folder, made where
// missing; the first folder of a name wins, as it does for clients.
QString ControlService::folderFor(const QStringList &segments, QString *error)
{
    QString parentId = AppDataFolderId;
    for (const QString &segment : segments) {
        QString found;
        for (const DriveEntry *entry : m_parts.store.entries()) {
            if (entry->isFolder() && !entry->trashed && entry->name == segment
                && entry->parents.contains(parentId)) {
                found = entry->id;
                break;
            }
        }
        if (found.isEmpty()) {
            const DriveEntry *made =
                    m_parts.store.put(m_parts.store.newEntry(segment, FolderMimeType, parentId));
            if (!made) {
                *error = QStringLiteral("cannot store %1").arg(segment);
                return QString();
            }
            found = made->id;
        }
        parentId = found;
    }
    return parentId;
}

std::optional<QJsonObject> ControlService::seedOne(const QJsonObject &description, QString *error)
{
    QStringList segments = description.value(QStringLiteral("path"))
                                   .toString()
                                   .split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (segments.isEmpty()) {
        *error = QStringLiteral("a path such as /folder/name is needed");
        return std::nullopt;
    }
    const QString name = segments.takeLast();
    const QString parentId = folderFor(segments, error);
    if (parentId.isEmpty())
        return std::nullopt;

    const bool folder = description.value(QStringLiteral("folder")).toBool();
    const QString type =
            description.value(QStringLiteral("mimeType"))
                    .toString(folder ? FolderMimeType : QStringLiteral("application/octet-stream"));
    DriveEntry entry = m_parts.store.newEntry(name, type, parentId);
    if (entry.hasContent())
        entry.setContent(
                description.contains(QStringLiteral("text"))
                        ? description.value(QStringLiteral("text")).toString().toUtf8()
                        : QByteArray::fromBase64(description.value(QStringLiteral("content"))
                                                         .toString()
                                                         .toLatin1()));
    // Tests can make the service report a checksum or a size other than the content's.
    if (description.contains(QStringLiteral("md5Checksum")))
        entry.md5Checksum = description.value(QStringLiteral("md5Checksum")).toString();
    if (description.contains(QStringLiteral("size")))
        entry.reportedSize = qint64(description.value(QStringLiteral("size")).toDouble());
    entry.trashed = entry.explicitlyTrashed = description.value(QStringLiteral("trashed")).toBool();
    const DriveEntry *stored = m_parts.store.put(entry);
    if (!stored) {
        *error = QStringLiteral("cannot store %1").arg(name);
        return std::nullopt;
    }
    QJsonObject resource = stored->resource();
    resource.insert(QStringLiteral("path"), pathOf(*stored));
    return resource;
}

QString ControlService::pathOf(const DriveEntry &entry) const
{
    QStringList names { entry.name };
    const DriveEntry *current = &entry;
    while (!current->parents.isEmpty()) {
        current = m_parts.store.find(current->parents.first());
        if (!current || m_parts.store.isRoot(current->id))
            break;
        names.prepend(current->name);
    }
    return QLatin1Char('/') + names.join(QLatin1Char('/'));
}

HttpResponse ControlService::listFiles() const
{
    QJsonArray files;
    for (const DriveEntry *entry : m_parts.store.entries()) {
        QJsonObject resource = entry->resource();
        resource.insert(QStringLiteral("path"), pathOf(*entry));
        files.append(resource);
    }
    return HttpResponse::json(200, { { QStringLiteral("files"), files } });
}

HttpResponse ControlService::fileContent(const QString &id) const
{
    const DriveEntry *entry = m_parts.store.find(id);
    if (!entry)
        return HttpResponse::json(404,
                                  { { QStringLiteral("error"), QStringLiteral("no such file") } });
    HttpResponse response;
    response.setHeader("Content-Type", "application/octet-stream");
    response.body = entry->content;
    return response;
}

HttpResponse ControlService::issueTokens()
{
    const TokenRegistry::Grant grant = m_parts.tokens.issueTokens(
            m_parts.clientId, QStringLiteral("https://www.googleapis.com/auth/drive.appfolder"));
    return HttpResponse::json(200,
                              { { QStringLiteral("access_token"), grant.accessToken },
                                { QStringLiteral("refresh_token"), grant.refreshToken },
                                { QStringLiteral("expires_in"), grant.expiresIn } });
}

HttpResponse ControlService::settings(const QByteArray &body)
{
    const auto objects = objectsOf(body, QString());
    if (!objects || objects->size() != 1)
        return badRequest(QStringLiteral("the body is not a JSON object"));
    const QJsonObject description = objects->first();
    if (description.contains(QStringLiteral("tokenTtl")))
        m_parts.tokens.setAccessTokenLifetime(
                description.value(QStringLiteral("tokenTtl")).toInt());
    if (description.contains(QStringLiteral("autoApprove")))
        m_parts.oauth.setAutoApprove(description.value(QStringLiteral("autoApprove")).toBool());
    if (description.contains(QStringLiteral("logBodies")))
        m_parts.log.setBodyLimit(qint64(description.value(QStringLiteral("logBodies")).toDouble()));
    return HttpResponse::json(
            200,
            { { QStringLiteral("tokenTtl"), m_parts.tokens.accessTokenLifetime() },
              { QStringLiteral("autoApprove"), m_parts.oauth.autoApprove() },
              { QStringLiteral("logBodies"), double(m_parts.log.bodyLimit()) } });
}

void ControlService::reset()
{
    m_parts.store.clear();
    m_parts.tokens.clear();
    m_parts.log.clear();
    m_parts.faults.clear();
}
