// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef EMULATORPROCESS_H
#define EMULATORPROCESS_H

#include "blockinghttpclient.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QUrl>

// Starts drive-emulator on a free loopback port for a test and stops it when destroyed:
//     EmulatorProcess emulator;
//     QVERIFY(emulator.start({ "--auto-approve" }));
// It also drives the emulator's control endpoints.
class EmulatorProcess
{
public:
    EmulatorProcess();
    ~EmulatorProcess();

    bool start(const QStringList &arguments = {});
    void stop();
    void kill();
    bool isRunning() const;
    qint64 processId() const { return m_process.processId(); }
    QString output(); // what it wrote on standard error

    quint16 port() const { return m_port; }
    QUrl url(const QString &pathAndQuery = QString()) const;
    // Points the plug-in of this process at the emulator (GDAPP_DRIVE_URL, GDAPP_OAUTH_URL).
    void exportEnvironment() const;

    BlockingHttpClient::Reply control(const QByteArray &method, const QString &what,
                                      const QJsonValue &body = QJsonValue());
    // An access token (and its refresh token) as if a consent had been given.
    QString issueAccessToken(QString *refreshToken = nullptr);
    QJsonObject seedFile(const QString &path, const QByteArray &content,
                         const QJsonObject &extra = QJsonObject());
    QJsonObject seedFolder(const QString &path);
    QJsonArray files();
    QJsonObject fileAt(const QString &path); // the first entry with that path
    QByteArray content(const QString &id);
    // Requests received, from the one numbered since (see nextRequest()).
    QJsonArray requests(int since = 0);
    // The number the next request will get: a mark for requests(since).
    int nextRequest();
    void clearRequests();
    void addFault(const QJsonObject &rule);
    void setSettings(const QJsonObject &settings);

    static QString programPath();

private:
    QProcess m_process;
    quint16 m_port = 0;
    BlockingHttpClient m_http;
};

// The identifier of an entry that seedFile(), seedFolder() or fileAt() gave.
inline QString idOf(const QJsonObject &entry)
{
    return entry.value(QLatin1String("id")).toString();
}

// An object written out in JSON, as for a fault rule: json(R"({"status": 500, "count": 2})").
QJsonObject json(const char *text);

#endif // EMULATORPROCESS_H
