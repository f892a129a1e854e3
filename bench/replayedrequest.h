// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef REPLAYEDREQUEST_H
#define REPLAYEDREQUEST_H

#include <QJsonObject>
#include <QStringList>
#include <QUrl>

// A request of the emulator's log, as a reference sends it again: its method, target, the
// headers a client does not make itself, and the file that holds its body.
class ReplayedRequest
{
public:
    ReplayedRequest(const QJsonObject &logged, const QString &bodyFile);

    QString method() const;
    // Where the request went, on the server given.
    QString url(const QUrl &server) const;
    // "Name: value", but for the headers that curl and Qt make themselves and those a front end
    // adds on its way.
    QStringList headers() const;
    // Empty when the request had no body.
    QString bodyFile() const { return m_bodyFile; }

private:
    QJsonObject m_logged;
    QString m_bodyFile;
};

#endif // REPLAYEDREQUEST_H
