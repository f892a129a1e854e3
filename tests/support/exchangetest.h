// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef EXCHANGETEST_H
#define EXCHANGETEST_H

#include "emulatorprocess.h"

#include <QMap>
#include <QObject>

// A test of the emulator through exchanges written as text, in tables that read as what is sent
// and what comes back. A request is its method, its target (spaces written "+", as forms do) and
// perhaps a body on the first line, then header lines, and perhaps a blank line and a body (which
// may then span lines):
//     R"(PATCH /drive/v3/files/{a}?addParents={docs} {"name": "b.txt"})"
//     "GET /drive/v3/files/{a}?alt=media\nRange: bytes=1-"
// Names in braces are taken from values. A header given here replaces the default of its name
// (written alike), and one given empty removes it. A body goes as application/json unless a type
// is given.
class ExchangeTest : public QObject
{
public:
    // The columns of a table of exchanges, and one of its rows: a request and what answers it,
    // after steps whose answers are not looked at. The checks are "path=value; ...": JSON paths
    // with "*" over an array's items (their values joined by ","), ":keys" for an object's keys
    // (sorted), "@Name" for a header, "#" for the body; an empty value for something absent;
    // "path~expression" for a regular expression that matches. Values may name values.
    static void addColumns();
    static void row(const char *name, const QString &request, int status,
                    const QString &checks = {}, const QStringList &steps = {});

protected:
    // The current row's exchanges: what went otherwise than it says, or nothing.
    QString run();
    // Sends the request; the top-level texts and numbers of a JSON answer become values.
    BlockingHttpClient::Reply send(const QString &text);

    EmulatorProcess emulator;
    QMap<QString, QString> values;
    BlockingHttpClient::Headers defaults;

private:
    QString substituted(QString text) const;
    QStringList mismatches(const BlockingHttpClient::Reply &reply, const QString &checks) const;

    BlockingHttpClient m_http;
};

#endif // EXCHANGETEST_H
