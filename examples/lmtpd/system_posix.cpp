#include "System.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace lmtpd {

namespace {

// Retries a call that a signal interrupted.
template <typename Call>
long Retried(Call call) {
    long result;
    do {
        result = static_cast<long>(call());
    } while (result < 0 && errno == EINTR);
    return result;
}

// If the name is that of a link, fails.
int OpenFolder(int outer, char const *name) {
    int const flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    return static_cast<int>(Retried([=] { return openat(outer, name, flags); }));
}

class Folder {
public:
    Folder(Folder const &outer, char const *name) : Folder(outer.fFd, name) {}
    explicit Folder(std::string const &path) : Folder(AT_FDCWD, path.c_str()) {}
    ~Folder() {
        if (fFd >= 0)
            close(fFd);
    }
    Folder(Folder const &) = delete;
    Folder &operator=(Folder const &) = delete;

    bool IsOpen() const { return fFd >= 0; }
    // Returns whether there is no such folder: nothing has this name, or a file or a link has it.
    bool IsMissing() const {
        return fError == ENOENT || fError == ENOTDIR || fError == ELOOP || fError == ENAMETOOLONG;
    }
    int QueryFd() const { return fFd; }
    bool Sync() const {
        return Retried([this] { return fsync(fFd); }) == 0;
    }

private:
    Folder(int outer, char const *name) : fFd(OpenFolder(outer, name)), fError(fFd < 0 ? errno : 0) {}

    int fFd;
    int fError; // why the folder is not open
};

bool Await(int fd, short events, int seconds) {
    pollfd watched{fd, events, 0};
    return Retried([&] { return poll(&watched, 1, seconds * 1000); }) > 0;
}

// The name has the time, the process and the machine in it, as is usual for a Maildir, so that no two programs choose
// the same name.
std::string NewName() {
    static unsigned int count = 0;
    char host[256] = "localhost";
    gethostname(host, sizeof host - 1);
    std::string safeHost;
    for (char const *at = host; *at; ++at)
        safeHost += *at == '/' || *at == ':' ? '_' : *at;
    auto const now = std::chrono::system_clock::now().time_since_epoch();
    auto const microseconds = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    // All digits of the numbers, so that the names of messages sort by their times, even if the clock is coarse.
    return std::to_string(microseconds / 1000000) + ".M" + std::to_string(1000000 + microseconds % 1000000).substr(1) +
           'P' + std::to_string(getpid()) + 'Q' + std::to_string(1000000 + ++count).substr(1) + '.' + safeHost;
}

} // namespace

void PrepareStandardStreams() {
    // If the client is gone, the result of write() says so. SIGXFSZ (a file became too large) is a failed write, too.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

long Receive(char *to, std::size_t count, int idleSeconds) {
    return Await(STDIN_FILENO, POLLIN, idleSeconds) ? Retried([=] { return read(STDIN_FILENO, to, count); }) : -1;
}

// Waits before each write. A write may still wait if the client takes only some of the bytes, but a client that lets
// the few bytes of an answer wait has stopped reading.
bool Send(char const *from, std::size_t count, int idleSeconds) {
    while (count > 0) {
        if (!Await(STDOUT_FILENO, POLLOUT, idleSeconds))
            return false;
        long const sent = Retried([=] { return write(STDOUT_FILENO, from, count); });
        if (sent <= 0)
            return false;
        from += sent;
        count -= static_cast<std::size_t>(sent);
    }
    return true;
}

std::string LastProblem() {
    return std::generic_category().message(errno);
}

struct NewMessage::System {
    explicit System(std::string const &mailbox) : outer(mailbox), unfinished(outer, "tmp"), finished(outer, "new") {}

    Folder outer;
    Folder unfinished;
    Folder finished;
    std::string name = NewName();
    int fd = -1;
    bool isCommitted = false;
};

Presence NewMessage::FindMaildir(std::string const &mailbox) {
    System const found(mailbox);
    for (Folder const *const folder : {&found.outer, &found.unfinished, &found.finished})
        if (!folder->IsOpen())
            return folder->IsMissing() ? Presence::missing : Presence::unknown;
    return Presence::there;
}

NewMessage::NewMessage(std::string const &mailbox) : fSystem(std::make_unique<System>(mailbox)) {
    System &s = *fSystem;
    if (s.unfinished.IsOpen() && s.finished.IsOpen())
        s.fd = static_cast<int>(Retried([&] {
            return openat(s.unfinished.QueryFd(), s.name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                          0600);
        }));
}

NewMessage::~NewMessage() {
    if (!IsOpen())
        return;
    close(fSystem->fd);
    if (!fSystem->isCommitted)
        unlinkat(fSystem->unfinished.QueryFd(), fSystem->name.c_str(), 0);
}

bool NewMessage::IsOpen() const {
    return fSystem->fd >= 0;
}

bool NewMessage::Write(char const *from, std::size_t count) {
    while (count > 0) {
        long const written = Retried([&] { return write(fSystem->fd, from, count); });
        if (written <= 0)
            return false;
        from += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

// The bytes must be on the disk before the name is: otherwise a power failure could leave an empty message.
bool NewMessage::Commit() {
    System &s = *fSystem;
    if (Retried([&] { return fsync(s.fd); }) != 0 ||
        renameat(s.unfinished.QueryFd(), s.name.c_str(), s.finished.QueryFd(), s.name.c_str()) != 0)
        return false;
    s.isCommitted = true;
    return s.finished.Sync();
}

} // namespace lmtpd
