// A library that LD_PRELOAD puts before the C library. It makes calls of a server fail, as server_failures.py orders.
//
// The environment variables TUZUTIL_ORDERS and TUZUTIL_REPLIES name two pipes. An order is one line: "only N KIND"
// makes the call with the number N fail, "from N KIND" also all later ones, and "stop" none. KIND is a number of
// calls::Kind. The reply to "stop" is one line: how many calls were counted, and the name of the function that failed
// last.

#include "support/failing_calls_posix.cpp"

#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <sys/socket.h>
#include <thread>

namespace {

void Obey() noexcept {
    std::FILE *const orders = std::fopen(std::getenv("TUZUTIL_ORDERS"), "r");
    auto *const call = Real<long(long, ...)>("syscall"); // its calls are not counted
    long const replies = call(SYS_openat, AT_FDCWD, std::getenv("TUZUTIL_REPLIES"), O_WRONLY | O_CLOEXEC);
    if (!orders || replies < 0)
        std::abort();
    char order[100];
    // The C library reads a file by functions of its own, which are not replaced here.
    while (std::fgets(order, sizeof order, orders)) {
        char how[10] = "";
        long number = 0;
        int kind = 0;
        std::sscanf(order, "%9s %ld %d", how, &number, &kind);
        char reply[100] = "obeyed\n";
        if (strcmp(how, "only") == 0) {
            calls::FailOnly(number, static_cast<calls::Kind>(kind));
        } else if (strcmp(how, "from") == 0) {
            calls::FailFrom(number, static_cast<calls::Kind>(kind));
        } else {
            long const counted = calls::Stop();
            std::snprintf(reply, sizeof reply, "%ld %s\n", counted, calls::LastFailed());
        }
        auto const size = static_cast<long>(strlen(reply));
        if (call(SYS_write, replies, reply, size) != size)
            std::abort();
    }
}

// Only the server obeys, and not a program that starts it.
[[gnu::constructor]] void Begin() {
    if (std::getenv("TUZUTIL_ORDERS"))
        std::thread(Obey).detach();
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
TUZUTIL_FAILING(int, unlinkat, (int folder, char const *name, int flags), (folder, name, flags), EIO, -1)

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
