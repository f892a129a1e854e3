// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef BENCHCHILD_H
#define BENCHCHILD_H

#include <QStringList>

// One measured operation, in a process of its own so that its peak memory is its own: an
// operation of the plug-in, loaded as a host loads it, or Qt's own plain request of the bytes
// the plug-in sends. It writes the operation's time in milliseconds on standard output.
class BenchChild
{
public:
    explicit BenchChild(const QStringList &arguments);
    int run();

private:
    int plainRequest();
    int pluginOperation();

    QStringList m_arguments;
};

#endif // BENCHCHILD_H
