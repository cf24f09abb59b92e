// A library that LD_PRELOAD puts before the C library. It makes calls of a server fail, as server_failures.py orders.
//
// The environment variables TUZUTIL_ORDERS and TUZUTIL_REPLIES name two pipes. An order is one line: "only N KIND"
// makes the call with the number N fail, "from N KIND" also all later ones, and "stop" none. KIND is a number of
// calls::Kind. The reply to "stop" is one line: how many calls were counted, and the name of the function that failed
// last.
//
// A process that lives only for one session obeys one order, from its beginning on: the environment variable
// TUZUTIL_ORDER has the order, and TUZUTIL_COUNTED names the file that gets the line of "stop" when the process ends.

#include "support/failing_calls_posix.cpp"

#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <thread>

namespace {

// Returns the reply to the order.
std::string Obey(char const *order) noexcept {
    char how[10] = "";
    long number = 0;
    int kind = 0;
    std::sscanf(order, "%9s %ld %d", how, &number, &kind);
    if (strcmp(how, "only") == 0) {
        calls::FailOnly(number, static_cast<calls::Kind>(kind));
    } else if (strcmp(how, "from") == 0) {
        calls::FailFrom(number, static_cast<calls::Kind>(kind));
    } else {
        long const counted = calls::Stop();
        return std::to_string(counted) + ' ' + calls::LastFailed() + '\n';
    }
    return "obeyed\n";
}

// Uses syscall(), because its calls are not counted.
void Reply(long file, std::string const &reply) noexcept {
    auto const size = static_cast<long>(reply.size());
    if (Real<long(long, ...)>("syscall")(SYS_write, file, reply.data(), size) != size)
        std::abort();
}

long Open(char const *variable, int flags) noexcept {
    long const file =
        Real<long(long, ...)>("syscall")(SYS_openat, AT_FDCWD, std::getenv(variable), flags | O_CLOEXEC, 0600);
    if (file < 0)
        std::abort();
    return file;
}

void ObeyAll() noexcept {
    std::FILE *const orders = std::fopen(std::getenv("TUZUTIL_ORDERS"), "r");
    long const replies = Open("TUZUTIL_REPLIES", O_WRONLY);
    if (!orders)
        std::abort();
    char order[100];
    // The C library reads a file by functions of its own, which are not replaced here.
    while (std::fgets(order, sizeof order, orders))
        Reply(replies, Obey(order));
}

// Only the server obeys, and not a program that starts it.
[[gnu::constructor]] void Begin() {
    if (std::getenv("TUZUTIL_ORDERS"))
        std::thread(ObeyAll).detach();
    if (char const *const order = std::getenv("TUZUTIL_ORDER"))
        Obey(order);
}

[[gnu::destructor]] void End() {
    if (std::getenv("TUZUTIL_ORDER"))
        Reply(Open("TUZUTIL_COUNTED", O_WRONLY | O_CREAT | O_TRUNC), Obey("stop"));
}

} // namespace

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
