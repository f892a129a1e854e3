// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorserver.h"

#include "driveerror.h"
#include "httpconnection.h"

#include <QElapsedTimer>
#include <QTextStream>

EmulatorServer::EmulatorServer(const Options &options, QObject *parent)
    : QObject(parent),
      m_options(options),
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
    connect(&m_server, &DescriptorServer::accepted, this, &EmulatorServer::accept);
}

bool EmulatorServer::start(QString *error)
{
    if (!m_options.dataFolder.isEmpty()) {
        if (!m_journal.open(m_options.dataFolder, error))
            return false;
        m_store.setJournal(&m_journal);
        m_tokens.setJournal(&m_journal);
        const QList<QJsonObject> records = m_journal.records();
        if (!m_store.load(records, error))
            return false;
        m_tokens.load(records);
        // Start each run from a compact journal.
        if (!m_journal.compact(m_store.snapshot() + m_tokens.snapshot(), m_store.liveBlobs())) {
            *error = QStringLiteral("cannot rewrite the journal in %1").arg(m_options.dataFolder);
            return false;
        }
    }
    if (!m_server.listen(m_options.address, m_options.port)) {
        *error = m_server.errorString();
        return false;
    }
    return true;
}

void EmulatorServer::accept(qintptr socketDescriptor)
{
    auto *connection = new HttpConnection(socketDescriptor, m_options.maxBody, this);
    connection->setDigestPolicy(&DriveService::digestFor);
    connection->setPacePolicy([this](const HttpRequest &head) -> qint64 {
        if (ControlService::handles(head.path))
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
    HttpResponse response;
    int logIndex = -1;
    if (ControlService::handles(request.path)) {
        response = request.peer.isLoopback()
                ? m_control.handle(request)
                : HttpResponse::json(403,
                                     { { QStringLiteral("error"),
                                         QStringLiteral("control is for loopback clients") } });
    } else {
        logIndex = m_log.append(request);
        const std::optional<FaultRule> fault = m_faults.take(request);
        if (fault && (fault->status != 0 || fault->action == FaultRule::Drop)) {
            response = faultAnswer(*fault, request);
        } else {
            response = route(request);
            if (fault)
                applyFault(*fault, response);
        }
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

HttpResponse EmulatorServer::route(HttpRequest &request)
{
    if (DriveService::handles(request.path))
        return m_drive.handle(request);
    if (OAuthService::handles(request.path))
        return m_oauth.handle(request);
    return DriveError::make(404, QStringLiteral("notFound"), QStringLiteral("Not Found"));
}

// A rule that replaces the answer: an error status (with the endpoint's usual body unless the
// rule gives one) or a connection closed without any answer.
HttpResponse EmulatorServer::faultAnswer(const FaultRule &rule, const HttpRequest &request) const
{
    HttpResponse response;
    if (rule.action == FaultRule::Drop) {
        response.drop = true;
    } else if (!rule.body.isEmpty() || !rule.contentType.isEmpty()) {
        response.status = rule.status;
        response.body = rule.body;
        if (!rule.contentType.isEmpty())
            response.setHeader("Content-Type", rule.contentType);
    } else if (OAuthService::handles(request.path)) {
        response = OAuthService::errorForStatus(rule.status);
    } else {
        response = DriveError::forStatus(rule.status);
    }
    response.delayMs = rule.delayMs;
    return response;
}

// A rule that spoils a served answer on its way out.
void EmulatorServer::applyFault(const FaultRule &rule, HttpResponse &response) const
{
    response.delayMs = rule.delayMs;
    if (rule.action == FaultRule::Truncate)
        response.truncateAt = rule.truncateAt >= 0 ? rule.truncateAt : response.body.size() / 2;
    response.chunked = rule.action == FaultRule::Chunked;
    if (rule.action == FaultRule::Corrupt && !response.body.isEmpty()) {
        const qsizetype middle = response.body.size() / 2;
        response.body[middle] = char(response.body.at(middle) ^ 0x5A);
    }
    if (!rule.body.isEmpty()) {
        response.body = rule.body;
        if (!rule.contentType.isEmpty())
            response.setHeader("Content-Type", rule.contentType);
    }
}
