// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

// A reference for the transfer benchmarks that does nothing but serve or discard bytes, so that
// what is measured against it is the client's own cost: every GET answers the file given with
// sendfile(), every other request has its body read and dropped, then answers 200 with a small
// JSON object. HTTP/1.1 with keep-alive, one thread per connection, loopback only.
//     gdapp-reference-server FILE
// The first line on standard output names the address: "listening on http://127.0.0.1:PORT".

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <thread>

namespace {
constexpr size_t Scratch = 256 * 1024;
const char Answer[] = "{\"id\": \"reference\"}";

struct Connection
{
    int socket;
    const char *file;
    std::string pending; // read past the last request's head or body
};

// Qt writes an upload in small pieces with Nagle's algorithm on: a delayed acknowledgement
// would hold each of them back. Acknowledging at once is what the service's front ends do, and
// the kernel leaves quick-ack mode by itself, so it is asked for on every read.
void acknowledgeAtOnce(int socket)
{
    const int one = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_QUICKACK, &one, sizeof one);
}

bool readMore(Connection &connection)
{
    acknowledgeAtOnce(connection.socket);
    char buffer[65536];
    const ssize_t got = recv(connection.socket, buffer, sizeof buffer, 0);
    if (got <= 0)
        return false;
    connection.pending.append(buffer, size_t(got));
    return true;
}

bool sendAll(int socket, const char *data, size_t size)
{
    while (size > 0) {
        const ssize_t sent = send(socket, data, size, MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        data += sent;
        size -= size_t(sent);
    }
    return true;
}

// Drops count bytes of body, those already read first.
bool discard(Connection &connection, unsigned long long count)
{
    const size_t buffered = std::min<unsigned long long>(count, connection.pending.size());
    connection.pending.erase(0, buffered);
    count -= buffered;
    static thread_local char scratch[Scratch];
    while (count > 0) {
        const ssize_t got =
                recv(connection.socket, scratch, std::min<unsigned long long>(count, Scratch), 0);
        if (got <= 0)
            return false;
        count -= size_t(got);
    }
    return true;
}

bool readLine(Connection &connection, std::string *line)
{
    size_t end;
    while ((end = connection.pending.find('\n')) == std::string::npos) {
        if (!readMore(connection))
            return false;
    }
    *line = connection.pending.substr(0, end);
    connection.pending.erase(0, end + 1);
    return true;
}

bool discardChunked(Connection &connection)
{
    for (;;) {
        std::string line;
        if (!readLine(connection, &line))
            return false;
        const unsigned long long size = std::strtoull(line.c_str(), nullptr, 16);
        if (size == 0)
            return readLine(connection, &line); // the empty trailer
        if (!discard(connection, size + 2)) // the data and its line end
            return false;
    }
}

std::string header(const std::string &head, const char *name)
{
    const std::string key = std::string("\n") + name + ":";
    std::string lower = head;
    for (char &c : lower)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    const size_t at = lower.find(key);
    if (at == std::string::npos)
        return std::string();
    const size_t start = head.find_first_not_of(' ', at + key.size());
    return head.substr(start, head.find_first_of("\r\n", start) - start);
}

bool serveFile(Connection &connection)
{
    const int fd = open(connection.file, O_RDONLY);
    struct stat info;
    if (fd < 0 || fstat(fd, &info) != 0)
        return false;
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n"
                             "Content-Length: "
            + std::to_string(info.st_size) + "\r\n\r\n";
    bool ok = sendAll(connection.socket, head.data(), head.size());
    off_t offset = 0;
    while (ok && offset < info.st_size)
        ok = sendfile(connection.socket, fd, &offset, size_t(info.st_size - offset)) > 0;
    close(fd);
    return ok;
}

void serve(Connection connection)
{
    const int one = 1;
    setsockopt(connection.socket, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    for (;;) {
        size_t end;
        while ((end = connection.pending.find("\r\n\r\n")) == std::string::npos) {
            if (!readMore(connection)) {
                close(connection.socket);
                return;
            }
        }
        const std::string head = "\n" + connection.pending.substr(0, end + 2);
        connection.pending.erase(0, end + 4);
        bool ok;
        if (head.compare(1, 4, "GET ") == 0) {
            ok = serveFile(connection);
        } else {
            if (header(head, "expect") == "100-continue")
                sendAll(connection.socket, "HTTP/1.1 100 Continue\r\n\r\n", 25);
            ok = header(head, "transfer-encoding").find("chunked") != std::string::npos
                    ? discardChunked(connection)
                    : discard(connection,
                              std::strtoull(header(head, "content-length").c_str(), nullptr, 10));
            const std::string answer = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n"
                                       "Content-Length: "
                    + std::to_string(sizeof Answer - 1) + "\r\n\r\n" + Answer;
            ok = ok && sendAll(connection.socket, answer.data(), answer.size());
        }
        if (!ok) {
            close(connection.socket);
            return;
        }
    }
}
} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (listener < 0 || bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0
        || listen(listener, 64) != 0
        || getsockname(listener, reinterpret_cast<sockaddr *>(&address), &length) != 0) {
        std::perror("gdapp-reference-server");
        return 1;
    }
    std::printf("listening on http://127.0.0.1:%u\n", ntohs(address.sin_port));
    std::fflush(stdout);
    for (;;) {
        const int socket = accept(listener, nullptr, nullptr);
        if (socket >= 0)
            std::thread(serve, Connection { socket, argv[1], std::string() }).detach();
    }
}
