// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorserver.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

namespace {
// An option with a value; its default, when it is to be shown, is named in its description.
QCommandLineOption valueOption(const char *name, const char *description, const char *valueName,
                               const QString &fallback = QString(), bool shown = true)
{
    const QString text = QString::fromUtf8(description);
    return QCommandLineOption(QLatin1String(name),
                              shown && !fallback.isEmpty()
                                      ? text + QStringLiteral(" (default %1).").arg(fallback)
                                      : text,
                              QLatin1String(valueName), fallback);
}
} // namespace

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
    const auto port = valueOption("port", "Port to listen on; 0 picks a free one", "port",
                                  QString::number(EmulatorDefaults::Port));
    const auto bind = valueOption("bind", "Address to listen on", "address",
                                  QLatin1String(EmulatorDefaults::Address));
    const QCommandLineOption autoApprove(
            QStringLiteral("auto-approve"),
            QStringLiteral(
                    "Approve consent requests at once instead of showing the consent page."));
    const auto tokenTtl = valueOption("token-ttl", "Lifetime of access tokens", "seconds",
                                      QString::number(EmulatorDefaults::TokenTtl));
    const auto clientId =
            valueOption("client-id", "The OAuth client identifier accepted (default: gdapp's).",
                        "id", QStringLiteral(GDAPP_DEFAULT_CLIENT_ID), false);
    // The emulator's own copy of the registered secret, on purpose: it checks what the plug-in
    // sends against the registration, not against the plug-in's own constant. So do the service
    // names it keeps in driveentry.h.
    const auto clientSecret = valueOption("client-secret", "The client secret accepted.", "secret",
                                          QStringLiteral("Xq3bTn8VwLp2KdRe5ZsYh7Ga"), false);
    const auto data = valueOption(
            "data", "Keep files and tokens in this folder across restarts (default: memory only).",
            "folder");
    const QCommandLineOption log(QStringLiteral("log"),
                                 QStringLiteral("Write one line per request to standard error."));
    const auto maxBody =
            valueOption("max-body", "Largest request body accepted; larger ones answer 413",
                        "bytes", QString::number(EmulatorDefaults::MaxBody));
    const auto logBodies = valueOption(
            "log-bodies",
            "Keep request bodies up to this size whole in the request log that the control "
            "endpoint serves",
            "bytes", QString::number(EmulatorDefaults::LogBodies));
    const auto fault = valueOption(
            "fault",
            "Make matching requests fail, for example "
            "\"method=GET,path=/drive/v3/files/*,status=500,count=2\". Keys: method, path, query, "
            "count, status, reason, delayMs, action "
            "(answer|drop|truncate|corrupt|chunked|throttle|shortPage), truncateAt, "
            "bytesPerSecond, body, contentType. May be repeated.",
            "rule");
    const auto seed = valueOption("seed",
                                  "Make identifiers, codes and tokens from this number, so that "
                                  "the same requests get the same ones in every run (default: "
                                  "random).",
                                  "number");
    parser.addOptions({ port, bind, autoApprove, tokenTtl, clientId, clientSecret, data, log,
                        maxBody, logBodies, fault, seed });
    parser.process(app);

    QTextStream err(stderr);
    bool valid = true;
    auto number = [&](const QCommandLineOption &option, qint64 max) {
        bool ok = false;
        const qint64 value = parser.value(option).toLongLong(&ok);
        if (!ok || value < 0 || value > max) {
            err << "drive-emulator: --" << option.names().first() << " needs a number from 0 to "
                << max << Qt::endl;
            valid = false;
        }
        return value;
    };
    EmulatorServer::Options options;
    options.port = quint16(number(port, 65535));
    options.oauth.tokenTtl = int(number(tokenTtl, INT_MAX));
    options.maxBody = number(maxBody, LLONG_MAX);
    options.logBodies = number(logBodies, LLONG_MAX);
    if (parser.isSet(seed))
        options.seed = quint32(number(seed, UINT_MAX));
    if (!options.address.setAddress(parser.value(bind))) {
        err << "drive-emulator: --bind needs an IP address" << Qt::endl;
        valid = false;
    }
    options.oauth.autoApprove = parser.isSet(autoApprove);
    options.oauth.clientId = parser.value(clientId);
    options.oauth.clientSecret = parser.value(clientSecret);
    options.dataFolder = parser.value(data);
    options.log = parser.isSet(log);
    for (const QString &text : parser.values(fault)) {
        QString error;
        const auto rule = FaultRule::fromText(text, &error);
        if (!rule)
            err << "drive-emulator: --fault " << text << ": " << error << Qt::endl;
        valid = valid && rule;
        options.faults.append(rule.value_or(FaultRule()));
    }
    if (!valid)
        return 2;

    EmulatorServer server(options);
    QString error;
    if (!server.start(&error)) {
        err << "drive-emulator: " << error << Qt::endl;
        return 1;
    }
    const QString host = options.address.protocol() == QAbstractSocket::IPv6Protocol
            ? QLatin1Char('[') + options.address.toString() + QLatin1Char(']')
            : options.address.toString();
    QTextStream(stdout) << "drive-emulator listening on http://" << host << ':'
                        << server.serverPort() << Qt::endl;
    return app.exec();
}
