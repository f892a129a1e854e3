// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorprocess.h"

#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QRegularExpression>

EmulatorProcess::EmulatorProcess()
{
    m_process.setProgram(programPath());
}

EmulatorProcess::~EmulatorProcess()
{
    stop();
}

QString EmulatorProcess::programPath()
{
    const QByteArray fromEnvironment = qgetenv("GDAPP_EMULATOR");
    return fromEnvironment.isEmpty() ? QStringLiteral(GDAPP_EMULATOR_PATH)
                                     : QString::fromLocal8Bit(fromEnvironment);
}

bool EmulatorProcess::start(const QStringList &arguments)
{
    m_process.setArguments(QStringList { QStringLiteral("--port"), QStringLiteral("0") }
                           + arguments);
    m_process.setReadChannel(QProcess::StandardOutput);
    m_process.start();
    if (!m_process.waitForStarted(10000))
        return false;
    // The first line names the port it listens on.
    const QDeadlineTimer deadline(20000);
    QByteArray line;
    while (!line.contains('\n') && !deadline.hasExpired()) {
        if (!m_process.waitForReadyRead(int(deadline.remainingTime())))
            break;
        line += m_process.readAllStandardOutput();
    }
    const QRegularExpressionMatch match = QRegularExpression(QStringLiteral(":(\\d+)\\s*$"))
                                                  .match(QString::fromUtf8(line.trimmed()));
    if (!match.hasMatch()) {
        kill();
        return false;
    }
    m_port = quint16(match.captured(1).toUInt());
    return true;
}

void EmulatorProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(5000))
        kill();
}

void EmulatorProcess::kill()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished(5000);
}

bool EmulatorProcess::isRunning() const
{
    return m_process.state() == QProcess::Running;
}

QString EmulatorProcess::output()
{
    return QString::fromUtf8(m_process.readAllStandardError());
}

QUrl EmulatorProcess::url(const QString &pathAndQuery) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_port).arg(pathAndQuery));
}

void EmulatorProcess::exportEnvironment() const
{
    const QByteArray base = url().toString().toUtf8();
    qputenv("GDAPP_DRIVE_URL", base);
    qputenv("GDAPP_OAUTH_URL", base);
}

BlockingHttpClient::Reply EmulatorProcess::control(const QByteArray &method, const QString &what,
                                                   const QJsonValue &body)
{
    QByteArray data;
    if (body.isObject())
        data = QJsonDocument(body.toObject()).toJson(QJsonDocument::Compact);
    else if (body.isArray())
        data = QJsonDocument(body.toArray()).toJson(QJsonDocument::Compact);
    return m_http.send(method, url(QStringLiteral("/_emulator/") + what),
                       { { "Content-Type", "application/json" } }, data);
}

QString EmulatorProcess::issueAccessToken(QString *refreshToken)
{
    const QJsonObject answer = control("POST", QStringLiteral("tokens")).json();
    if (refreshToken)
        *refreshToken = answer.value(QStringLiteral("refresh_token")).toString();
    return answer.value(QStringLiteral("access_token")).toString();
}

QJsonObject EmulatorProcess::seedFile(const QString &path, const QByteArray &content,
                                      const QJsonObject &extra)
{
    QJsonObject description = extra;
    description.insert(QStringLiteral("path"), path);
    description.insert(QStringLiteral("content"), QString::fromLatin1(content.toBase64()));
    return control("POST", QStringLiteral("files"), description)
            .json()
            .value(QStringLiteral("files"))
            .toArray()
            .at(0)
            .toObject();
}

QJsonObject EmulatorProcess::seedFolder(const QString &path)
{
    return control("POST", QStringLiteral("files"),
                   QJsonObject { { QStringLiteral("path"), path },
                                 { QStringLiteral("folder"), true } })
            .json()
            .value(QStringLiteral("files"))
            .toArray()
            .at(0)
            .toObject();
}

QJsonArray EmulatorProcess::files()
{
    return control("GET", QStringLiteral("files")).json().value(QStringLiteral("files")).toArray();
}

QJsonObject EmulatorProcess::fileAt(const QString &path)
{
    for (const QJsonValue &file : files()) {
        if (file.toObject().value(QStringLiteral("path")).toString() == path)
            return file.toObject();
    }
    return QJsonObject();
}

QByteArray EmulatorProcess::content(const QString &id)
{
    return control("GET", QStringLiteral("files/%1/content").arg(id)).body;
}

QJsonArray EmulatorProcess::requests(int since)
{
    return control("GET", QStringLiteral("requests?since=%1").arg(since))
            .json()
            .value(QStringLiteral("requests"))
            .toArray();
}

int EmulatorProcess::nextRequest()
{
    return control("GET", QStringLiteral("requests?since=2147483647"))
            .json()
            .value(QStringLiteral("next"))
            .toInt();
}

void EmulatorProcess::clearRequests()
{
    control("DELETE", QStringLiteral("requests"));
}

void EmulatorProcess::addFault(const QJsonObject &rule)
{
    control("POST", QStringLiteral("faults"), rule);
}

void EmulatorProcess::setSettings(const QJsonObject &settings)
{
    control("POST", QStringLiteral("settings"), settings);
}

QJsonObject json(const char *text)
{
    QJsonParseError error;
    const QJsonObject object = QJsonDocument::fromJson(text, &error).object();
    if (error.error != QJsonParseError::NoError)
        qFatal("not a JSON object: %s", text);
    return object;
}
