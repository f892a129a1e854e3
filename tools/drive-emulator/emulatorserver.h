// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef EMULATORSERVER_H
#define EMULATORSERVER_H

#include "controlservice.h"
#include "drivejournal.h"
#include "driveservice.h"
#include "drivestore.h"
#include "faultinjector.h"
#include "oauthservice.h"
#include "requestlog.h"
#include "tokenregistry.h"

#include <QHostAddress>
#include <QObject>
#include <QTcpServer>

#include <optional>

class HttpConnection;

// Hands accepted sockets over as descriptors, so connections can set them up themselves.
class DescriptorServer : public QTcpServer
{
    Q_OBJECT

public:
    using QTcpServer::QTcpServer;

signals:
    void accepted(qintptr socketDescriptor);

protected:
    void incomingConnection(qintptr socketDescriptor) override { emit accepted(socketDescriptor); }
};

// The emulator: one HTTP/1.1 server in front of the Drive, OAuth and control endpoints.
class EmulatorServer : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        QHostAddress address = QHostAddress::LocalHost;
        quint16 port = 0;
        bool autoApprove = false;
        int tokenTtl = 3599;
        QString clientId;
        QString clientSecret;
        QString dataFolder; // empty: memory only
        qint64 maxBody = qint64(2) * 1024 * 1024 * 1024;
        bool log = false;
        qint64 logBodies = 8 * 1024 * 1024; // request bodies kept whole in the log up to this size
        std::optional<quint32> seed; // identifiers, codes and tokens repeat from run to run
        QList<FaultRule> faults;
    };

    explicit EmulatorServer(const Options &options, QObject *parent = nullptr);

    bool start(QString *error);
    quint16 port() const { return m_server.serverPort(); }

private:
    void accept(qintptr socketDescriptor);
    void serve(HttpConnection *connection);
    HttpResponse route(HttpRequest &request);
    HttpResponse faultAnswer(const FaultRule &rule, const HttpRequest &request) const;
    void applyFault(const FaultRule &rule, HttpResponse &response) const;

    Options m_options;
    DescriptorServer m_server;
    DriveJournal m_journal;
    DriveStore m_store;
    TokenRegistry m_tokens;
    DriveService m_drive;
    OAuthService m_oauth;
    RequestLog m_log;
    FaultInjector m_faults;
    ControlService m_control;
};

#endif // EMULATORSERVER_H
