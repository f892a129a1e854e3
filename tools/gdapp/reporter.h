// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef REPORTER_H
#define REPORTER_H

#include <QString>
#include <QTextStream>

class CloudFile;
class ExchangeWatch;

// gdapp's voice: results on standard output, failures on standard error as
// "gdapp: COMMAND: message". Each failure returns the exit status that goes with it.
class Reporter
{
public:
    void setCommand(const QString &command) { m_command = command; }
    // What the host saw on the network, which tells more than the plug-in's text when an
    // exchange stalled or a proxy failed.
    void setExchanges(const ExchangeWatch *exchanges) { m_exchanges = exchanges; }

    static QTextStream &out();
    static QTextStream &err();

    int usage(const QString &message) const;
    int fail(const QString &message, int exitCode) const;
    // The cloud file's last error, about what (a URL, most often).
    int fail(const QString &what, const CloudFile &file) const;
    // The words and the exit status of that error, for a message that says more.
    QString explain(const CloudFile &file, int *exitCode) const;

private:
    QString m_command;
    const ExchangeWatch *m_exchanges = nullptr;
};

#endif // REPORTER_H
