// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorserver.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("drive-emulator"));
    QCoreApplication::setApplicationVersion(QStringLiteral(GDAPP_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
            "A local emulator of the Drive v3 files and upload endpoints and of the OAuth 2.0 "
            "endpoints that the gdapp plug-in uses. Point the plug-in at it with "
            "GDAPP_DRIVE_URL and GDAPP_OAUTH_URL."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption port(
            QStringLiteral("port"),
            QStringLiteral("Port to listen on; 0 picks a free one (default)."),
            QStringLiteral("port"), QStringLiteral("0"));
    const QCommandLineOption bind(QStringLiteral("bind"),
                                  QStringLiteral("Address to listen on (default 127.0.0.1)."),
                                  QStringLiteral("address"), QStringLiteral("127.0.0.1"));
    const QCommandLineOption autoApprove(
            QStringLiteral("auto-approve"),
            QStringLiteral(
                    "Approve consent requests at once instead of showing the consent page."));
    const QCommandLineOption tokenTtl(QStringLiteral("token-ttl"),
                                      QStringLiteral("Lifetime of access tokens (default 3599)."),
                                      QStringLiteral("seconds"), QStringLiteral("3599"));
    const QCommandLineOption clientId(
            QStringLiteral("client-id"), QStringLiteral("The OAuth client identifier accepted."),
            QStringLiteral("id"), QStringLiteral(GDAPP_DEFAULT_CLIENT_ID));
    // The emulator's own copy of the registered secret, on purpose: it checks what the plug-in
    // sends against the registration, not against the plug-in's own constant. So do the service
    // names it keeps in driveentry.h.
    const QCommandLineOption clientSecret(
            QStringLiteral("client-secret"), QStringLiteral("The client secret accepted."),
            QStringLiteral("secret"), QStringLiteral("Xq3bTn8VwLp2KdRe5ZsYh7Ga"));
    const QCommandLineOption data(QStringLiteral("data"),
                                  QStringLiteral("Keep files and tokens in this folder across "
                                                 "restarts (default: memory only)."),
                                  QStringLiteral("folder"));
    const QCommandLineOption log(QStringLiteral("log"),
                                 QStringLiteral("Write one line per request to standard error."));
    const QCommandLineOption maxBody(QStringLiteral("max-body"),
                                     QStringLiteral("Largest request body accepted; larger ones "
                                                    "answer 413 (default 2147483648)."),
                                     QStringLiteral("bytes"), QStringLiteral("2147483648"));
    const QCommandLineOption logBodies(
            QStringLiteral("log-bodies"),
            QStringLiteral("Keep request bodies up to this size whole in the request log that the "
                           "control endpoint serves (default 8388608)."),
            QStringLiteral("bytes"), QStringLiteral("8388608"));
    const QCommandLineOption fault(
            QStringLiteral("fault"),
            QStringLiteral(
                    "Make matching requests fail, for example "
                    "\"method=GET,path=/drive/v3/files/*,status=500,count=2\". Keys: "
                    "method, path, query, count, status, delayMs, action "
                    "(answer|drop|truncate|corrupt|chunked|throttle), truncateAt, bytesPerSecond, "
                    "body, contentType. "
                    "May be repeated."),
            QStringLiteral("rule"));
    const QCommandLineOption seed(
            QStringLiteral("seed"),
            QStringLiteral("Make identifiers, codes and tokens from this number, so that the "
                           "same requests get the same ones in every run (default: random)."),
            QStringLiteral("number"));
    parser.addOptions({ port, bind, autoApprove, tokenTtl, clientId, clientSecret, data, log,
                        maxBody, logBodies, fault, seed });
    parser.process(app);

    QTextStream err(stderr);
    EmulatorServer::Options options;
    bool ok = false;
    options.port = parser.value(port).toUShort(&ok);
    if (!ok) {
        err << "drive-emulator: --port needs a number from 0 to 65535" << Qt::endl;
        return 2;
    }
    if (!options.address.setAddress(parser.value(bind))) {
        err << "drive-emulator: --bind needs an IP address" << Qt::endl;
        return 2;
    }
    options.tokenTtl = parser.value(tokenTtl).toInt(&ok);
    if (!ok || options.tokenTtl < 0) {
        err << "drive-emulator: --token-ttl needs a number of seconds" << Qt::endl;
        return 2;
    }
    options.maxBody = parser.value(maxBody).toLongLong(&ok);
    if (!ok || options.maxBody < 0) {
        err << "drive-emulator: --max-body needs a number of bytes" << Qt::endl;
        return 2;
    }
    options.logBodies = parser.value(logBodies).toLongLong(&ok);
    if (!ok || options.logBodies < 0) {
        err << "drive-emulator: --log-bodies needs a number of bytes" << Qt::endl;
        return 2;
    }
    if (parser.isSet(seed)) {
        options.seed = parser.value(seed).toUInt(&ok);
        if (!ok) {
            err << "drive-emulator: --seed needs a number from 0 to 4294967295" << Qt::endl;
            return 2;
        }
    }
    options.autoApprove = parser.isSet(autoApprove);
    options.clientId = parser.value(clientId);
    options.clientSecret = parser.value(clientSecret);
    options.dataFolder = parser.value(data);
    options.log = parser.isSet(log);
    for (const QString &text : parser.values(fault)) {
        QString error;
        const auto rule = FaultRule::fromText(text, &error);
        if (!rule) {
            err << "drive-emulator: --fault " << text << ": " << error << Qt::endl;
            return 2;
        }
        options.faults.append(*rule);
    }

    EmulatorServer server(options);
    QString error;
    if (!server.start(&error)) {
        err << "drive-emulator: " << error << Qt::endl;
        return 1;
    }

    const QString host = options.address.protocol() == QAbstractSocket::IPv6Protocol
            ? QLatin1Char('[') + options.address.toString() + QLatin1Char(']')
            : options.address.toString();
    QTextStream(stdout) << "drive-emulator listening on http://" << host << ':' << server.port()
                        << Qt::endl;
    return app.exec();
}
