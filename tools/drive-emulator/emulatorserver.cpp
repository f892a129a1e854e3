// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorserver.h"

#include "httpconnection.h"
#include "serviceerror.h"

#include <QElapsedTimer>
#include <QTextStream>

#include <algorithm>

namespace {
using Call = EmulatorServer::Call;
using Route = EmulatorServer::Route;

HttpResponse done()
{
    return HttpResponse::make(204);
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
          [](S &s, Call &) { return s.m_control.listFiles(); } },
        { "POST", "/_emulator/files", Route::Control,
          [](S &s, Call &c) { return s.m_control.seedFiles(c.request.body); } },
        { "DELETE", "/_emulator/files", Route::Control,
          [](S &s, Call &) { return s.m_store.clear(), done(); } },
        { "GET", "/_emulator/files/{id}/content", Route::Control,
          [](S &s, Call &c) { return s.m_control.fileContent(c.id); } },
        { "POST", "/_emulator/tokens", Route::Control,
          [](S &s, Call &) { return s.m_control.issueTokens(); } },
        { "POST", "/_emulator/tokens/expire", Route::Control,
          [](S &s, Call &) { return s.m_tokens.expireAccessTokens(), done(); } },
        { "POST", "/_emulator/tokens/revoke", Route::Control,
          [](S &s, Call &) { return s.m_tokens.revokeRefreshTokens(), done(); } },
        { "POST", "/_emulator/settings", Route::Control,
          [](S &s, Call &c) { return s.m_control.settings(c.request.body); } },
        { "GET", "/_emulator/requests", Route::Control,
          [](S &s, Call &c) { return s.m_control.requests(c.request); } },
        { "DELETE", "/_emulator/requests", Route::Control,
          [](S &s, Call &) { return s.m_log.clear(), done(); } },
        { "GET", "/_emulator/requests/{id}/body", Route::Control,
          [](S &s, Call &c) { return s.m_control.requestBody(c.id); } },
        { "GET", "/_emulator/faults", Route::Control,
          [](S &s, Call &) {
              return HttpResponse::json(200, { { QStringLiteral("faults"), s.m_faults.rules() } });
          } },
        { "POST", "/_emulator/faults", Route::Control,
          [](S &s, Call &c) { return s.m_control.addFaults(c.request.body); } },
        { "DELETE", "/_emulator/faults", Route::Control,
          [](S &s, Call &) { return s.m_faults.clear(), done(); } },
        { "POST", "/_emulator/reset", Route::Control,
          [](S &s, Call &) { return s.m_control.reset(), done(); } },
    };
    return table;
}

EmulatorServer::EmulatorServer(const Options &options, QObject *parent)
    : QTcpServer(parent),
      m_options(options),
      m_store(m_journal),
      m_tokens(m_journal),
      m_drive(m_store, m_tokens),
      m_oauth(m_tokens, { options.clientId, options.clientSecret, options.autoApprove }),
      m_log(options.logBodies),
      m_control({ m_store, m_tokens, m_log, m_faults, m_oauth, options.clientId })
{
    m_tokens.setAccessTokenLifetime(options.tokenTtl);
    if (options.seed) {
        m_store.setSeed(*options.seed);
        m_tokens.setSeed(*options.seed);
    }
    for (const FaultRule &rule : options.faults)
        m_faults.add(rule);
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
    m_tokens.load();
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
        const std::optional<FaultRule> throttle = m_faults.takeThrottle(head);
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
                : HttpResponse::json(403,
                                     { { QStringLiteral("error"),
                                         QStringLiteral("control is for loopback clients") } });
    } else {
        const int logIndex = m_log.append(request);
        const std::optional<FaultRule> fault = m_faults.take(request);
        Call call { request, id, fault ? &*fault : nullptr };
        response = fault ? faulted(*fault, route, call) : answer(route, call);
        m_log.setStatus(logIndex, response.drop ? 0 : response.status);
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
