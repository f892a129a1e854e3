// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "processmeasure.h"

#include <QElapsedTimer>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

extern char **environ;

namespace {
int launcherSocket = -1;

bool writeAll(int fd, const void *data, size_t size)
{
    const char *bytes = static_cast<const char *>(data);
    while (size > 0) {
        const ssize_t written = ::write(fd, bytes, size);
        if (written <= 0)
            return false;
        bytes += written;
        size -= size_t(written);
    }
    return true;
}

bool readAll(int fd, void *data, size_t size)
{
    char *bytes = static_cast<char *>(data);
    while (size > 0) {
        const ssize_t count = ::read(fd, bytes, size);
        if (count <= 0)
            return false;
        bytes += count;
        size -= size_t(count);
    }
    return true;
}

// A list of strings on the wire: a count, then each string's length and bytes.
bool writeStrings(int fd, const std::vector<std::string> &strings)
{
    const quint32 count = quint32(strings.size());
    if (!writeAll(fd, &count, sizeof count))
        return false;
    for (const std::string &string : strings) {
        const quint32 size = quint32(string.size());
        if (!writeAll(fd, &size, sizeof size) || !writeAll(fd, string.data(), size))
            return false;
    }
    return true;
}

bool readStrings(int fd, std::vector<std::string> *strings)
{
    quint32 count = 0;
    if (!readAll(fd, &count, sizeof count))
        return false;
    strings->assign(count, std::string());
    for (std::string &string : *strings) {
        quint32 size = 0;
        if (!readAll(fd, &size, sizeof size))
            return false;
        string.resize(size);
        if (!readAll(fd, string.data(), size))
            return false;
    }
    return true;
}

std::vector<char *> pointers(std::vector<std::string> &strings)
{
    std::vector<char *> result;
    for (std::string &string : strings)
        result.push_back(string.data());
    result.push_back(nullptr);
    return result;
}

// Forks and execs here, collects standard output, and measures.
ProcessMeasure measure(std::vector<std::string> arguments, std::vector<std::string> environment)
{
    ProcessMeasure measure;
    int pipeEnds[2];
    if (::pipe(pipeEnds) != 0)
        return measure;
    std::vector<char *> argv = pointers(arguments);
    std::vector<char *> envp = pointers(environment);

    QElapsedTimer timer;
    timer.start();
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(pipeEnds[1], STDOUT_FILENO);
        ::close(pipeEnds[0]);
        ::close(pipeEnds[1]);
        if (launcherSocket >= 0)
            ::close(launcherSocket);
        ::execvpe(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    ::close(pipeEnds[1]);
    char chunk[4096];
    ssize_t count = 0;
    while ((count = ::read(pipeEnds[0], chunk, sizeof chunk)) > 0)
        measure.output.append(chunk, count);
    ::close(pipeEnds[0]);

    int status = 0;
    struct rusage usage
    {
    };
    ::wait4(child, &status, 0, &usage);
    measure.milliseconds = timer.nsecsElapsed() / 1e6;
    measure.peakMiB = usage.ru_maxrss / 1024.0; // kibibytes on Linux
    measure.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return measure;
}

[[noreturn]] void serve(int fd)
{
    std::vector<std::string> arguments;
    std::vector<std::string> environment;
    while (readStrings(fd, &arguments) && readStrings(fd, &environment)) {
        const ProcessMeasure result = measure(arguments, environment);
        const quint32 size = quint32(result.output.size());
        if (!writeAll(fd, &result.milliseconds, sizeof result.milliseconds)
            || !writeAll(fd, &result.peakMiB, sizeof result.peakMiB)
            || !writeAll(fd, &result.exitCode, sizeof result.exitCode)
            || !writeAll(fd, &size, sizeof size) || !writeAll(fd, result.output.constData(), size))
            break;
    }
    ::_exit(0);
}
} // namespace

bool ProcessMeasure::startLauncher()
{
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return false;
    const pid_t launcher = ::fork();
    if (launcher < 0)
        return false;
    if (launcher == 0) {
        ::close(ends[0]);
        serve(ends[1]);
    }
    ::close(ends[1]);
    launcherSocket = ends[0];
    return true;
}

ProcessMeasure ProcessMeasure::run(const QString &program, const QStringList &arguments)
{
    std::vector<std::string> argv { program.toStdString() };
    for (const QString &argument : arguments)
        argv.push_back(argument.toStdString());
    std::vector<std::string> environment;
    for (char **entry = environ; *entry; ++entry)
        environment.emplace_back(*entry);
    if (launcherSocket < 0)
        return measure(argv, environment);

    ProcessMeasure result;
    quint32 size = 0;
    if (!writeStrings(launcherSocket, argv) || !writeStrings(launcherSocket, environment)
        || !readAll(launcherSocket, &result.milliseconds, sizeof result.milliseconds)
        || !readAll(launcherSocket, &result.peakMiB, sizeof result.peakMiB)
        || !readAll(launcherSocket, &result.exitCode, sizeof result.exitCode)
        || !readAll(launcherSocket, &size, sizeof size))
        return ProcessMeasure();
    result.output.resize(size);
    if (!readAll(launcherSocket, result.output.data(), size))
        return ProcessMeasure();
    return result;
}
