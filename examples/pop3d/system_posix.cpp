#include "Files.h"
#include "System.h"
#include "Texts.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace pop3d {

namespace {

std::atomic<bool> fsStop{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set in a signal handler");

void WantStop(int) {
    fsStop = true;
}

int Fd(std::intptr_t handle) {
    return static_cast<int>(handle);
}

// In bytes. The buffer is small, because a slow client is noticed only when this buffer is full.
int const fsSendBuffer = 65536;

// Retries a call that a signal interrupted.
template <typename Call>
long Retried(Call call) {
    long result;
    do {
        result = static_cast<long>(call());
    } while (result < 0 && errno == EINTR);
    return result;
}

int OpenAt(int folder, char const *name, int flags) {
    return static_cast<int>(Retried([=] { return openat(folder, name, flags | O_RDONLY | O_CLOEXEC); }));
}

} // namespace

namespace net {

bool StartUp() {
    // Each session needs a file descriptor for its connection, one for its lock and, while a message is sent, up to
    // three for files.
    rlimit files;
    if (getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur < 8192) {
        files.rlim_cur = files.rlim_max < 8192 ? files.rlim_max : 8192;
        setrlimit(RLIMIT_NOFILE, &files);
    }
    // If a client is gone, the result of send() says so. SIGPIPE is not needed.
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
        // If the server has no room for the client, the client stays in the queue. Without the wait, accept() would
        // fail again at once.
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
            poll(nullptr, 0, milliseconds);
        return fsNone;
    }
    int const on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &fsSendBuffer, sizeof fsSendBuffer);
    return fd;
}

std::uint32_t QueryAddress(Handle client) {
    sockaddr_in at{};
    socklen_t size = sizeof at;
    bool const isKnown = getpeername(Fd(client), reinterpret_cast<sockaddr *>(&at), &size) == 0;
    return isKnown && at.sin_family == AF_INET ? ntohl(at.sin_addr.s_addr) : 0;
}

long Receive(Handle client, char *to, std::size_t count) {
    return Retried([&] { return recv(Fd(client), to, count, 0); });
}

long Send(Handle client, char const *from, std::size_t count) {
    long const sent = Retried([&] { return send(Fd(client), from, count, MSG_NOSIGNAL | MSG_DONTWAIT); });
    return sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) ? 0 : sent;
}

bool AwaitRoom(Handle client, int milliseconds) {
    pollfd watched{Fd(client), POLLOUT, 0};
    return poll(&watched, 1, milliseconds) > 0;
}

bool IsThere(Handle client) {
    pollfd watched{Fd(client), POLLRDHUP, 0};
    return poll(&watched, 1, 0) <= 0;
}

void EndSending(Handle client) {
    shutdown(Fd(client), SHUT_WR);
}

bool Drain(Handle client) {
    char dropped[4096];
    long const count = Retried([&] { return recv(Fd(client), dropped, sizeof dropped, MSG_DONTWAIT); });
    return count > 0 || (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK));
}

void Shutdown(Handle client) {
    shutdown(Fd(client), SHUT_RDWR);
}

void Close(Handle handle) {
    close(Fd(handle));
}

} // namespace net

namespace file {

namespace {

bool Describe(struct stat const &status, Identity &identity) {
    identity.device = status.st_dev;
    identity.number = status.st_ino;
    identity.size = static_cast<std::uint64_t>(status.st_size);
    identity.time = std::int64_t{status.st_mtim.tv_sec} * 1000000000 + status.st_mtim.tv_nsec;
    return S_ISREG(status.st_mode);
}

// Returns whether the last call failed because there is no such file or folder.
bool IsMissing() {
    return errno == ENOENT || errno == ENOTDIR || errno == ELOOP;
}

} // namespace

struct Folder::System {
    int fd;
};

Folder::Folder(std::string const &mailbox, std::string const &name) {
    int fd = OpenAt(AT_FDCWD, mailbox.c_str(), O_DIRECTORY);
    if (fd >= 0 && !name.empty()) {
        int const outer = fd;
        fd = OpenAt(outer, name.c_str(), O_DIRECTORY | O_NOFOLLOW);
        int const problem = errno;
        close(outer);
        errno = problem;
    }
    if (fd >= 0)
        fSystem = std::make_unique<System>(System{fd});
    else
        fHasFailed = !IsMissing();
}

Folder::~Folder() {
    if (fSystem)
        close(fSystem->fd);
}

bool Folder::List(std::vector<std::string> &names) const {
    int const fd = OpenAt(fSystem->fd, ".", O_DIRECTORY);
    std::unique_ptr<DIR, int (*)(DIR *)> const folder(fd < 0 ? nullptr : fdopendir(fd), closedir);
    if (!folder) {
        if (fd >= 0)
            close(fd);
        return false;
    }
    for (;;) {
        errno = 0; // only errno tells an error from the end
        dirent const *const entry = readdir(folder.get());
        if (!entry)
            return errno == 0;
        names.emplace_back(entry->d_name);
    }
}

Kind Folder::Identify(std::string const &name, Identity &identity) const {
    struct stat status;
    if (fstatat(fSystem->fd, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        return Describe(status, identity) ? Kind::file : Kind::other;
    return IsMissing() ? Kind::other : Kind::unknown;
}

Handle Folder::Open(std::string const &name, Identity &identity) const {
    int const fd = OpenAt(fSystem->fd, name.c_str(), O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (fd < 0 || file::Identify(fd, identity))
        return fd;
    close(fd);
    return fsNone;
}

bool Folder::Remove(std::string const &name, Identity const &identity) const {
    Identity found;
    return Identify(name, found) == Kind::file && found == identity && unlinkat(fSystem->fd, name.c_str(), 0) == 0;
}

bool Identify(Handle file, Identity &identity) {
    struct stat status;
    return fstat(Fd(file), &status) == 0 && Describe(status, identity);
}

long Read(Handle file, char *to, std::size_t count) {
    return Retried([&] { return read(Fd(file), to, count); });
}

void Close(Handle file) {
    close(Fd(file));
}

// The lock is on the folder itself, so every path to the folder leads to the same lock.
Handle Lock(std::string const &mailbox, bool &isInUse) {
    int const fd = OpenAt(AT_FDCWD, mailbox.c_str(), O_DIRECTORY);
    isInUse = false;
    if (fd < 0 || Retried([&] { return flock(fd, LOCK_EX | LOCK_NB); }) == 0)
        return fd;
    isInUse = errno == EWOULDBLOCK;
    close(fd);
    return fsNone;
}

} // namespace file

unsigned long ProcessId() {
    return static_cast<unsigned long>(getpid());
}

TString Given(std::string const &text) {
    return text;
}

void WatchForStop() {
    struct sigaction action {};
    action.sa_handler = WantStop;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    std::signal(SIGHUP, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

bool IsStopWanted() {
    return fsStop;
}

} // namespace pop3d
