// A library that LD_PRELOAD puts before the C library. It makes calls of a server fail, as orders.h says.

#include "serverfailures/orders.h"
#include "support/failing_calls_posix.cpp"

#include <arpa/inet.h>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <thread>

namespace {

// The calls of this library are not counted, because they are made by syscall().
template <typename... Arguments>
long Call(long number, Arguments... arguments) noexcept {
    return Real<long(long, ...)>("syscall")(number, arguments...);
}

void Write(long file, std::string const &text) noexcept {
    auto const size = static_cast<long>(text.size());
    if (Call(SYS_write, file, text.data(), size) != size)
        std::abort();
}

void ObeyAll() noexcept {
    sockaddr_in at{};
    at.sin_family = AF_INET;
    at.sin_port = htons(static_cast<std::uint16_t>(std::atoi(std::getenv("TUZUTIL_ORDERS"))));
    at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    long const connection = Call(SYS_socket, AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (Call(SYS_connect, connection, &at, sizeof at) != 0)
        std::abort();
    char order[100];
    for (long count; (count = Call(SYS_read, connection, order, sizeof order - 1)) > 0;) {
        order[count] = '\0';
        Write(connection, Obey(order));
    }
}

long Entries(char const *folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

// Only the server obeys, and not a program that starts it.
[[gnu::constructor]] void Begin() {
    if (std::getenv("TUZUTIL_ORDERS"))
        std::thread(ObeyAll).detach();
    if (char const *const order = std::getenv("TUZUTIL_ORDER"))
        Obey(order);
}

[[gnu::destructor]] void End() {
    if (!std::getenv("TUZUTIL_ORDER"))
        return;
    std::string const reply = Obey("stop");
    Write(Call(SYS_openat, AT_FDCWD, std::getenv("TUZUTIL_COUNTED"), O_WRONLY | O_CREAT | O_TRUNC, 0600), reply);
}

} // namespace

std::string Resources() {
    return std::to_string(Entries("/proc/self/fd")) + " files, " + std::to_string(Entries("/proc/self/task")) +
           " threads";
}

extern "C" {

#pragma GCC visibility push(default)

TUZUTIL_INTERRUPTIBLE(int, accept4, (int listener, sockaddr *address, socklen_t *size, int flags),
                      (listener, address, size, flags), EMFILE, -1)
TUZUTIL_INTERRUPTIBLE(int, poll, (pollfd * files, nfds_t count, int timeout), (files, count, timeout), ENOMEM, -1)
TUZUTIL_FAILING(int, getpeername, (int socket, sockaddr *address, socklen_t *size), (socket, address, size), ENOTCONN,
                -1)
TUZUTIL_FAILING(int, setsockopt, (int socket, int level, int name, void const *value, socklen_t size),
                (socket, level, name, value, size), ENOBUFS, -1)
TUZUTIL_FAILING(int, socket, (int domain, int type, int protocol), (domain, type, protocol), EMFILE, -1)
TUZUTIL_FAILING(int, bind, (int socket, sockaddr const *address, socklen_t size), (socket, address, size), EADDRINUSE,
                -1)
TUZUTIL_FAILING(int, listen, (int socket, int backlog), (socket, backlog), EADDRINUSE, -1)
TUZUTIL_FAILING(int, getsockname, (int socket, sockaddr *address, socklen_t *size), (socket, address, size), ENOBUFS,
                -1)
TUZUTIL_FAILING(int, rename, (char const *from, char const *to), (from, to), EACCES, -1)
TUZUTIL_FAILING(FILE *, fopen, (char const *path, char const *mode), (path, mode), EMFILE, nullptr)
TUZUTIL_FAILING(FILE *, fopen64, (char const *path, char const *mode), (path, mode), EMFILE, nullptr)
TUZUTIL_FAILING(int, gethostname, (char *name, size_t size), (name, size), EPERM, -1)
TUZUTIL_INTERRUPTIBLE(int, fsync, (int file), (file), EIO, -1)

ssize_t recv(int socket, void *bytes, size_t count, int flags) {
    static auto *const real = Real<ssize_t(int, void *, size_t, int)>("recv");
    if (Fails("recv", ECONNRESET) || IsInterrupted("recv"))
        return -1;
    return real(socket, bytes, count > 1 && MustFail("recv", calls::Kind::partial) ? count / 2 : count, flags);
}

ssize_t send(int socket, void const *bytes, size_t count, int flags) {
    static auto *const real = Real<ssize_t(int, void const *, size_t, int)>("send");
    if (Fails("send", EPIPE) || IsInterrupted("send"))
        return -1;
    return real(socket, bytes, count > 1 && MustFail("send", calls::Kind::partial) ? count / 2 : count, flags);
}

#pragma GCC visibility pop

} // extern "C"
