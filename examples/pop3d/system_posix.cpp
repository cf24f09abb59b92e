#include "System.h"

#include "Texts.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace pop3d {

namespace {

std::atomic<bool> fsStop{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set in a signal handler");

void WantStop(int) {
    fsStop = true;
}

int Fd(net::Handle handle) {
    return static_cast<int>(handle);
}

// Retries a call that a signal interrupted.
template <typename Call>
long Retried(Call call) {
    long result;
    do {
        result = static_cast<long>(call());
    } while (result < 0 && errno == EINTR);
    return result;
}

} // namespace

namespace net {

bool StartUp() {
    // Each session has its connection and, while a message is sent, two files.
    rlimit files;
    if (getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur < 4096) {
        files.rlim_cur = files.rlim_max < 4096 ? files.rlim_max : 4096;
        setrlimit(RLIMIT_NOFILE, &files);
    }
    // A client that is gone shows in the result of send().
    return std::signal(SIGPIPE, SIG_IGN) != SIG_ERR;
}

Handle Listen(char const *address, std::uint16_t port, std::string &problem) {
    sockaddr_in at{};
    at.sin_family = AF_INET;
    at.sin_port = htons(port);
    if (inet_pton(AF_INET, address, &at.sin_addr) != 1) {
        problem = Tell(text::noAddress, address);
        return fsNone;
    }
    int const fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int const on = 1;
    if (fd >= 0)
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr *>(&at), sizeof at) != 0 || listen(fd, SOMAXCONN) != 0) {
        std::string const reason = errno == EADDRINUSE ? Tell(text::portInUse) : std::strerror(errno);
        problem = Tell(text::cannotListen, address, port, reason.c_str());
        if (fd >= 0)
            close(fd);
        return fsNone;
    }
    return fd;
}

std::uint16_t QueryPort(Handle listener) {
    sockaddr_in at{};
    socklen_t size = sizeof at;
    getsockname(Fd(listener), reinterpret_cast<sockaddr *>(&at), &size);
    return ntohs(at.sin_port);
}

Handle Accept(Handle listener, int milliseconds) {
    pollfd watched{Fd(listener), POLLIN, 0};
    if (poll(&watched, 1, milliseconds) <= 0)
        return fsNone;
    int const fd = accept4(Fd(listener), nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) {
        // Where there is no room for the client it stays in the queue: asked at once again, the answer is the same.
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
            poll(nullptr, 0, milliseconds);
        return fsNone;
    }
    int const on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return fd;
}

bool IsLoopback(Handle client) {
    sockaddr_in at{};
    socklen_t size = sizeof at;
    return getpeername(Fd(client), reinterpret_cast<sockaddr *>(&at), &size) == 0 && at.sin_family == AF_INET &&
           (ntohl(at.sin_addr.s_addr) >> 24) == 127;
}

void SetSendTimeout(Handle client, int seconds) {
    timeval const time{seconds, 0};
    setsockopt(Fd(client), SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
}

long Receive(Handle client, char *to, std::size_t count) {
    return Retried([&] { return recv(Fd(client), to, count, 0); });
}

long Send(Handle client, char const *from, std::size_t count) {
    return Retried([&] { return send(Fd(client), from, count, MSG_NOSIGNAL); });
}

void Shutdown(Handle client) {
    shutdown(Fd(client), SHUT_RDWR);
}

void Close(Handle handle) {
    close(Fd(handle));
}

} // namespace net

unsigned long ProcessId() {
    return static_cast<unsigned long>(getpid());
}

std::string Utf8(char const *text) {
    return text;
}

void WatchForStop() {
    struct sigaction action {};
    action.sa_handler = WantStop;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool IsStopWanted() {
    return fsStop;
}

} // namespace pop3d
