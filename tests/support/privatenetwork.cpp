// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "privatenetwork.h"

#include <QTemporaryFile>

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {
QString failed(const char *what)
{
    return QStringLiteral("cannot %1: %2")
            .arg(QLatin1String(what), QString::fromLocal8Bit(std::strerror(errno)));
}

// A new network namespace starts with its loopback interface down.
bool bringUpLoopback()
{
    const int control = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (control < 0)
        return false;
    ifreq request {};
    std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
    bool up = ::ioctl(control, SIOCGIFFLAGS, &request) == 0;
    request.ifr_flags |= IFF_UP;
    up = up && ::ioctl(control, SIOCSIFFLAGS, &request) == 0;
    ::close(control);
    return up;
}

// A file of its own bound over /etc/hosts; the file itself goes once bound.
bool bindHostsFile(const QStringList &names)
{
    QTemporaryFile hosts(QStringLiteral("/tmp/gdapp-hosts-XXXXXX"));
    if (!hosts.open())
        return false;
    hosts.write("127.0.0.1 localhost\n::1 localhost\n");
    for (const QString &name : names)
        hosts.write("127.0.0.1 " + name.toLatin1() + '\n');
    return hosts.flush()
            && ::mount(QFile::encodeName(hosts.fileName()).constData(), "/etc/hosts", nullptr,
                       MS_BIND, nullptr)
            == 0;
}
} // namespace

QString PrivateNetwork::enter(const QStringList &names)
{
    if (::unshare(CLONE_NEWNET | CLONE_NEWNS) != 0)
        return failed("make network and mount namespaces (root is needed)");
    // What is mounted here stays here. In a chroot, that needs the root to be a mount point.
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return failed("make the mounts private (in a chroot, its root must be a mount point)");
    if (!bindHostsFile(names))
        return failed("bind a hosts file of its own over /etc/hosts");
    if (!bringUpLoopback())
        return failed("bring the loopback interface up");
    return QString();
}
