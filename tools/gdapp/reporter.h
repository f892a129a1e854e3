// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef REPORTER_H
#define REPORTER_H

#include "outcome.h"

#include <QString>
#include <QTextStream>

class CloudFile;
class ExchangeWatch;

// gdapp's voice: results on standard output, how a command ended on standard error, as
// "gdapp: COMMAND: message", and the exit status that goes with it.
class Reporter
{
public:
    void setCommand(const QString &command) { m_command = command; }
    // What the host saw on the network, which tells more than the plug-in's text when an
    // exchange stalled or a proxy failed.
    void setExchanges(const ExchangeWatch *exchanges) { m_exchanges = exchanges; }

    static QTextStream &out();
    static QTextStream &err();

    // Tells how the command ended, when it failed, and returns its exit status.
    int report(const Outcome &outcome) const;
    // The cloud file's last error, about what (a URL, most often).
    Outcome failure(const QString &what, const CloudFile &file) const;
    // That error on its own, for a message that says more.
    Outcome error(const CloudFile &file) const;

private:
    QString m_command;
    const ExchangeWatch *m_exchanges = nullptr;
};

#endif // REPORTER_H
