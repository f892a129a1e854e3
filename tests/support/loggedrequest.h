// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef LOGGEDREQUEST_H
#define LOGGEDREQUEST_H

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

// One request from the emulator's log, taken apart.
class LoggedRequest
{
public:
    explicit LoggedRequest(const QJsonObject &entry) : m_entry(entry) { }
    static QList<LoggedRequest> list(const QJsonArray &log);

    QString method() const { return text("method"); }
    QString path() const { return text("path"); }
    QString target() const { return text("target"); }
    QByteArray body() const;
    // The query's items, decoded as a form decodes them ('+' is a space), in their order.
    QList<QPair<QString, QString>> queryItems() const;
    QString q() const { return queryItems().value(1).second; }
    QStringList headerNames() const; // in lower case
    QString header(const QString &name) const; // the first of that name, whatever its case

private:
    QString text(const char *key) const { return m_entry.value(QLatin1String(key)).toString(); }
    QJsonArray headers() const { return m_entry.value(QLatin1String("headers")).toArray(); }

    QJsonObject m_entry;
};

#endif // LOGGEDREQUEST_H
