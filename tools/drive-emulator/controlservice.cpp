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

namespace {
HttpResponse refused(int status, const QString &why)
{
    return HttpResponse::json(status, { { QStringLiteral("error"), why } });
}

HttpResponse bytes(const QByteArray &body)
{
    return HttpResponse::make(200, "application/octet-stream", body);
}

// The objects of a JSON body: an object, an array of them, or {"<listKey>": [...]}; none when
// the body is not JSON. An empty body is an empty object.
std::optional<QJsonArray> objectsOf(const QByteArray &body, const QString &listKey)
{
    QJsonParseError error;
    const QJsonDocument document =
            QJsonDocument::fromJson(body.trimmed().isEmpty() ? "{}" : body, &error);
    if (error.error != QJsonParseError::NoError)
        return std::nullopt;
    const QJsonObject object = document.object();
    return document.isArray()          ? document.array()
            : object.contains(listKey) ? object.value(listKey).toArray()
                                       : QJsonArray { object };
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
    const std::optional<QByteArray> body = m_parts.log.body(index.toInt());
    return body ? bytes(*body)
                : refused(404, QStringLiteral("no such request, or its body was not kept"));
}

HttpResponse ControlService::addFaults(const QByteArray &body)
{
    const std::optional<QJsonArray> objects = objectsOf(body, QStringLiteral("faults"));
    if (!objects)
        return refused(400, QStringLiteral("the body is not JSON"));
    QList<FaultRule> rules;
    for (const QJsonValue &object : *objects) {
        QString error;
        const auto rule = FaultRule::fromJson(object.toObject(), &error);
        if (!rule)
            return refused(400, error);
        rules.append(*rule);
    }
    for (const FaultRule &rule : rules)
        m_parts.faults.add(rule);
    return HttpResponse::json(200, { { QStringLiteral("faults"), m_parts.faults.rules() } });
}

HttpResponse ControlService::seedFiles(const QByteArray &body)
{
    const std::optional<QJsonArray> descriptions = objectsOf(body, QStringLiteral("files"));
    if (!descriptions)
        return refused(400, QStringLiteral("the body is not JSON"));
    QJsonArray created;
    for (const QJsonValue &description : *descriptions) {
        QString error;
        const DriveEntry *entry = seed(description.toObject(), &error);
        if (!entry)
            return refused(400, error);
        created.append(described(*entry));
    }
    return HttpResponse::json(200, { { QStringLiteral("files"), created } });
}

// The folder that the path's segments name below the application-data folder, made where
// missing; the first folder of a name wins, as it does for clients. Empty when the disk fails.
QString ControlService::folderFor(const QStringList &segments)
{
    QString parentId = AppDataFolderId;
    for (const QString &segment : segments) {
        const DriveEntry *found = nullptr;
        for (const DriveEntry *entry : m_parts.store.entries()) {
            if (!found && entry->isFolder() && !entry->trashed && entry->name == segment
                && entry->parents.contains(parentId))
                found = entry;
        }
        if (!found)
            found = m_parts.store.put(m_parts.store.newEntry(segment, FolderMimeType, parentId));
        if (!found)
            return QString();
        parentId = found->id;
    }
    return parentId;
}

const DriveEntry *ControlService::seed(const QJsonObject &description, QString *error)
{
    QStringList segments = description.value(QStringLiteral("path"))
                                   .toString()
                                   .split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (segments.isEmpty()) {
        *error = QStringLiteral("a path such as /folder/name is needed");
        return nullptr;
    }
    const QString name = segments.takeLast();
    *error = QStringLiteral("the emulator could not save %1").arg(name);
    const QString parentId = folderFor(segments);
    if (parentId.isEmpty())
        return nullptr;
    const bool folder = description.value(QStringLiteral("folder")).toBool();
    DriveEntry entry = m_parts.store.newEntry(
            name,
            description.value(QStringLiteral("mimeType"))
                    .toString(folder ? FolderMimeType : QStringLiteral("application/octet-stream")),
            parentId);
    if (entry.hasContent())
        entry.setContent(
                description.contains(QStringLiteral("text"))
                        ? description.value(QStringLiteral("text")).toString().toUtf8()
                        : QByteArray::fromBase64(description.value(QStringLiteral("content"))
                                                         .toString()
                                                         .toLatin1()));
    // Tests can make the service report a checksum or a size other than the content's.
    entry.md5Checksum =
            description.value(QStringLiteral("md5Checksum")).toString(entry.md5Checksum);
    entry.reportedSize = qint64(description.value(QStringLiteral("size")).toDouble(-1));
    entry.trashed = entry.explicitlyTrashed = description.value(QStringLiteral("trashed")).toBool();
    return m_parts.store.put(entry);
}

// The resource with the entry's path below the application-data folder.
QJsonObject ControlService::described(const DriveEntry &entry) const
{
    QStringList names { entry.name };
    for (const DriveEntry *parent = m_parts.store.find(entry.parents.value(0));
         parent && !m_parts.store.isRoot(parent->id);
         parent = m_parts.store.find(parent->parents.value(0)))
        names.prepend(parent->name);
    QJsonObject resource = entry.resource();
    resource.insert(QStringLiteral("path"), QLatin1Char('/') + names.join(QLatin1Char('/')));
    return resource;
}

HttpResponse ControlService::listFiles() const
{
    QJsonArray files;
    for (const DriveEntry *entry : m_parts.store.entries())
        files.append(described(*entry));
    return HttpResponse::json(200, { { QStringLiteral("files"), files } });
}

HttpResponse ControlService::fileContent(const QString &id) const
{
    const DriveEntry *entry = m_parts.store.find(id);
    return entry ? bytes(entry->content) : refused(404, QStringLiteral("no such file"));
}

HttpResponse ControlService::issueTokens()
{
    return HttpResponse::json(
            200,
            m_parts.tokens.issueTokens(
                    m_parts.clientId,
                    QStringLiteral("https://www.googleapis.com/auth/drive.appfolder")));
}

HttpResponse ControlService::settings(const QByteArray &body)
{
    const std::optional<QJsonArray> objects = objectsOf(body, QString());
    if (!objects || objects->size() != 1)
        return refused(400, QStringLiteral("the body is not a JSON object"));
    const QJsonObject settings = objects->at(0).toObject();
    if (settings.contains(QStringLiteral("tokenTtl")))
        m_parts.tokens.setAccessTokenLifetime(settings.value(QStringLiteral("tokenTtl")).toInt());
    if (settings.contains(QStringLiteral("autoApprove")))
        m_parts.oauth.setAutoApprove(settings.value(QStringLiteral("autoApprove")).toBool());
    if (settings.contains(QStringLiteral("logBodies")))
        m_parts.log.setBodyLimit(qint64(settings.value(QStringLiteral("logBodies")).toDouble()));
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
