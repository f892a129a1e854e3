// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorserver.h"

#include "httpconnection.h"
#include "serviceerror.h"

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTextStream>

#include <algorithm>

namespace {
using Call = EmulatorServer::Call;
using Route = EmulatorServer::Route;

HttpResponse done()
{
    return HttpResponse::make(204);
}

HttpResponse refused(int status, const QString &why)
{
    return HttpResponse::json(status, { { QStringLiteral("error"), why } });
}

HttpResponse listed(const QList<FaultRule> &rules)
{
    QJsonArray array;
    for (const FaultRule &rule : rules)
        array.append(rule.toJson());
    return HttpResponse::json(200, { { QStringLiteral("faults"), array } });
}

// A request as the control endpoint shows it, but for its status and its body.
QJsonObject logged(const HttpRequest &request, int index)
{
    QJsonArray headers;
    for (const auto &header : request.headers)
        headers.append(QJsonArray { QString::fromLatin1(header.first),
                                    QString::fromLatin1(header.second) });
    return { { QStringLiteral("index"), index },
             { QStringLiteral("method"), QString::fromLatin1(request.method) },
             { QStringLiteral("target"), QString::fromLatin1(request.target) },
             { QStringLiteral("path"), QString::fromLatin1(request.path) },
             { QStringLiteral("query"), QString::fromLatin1(request.rawQuery) },
             { QStringLiteral("headers"), headers },
             { QStringLiteral("bodySize"), double(request.body.size()) } };
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

const QList<Route> &EmulatorServer::routes()
{
    using S = EmulatorServer;
    static const QList<Route> table {
        { "GET", "/drive/v3/files", Route::Drive,
          [](S &s, Call &c) {
              return s.m_drive.list(c.request, c.fault && c.fault->action == FaultRule::ShortPage);
          } },
        { "POST", "/drive/v3/files", Route::Drive,
          [](S &s, Call &c) { return s.m_drive.create(c.request); } },
        { "GET", "/drive/v3/files/{id}", Route::Drive,
          [](S &s, Call &c) { return s.m_drive.get(c.request, c.id); } },
        { "PATCH", "/drive/v3/files/{id}", Route::Drive,
          [](S &s, Call &c) { return s.m_drive.update(c.request, c.id); } },
        { "DELETE", "/drive/v3/files/{id}", Route::Drive,
          [](S &s, Call &c) { return s.m_drive.remove(c.id); } },
        { "POST", "/drive/v3/files/{id}/copy", Route::Drive,
          [](S &s, Call &c) { return s.m_drive.copy(c.request, c.id); } },
        { "POST", "/upload/drive/v3/files", Route::Drive,
          [](S &s, Call &c) { return s.m_drive.upload(c.request, QString()); } },
        { "PATCH", "/upload/drive/v3/files/{id}", Route::Drive,
          [](S &s, Call &c) { return s.m_drive.upload(c.request, c.id); } },
        { "GET", "/o/oauth2/v2/auth", Route::OAuth,
          [](S &s, Call &c) { return s.m_oauth.authorize(c.request); } },
        { "POST", "/o/oauth2/v2/consent", Route::OAuth,
          [](S &s, Call &c) { return s.m_oauth.decide(c.request); } },
        { "POST", "/o/oauth2/token", Route::OAuth,
          [](S &s, Call &c) { return s.m_oauth.token(c.request); } },
        // The token host's current path, which client libraries use by default.
        { "POST", "/token", Route::OAuth,
          [](S &s, Call &c) { return s.m_oauth.token(c.request); } },
        { "GET", "/_emulator/health", Route::Control,
          [](S &, Call &) {
              return HttpResponse::json(200,
                                        { { QStringLiteral("status"), QStringLiteral("ok") } });
          } },
        { "GET", "/_emulator/files", Route::Control,
          [](S &s, Call &) {
              QJsonArray files;
              for (const DriveEntry *entry : s.m_store.entries())
                  files.append(s.described(*entry));
              return HttpResponse::json(200, { { QStringLiteral("files"), files } });
          } },
        { "POST", "/_emulator/files", Route::Control,
          [](S &s, Call &c) { return s.seedFiles(c.request.body); } },
        { "DELETE", "/_emulator/files", Route::Control,
          [](S &s, Call &) { return s.m_store.clear(), done(); } },
        { "GET", "/_emulator/files/{id}/content", Route::Control,
          [](S &s, Call &c) {
              const DriveEntry *entry = s.m_store.find(c.id);
              return entry ? bytes(entry->content) : refused(404, QStringLiteral("no such file"));
          } },
        { "POST", "/_emulator/tokens", Route::Control,
          [](S &s, Call &) {
              return HttpResponse::json(
                      200,
                      s.m_oauth.issueTokens(
                              s.m_oauth.options().clientId,
                              QStringLiteral("https://www.googleapis.com/auth/drive.appfolder")));
          } },
        { "POST", "/_emulator/tokens/expire", Route::Control,
          [](S &s, Call &) { return s.m_oauth.expireAccessTokens(), done(); } },
        { "POST", "/_emulator/tokens/revoke", Route::Control,
          [](S &s, Call &) { return s.m_oauth.revokeRefreshTokens(), done(); } },
        { "POST", "/_emulator/settings", Route::Control,
          [](S &s, Call &c) { return s.settings(c.request.body); } },
        { "GET", "/_emulator/requests", Route::Control,
          [](S &s, Call &c) {
              QJsonArray requests;
              const int since = c.request.query.value(QStringLiteral("since")).toInt();
              for (qsizetype at = qMax(0, since - s.m_logStart); at < s.m_log.size(); ++at) {
                  QJsonObject request = s.m_log.at(at).request;
                  if (const std::optional<QByteArray> &body = s.m_log.at(at).body) {
                      request.insert(QStringLiteral("body"), QString::fromLatin1(body->toBase64()));
                      request.insert(QStringLiteral("bodyMd5"),
                                     QString::fromLatin1(QCryptographicHash::hash(
                                                                 *body, QCryptographicHash::Md5)
                                                                 .toHex()));
                  }
                  requests.append(request);
              }
              return HttpResponse::json(
                      200,
                      { { QStringLiteral("requests"), requests },
                        { QStringLiteral("next"), s.m_logStart + int(s.m_log.size()) } });
          } },
        { "DELETE", "/_emulator/requests", Route::Control,
          [](S &s, Call &) { return s.clearLog(), done(); } },
        { "GET", "/_emulator/requests/{id}/body", Route::Control,
          [](S &s, Call &c) {
              const qsizetype at = c.id.toInt() - s.m_logStart;
              const std::optional<QByteArray> body =
                      at >= 0 && at < s.m_log.size() ? s.m_log.at(at).body : std::nullopt;
              return body
                      ? bytes(*body)
                      : refused(404, QStringLiteral("no such request, or its body was not kept"));
          } },
        { "GET", "/_emulator/faults", Route::Control,
          [](S &s, Call &) { return listed(s.m_faults); } },
        { "POST", "/_emulator/faults", Route::Control,
          [](S &s, Call &c) { return s.addFaults(c.request.body); } },
        { "DELETE", "/_emulator/faults", Route::Control,
          [](S &s, Call &) { return s.m_faults.clear(), done(); } },
        { "POST", "/_emulator/reset", Route::Control,
          [](S &s, Call &) {
              s.m_store.clear();
              s.m_oauth.clear();
              s.clearLog();
              s.m_faults.clear();
              return done();
          } },
    };
    return table;
}

EmulatorServer::EmulatorServer(const Options &options, QObject *parent)
    : QTcpServer(parent),
      m_options(options),
      m_store(m_journal),
      m_oauth(m_journal, options.oauth),
      m_drive(m_store, m_oauth),
      m_faults(options.faults)
{
    if (options.seed) {
        m_store.setSeed(*options.seed);
        m_oauth.setSeed(*options.seed);
    }
}

// The folder is locked before anything in it is read, and the journal rewritten only once the
// port is this process's too: an emulator that cannot start changes nothing.
bool EmulatorServer::start(QString *error)
{
    const QString &folder = m_options.dataFolder;
    if (!folder.isEmpty() && !m_journal.lock(folder, error))
        return false;
    if (!listen(m_options.address, m_options.port)) {
        *error = errorString();
        return false;
    }
    if (folder.isEmpty())
        return true;
    if (!m_journal.open(error) || !m_store.load(error))
        return false;
    m_oauth.load();
    return true;
}

const Route *EmulatorServer::find(const HttpRequest &request, QString *id)
{
    const QList<QByteArray> segments = request.path.split('/');
    const auto fits = [](const QByteArray &pattern, const QByteArray &segment) {
        return pattern == segment || pattern == "{id}";
    };
    for (const Route &route : routes()) {
        const QList<QByteArray> pattern = route.pattern.split('/');
        if (route.method == request.method
            && std::equal(pattern.cbegin(), pattern.cend(), segments.cbegin(), segments.cend(),
                          fits)) {
            const qsizetype at = pattern.indexOf("{id}");
            *id = at < 0 ? QString()
                         : QString::fromUtf8(QByteArray::fromPercentEncoding(segments.at(at)));
            return &route;
        }
    }
    return nullptr;
}

void EmulatorServer::incomingConnection(qintptr socketDescriptor)
{
    auto *connection = new HttpConnection(socketDescriptor, m_options.maxBody, this);
    connection->setPacePolicy([this](const HttpRequest &head) -> qint64 {
        QString id;
        const Route *route = find(head, &id);
        if (route && route->service == Route::Control)
            return 0;
        const std::optional<FaultRule> throttle = FaultRule::take(m_faults, head, true);
        return throttle ? throttle->bytesPerSecond : 0;
    });
    connect(connection, &HttpConnection::requestReceived, this, &EmulatorServer::serve);
    connect(connection, &HttpConnection::closed, connection, &QObject::deleteLater);
}

void EmulatorServer::serve(HttpConnection *connection)
{
    HttpRequest request = connection->takeRequest();
    QElapsedTimer timer;
    timer.start();
    const qsizetype bodySize = request.body.size();
    QString id;
    const Route *route = find(request, &id);
    HttpResponse response;
    if (route && route->service == Route::Control) {
        Call call { request, id, nullptr };
        response = request.peer.isLoopback()
                ? route->handle(*this, call)
                : refused(403, QStringLiteral("control is for loopback clients"));
    } else {
        const bool kept = request.body.size() <= m_options.logBodies;
        m_log.append({ logged(request, m_logStart + int(m_log.size())),
                       kept ? std::optional(request.body) : std::nullopt });
        const std::optional<FaultRule> fault = FaultRule::take(m_faults, request, false);
        Call call { request, id, fault ? &*fault : nullptr };
        response = fault ? faulted(*fault, route, call) : answer(route, call);
        m_log.last().request.insert(QStringLiteral("status"), response.drop ? 0 : response.status);
    }

    if (m_options.log) {
        QTextStream(stderr) << request.method << ' ' << request.target << " -> "
                            << (response.drop ? QStringLiteral("dropped")
                                              : QString::number(response.status))
                            << ' ' << bodySize << "B in, " << response.body.size() << "B out, "
                            << timer.elapsed() << " ms" << Qt::endl;
    }
    connection->respond(response);
}

HttpResponse EmulatorServer::answer(const Route *route, Call &call)
{
    if (!route)
        return DriveError::make(DriveError::NoSuchRoute);
    if (route->service == Route::Drive) {
        if (auto refused = m_drive.admit(call.request))
            return *refused;
    }
    return route->handle(*this, call);
}

// What a rule makes of a request: a connection closed without an answer, an error (the
// endpoint's usual one of that status unless the rule gives a body), or the answer served and
// spoilt on its way out.
HttpResponse EmulatorServer::faulted(const FaultRule &rule, const Route *route, Call &call)
{
    HttpResponse response;
    if (rule.status != 0) {
        const auto forFault = route && route->service == Route::OAuth ? &TokenError::forFault
                                                                      : &DriveError::forFault;
        response = forFault(rule.status, rule.reason).value_or(*forFault(rule.status, QString()));
    } else if (rule.action != FaultRule::Drop) {
        response = answer(route, call);
    }
    response.drop = rule.action == FaultRule::Drop;
    response.delayMs = int(rule.delayMs);
    response.chunked = rule.action == FaultRule::Chunked;
    if (rule.action == FaultRule::Truncate)
        response.truncateAt = rule.truncateAt >= 0 ? rule.truncateAt : response.body.size() / 2;
    if (rule.action == FaultRule::Corrupt && !response.body.isEmpty()) {
        const qsizetype middle = response.body.size() / 2;
        response.body[middle] = char(response.body.at(middle) ^ 0x5A);
    }
    if (!rule.body.isEmpty())
        response.body = rule.body.toUtf8();
    if (!rule.contentType.isEmpty())
        response.setHeader("Content-Type", rule.contentType.toUtf8());
    return response;
}

HttpResponse EmulatorServer::addFaults(const QByteArray &body)
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
    m_faults.append(rules);
    return listed(m_faults);
}

HttpResponse EmulatorServer::seedFiles(const QByteArray &body)
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
QString EmulatorServer::folderFor(const QStringList &segments)
{
    QString parentId = AppDataFolderId;
    for (const QString &segment : segments) {
        const DriveEntry *found = nullptr;
        for (const DriveEntry *entry : m_store.entries()) {
            if (!found && entry->isFolder() && !entry->trashed && entry->name == segment
                && entry->parents.contains(parentId))
                found = entry;
        }
        if (!found)
            found = m_store.put(m_store.newEntry(segment, FolderMimeType, parentId));
        if (!found)
            return QString();
        parentId = found->id;
    }
    return parentId;
}

const DriveEntry *EmulatorServer::seed(const QJsonObject &description, QString *error)
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
    DriveEntry entry = m_store.newEntry(
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
    return m_store.put(entry);
}

QJsonObject EmulatorServer::described(const DriveEntry &entry) const
{
    QStringList names { entry.name };
    for (const DriveEntry *parent = m_store.find(entry.parents.value(0));
         parent && !m_store.isRoot(parent->id); parent = m_store.find(parent->parents.value(0)))
        names.prepend(parent->name);
    QJsonObject resource = entry.resource();
    resource.insert(QStringLiteral("path"), QLatin1Char('/') + names.join(QLatin1Char('/')));
    return resource;
}

HttpResponse EmulatorServer::settings(const QByteArray &body)
{
    const std::optional<QJsonArray> objects = objectsOf(body, QString());
    if (!objects || objects->size() != 1)
        return refused(400, QStringLiteral("the body is not a JSON object"));
    const QJsonObject settings = objects->at(0).toObject();
    OAuthService::Options &oauth = m_oauth.options();
    oauth.tokenTtl = settings.value(QStringLiteral("tokenTtl")).toInt(oauth.tokenTtl);
    oauth.autoApprove = settings.value(QStringLiteral("autoApprove")).toBool(oauth.autoApprove);
    m_options.logBodies = qint64(
            settings.value(QStringLiteral("logBodies")).toDouble(double(m_options.logBodies)));
    return HttpResponse::json(200,
                              { { QStringLiteral("tokenTtl"), oauth.tokenTtl },
                                { QStringLiteral("autoApprove"), oauth.autoApprove },
                                { QStringLiteral("logBodies"), double(m_options.logBodies) } });
}

void EmulatorServer::clearLog()
{
    m_logStart += int(m_log.size());
    m_log.clear();
}
