// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef EMULATORSERVER_H
#define EMULATORSERVER_H

#include "drivejournal.h"
#include "driveservice.h"
#include "drivestore.h"
#include "faultrule.h"
#include "oauthservice.h"

#include <QHostAddress>
#include <QTcpServer>

#include <optional>

class HttpConnection;

// The command line's defaults, written once: the code, --help and the manual page read them here
// (CMake reads each "constexpr" line into drive-emulator.1.in).
namespace EmulatorDefaults {
constexpr char Address[] = "127.0.0.1";
constexpr int Port = 0; // a free one
constexpr int TokenTtl = 3599; // seconds, as the service's access tokens last
constexpr qint64 MaxBody = 2147483648; // bytes; larger bodies are refused with 413
constexpr qint64 LogBodies = 8388608; // bytes of a request body the log keeps whole
} // namespace EmulatorDefaults

// The emulator: one HTTP/1.1 server in front of the Drive and OAuth endpoints and of its own
// control endpoints, with which tests and scripts on this machine seed and inspect files, mint
// tokens, read the request log and inject faults. What it answers is one table, routes(), which
// one dispatcher consults for every request. Accepted sockets go to their connections as
// descriptors, which set them up themselves.
class EmulatorServer : public QTcpServer
{
    Q_OBJECT

public:
    struct Options
    {
        QHostAddress address = QHostAddress(QLatin1String(EmulatorDefaults::Address));
        quint16 port = EmulatorDefaults::Port;
        OAuthService::Options oauth { QString(), QString(), false, EmulatorDefaults::TokenTtl };
        QString dataFolder; // empty: memory only
        qint64 maxBody = EmulatorDefaults::MaxBody;
        bool log = false;
        qint64 logBodies = EmulatorDefaults::LogBodies;
        std::optional<quint32> seed; // identifiers, codes and tokens repeat from run to run
        QList<FaultRule> faults;
    };

    // A request on its way to its handler.
    struct Call
    {
        HttpRequest &request;
        QString id; // what stood for "{id}" in the path, percent-decoded
        const FaultRule *fault; // the rule the request matched, if any
    };

    // A method, a path in which "{id}" stands for one segment, who answers and how. Drive routes
    // need an access token; control routes answer loopback clients only, unlogged and unfaulted.
    struct Route
    {
        enum Service { Drive, OAuth, Control };
        QByteArray method;
        QByteArray pattern;
        Service service;
        HttpResponse (*handle)(EmulatorServer &server, Call &call);
    };
    static const QList<Route> &routes();

    explicit EmulatorServer(const Options &options, QObject *parent = nullptr);

    // Locks the data folder, listens, then reads the folder.
    bool start(QString *error);

private:
    static const Route *find(const HttpRequest &request, QString *id);
    void incomingConnection(qintptr socketDescriptor) override;
    void serve(HttpConnection *connection);
    HttpResponse answer(const Route *route, Call &call);
    HttpResponse faulted(const FaultRule &rule, const Route *route, Call &call);
    HttpResponse seedFiles(const QByteArray &body);
    // The entry that a description of the seeding endpoint makes, stored; null and why when
    // there is none.
    const DriveEntry *seed(const QJsonObject &description, QString *error);
    QString folderFor(const QStringList &segments);
    // The resource with the entry's path below the application-data folder.
    QJsonObject described(const DriveEntry &entry) const;
    HttpResponse addFaults(const QByteArray &body);
    HttpResponse settings(const QByteArray &body);
    void clearLog();

    Options m_options;
    DriveJournal m_journal;
    DriveStore m_store;
    OAuthService m_oauth;
    DriveService m_drive;
    // The requests received, as the control endpoint shows them, with their bodies up to
    // logBodies bytes; the first is number m_logStart.
    struct Logged
    {
        QJsonObject request;
        std::optional<QByteArray> body;
    };
    QList<Logged> m_log;
    int m_logStart = 0;
    QList<FaultRule> m_faults; // waiting
};

#endif // EMULATORSERVER_H
