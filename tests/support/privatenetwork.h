// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef PRIVATENETWORK_H
#define PRIVATENETWORK_H

#include <QString>
#include <QStringList>

// Puts this process, and every program it starts, in network and mount namespaces of their own:
// a loopback interface that nothing else uses, and a hosts file that maps the names given to
// 127.0.0.1. Qt never sends a request for a loopback address or for "localhost" through a
// proxy; a test whose requests must take one reaches the emulator under such a name.
//     int main(int argc, char *argv[])
//     {
//         const QString why = PrivateNetwork::enter({ "drive.gdapp.test" });
//         QCoreApplication application(argc, argv);
//         ...
// Call it before any thread starts: until then, namespaces are the calling thread's alone.
// Needs root (or the capability to administer the system), as CI has.
class PrivateNetwork
{
public:
    // Empty when done; otherwise why it could not be done.
    static QString enter(const QStringList &names);
};

#endif // PRIVATENETWORK_H
