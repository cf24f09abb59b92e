// A library that LD_PRELOAD puts before the C library. It records what a process changes below one folder, so that
// powerloss.py can build every state in which a power failure could leave this folder.
//
// The environment variable TUZUTIL_RECORDED names the folder, and TUZUTIL_RECORDING the file to which the record is
// appended. Each change is one line. A file is identified by its inode number, a name by its path. Only changes that
// succeeded are recorded, in their order: a lock is held during each call.
//
//     create INODE PATH        write INODE OFFSET BYTES-IN-HEX      truncate INODE SIZE     sync INODE
//     rename PATH PATH         link PATH PATH                       unlink PATH             folder PATH
//     syncfolder PATH

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

template <typename Function>
Function *Real(char const *name) noexcept {
    void *const found = ::dlsym(RTLD_NEXT, name);
    Function *function;
    static_assert(sizeof function == sizeof found);
    std::memcpy(&function, &found, sizeof function);
    return function;
}

// While a TRecording exists, no other thread changes a file. The destructor restores errno.
class TRecording {
public:
    TRecording() : fLock(Mutex()), fError(errno) {}
    TRecording(TRecording const &) = delete;
    TRecording &operator=(TRecording const &) = delete;
    ~TRecording() { errno = fError; }

    template <typename Result>
    Result Keep(Result result) { // stores the errno of the call that gave the result
        fError = errno;
        return result;
    }
    // Returns the path of a name in a folder, or an empty text if it is not recorded.
    static std::string Path(int folder, char const *name) {
        std::string path = name;
        if (name[0] != '/') {
            char text[4096];
            std::string const link = folder == AT_FDCWD ? "/proc/self/cwd" : "/proc/self/fd/" + std::to_string(folder);
            ssize_t const size = ::readlink(link.c_str(), text, sizeof text);
            path = std::string(text, size > 0 ? static_cast<std::size_t>(size) : 0) + '/' + name;
        }
        return path.starts_with(Folder()) ? path : "";
    }
    // Returns the inode number of an open regular file, or 0 if it is not recorded.
    static unsigned long Inode(int file) {
        struct stat status;
        if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode))
            return 0;
        char text[4096];
        ssize_t const size = ::readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), text, sizeof text);
        bool const isBelow = std::string(text, size > 0 ? static_cast<std::size_t>(size) : 0).starts_with(Folder());
        return isBelow ? status.st_ino : 0;
    }
    // Returns the path of an open folder, or an empty text if it is not recorded.
    static std::string FolderPath(int file) {
        struct stat status;
        return ::fstat(file, &status) == 0 && S_ISDIR(status.st_mode) ? Path(file, ".") : "";
    }
    static void Note(std::string line) {
        line += '\n';
        static int const file = static_cast<int>(::syscall(SYS_openat, AT_FDCWD, std::getenv("TUZUTIL_RECORDING"),
                                                           O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600));
        if (Real<long(long, ...)>("syscall")(SYS_write, file, line.data(), line.size()) !=
            static_cast<long>(line.size()))
            std::abort();
    }
    static void NoteOpened(std::string const &path, int file, bool existed, bool isTruncated) {
        unsigned long const inode = file >= 0 && !path.empty() ? Inode(file) : 0;
        if (inode == 0)
            return;
        if (!existed)
            Note("create " + std::to_string(inode) + ' ' + path);
        else if (isTruncated)
            Note("truncate " + std::to_string(inode) + " 0");
    }
    // The position of the file is behind the bytes that were written, even if it was opened for appending.
    static void NoteWritten(int file, iovec const *parts, ssize_t count) {
        unsigned long const inode = count > 0 ? Inode(file) : 0;
        if (inode == 0)
            return;
        std::string line =
            "write " + std::to_string(inode) + ' ' + std::to_string(::lseek(file, 0, SEEK_CUR) - count) + ' ';
        for (ssize_t left = count; left > 0; ++parts) {
            auto const size = std::min(static_cast<std::size_t>(left), parts->iov_len);
            for (std::size_t i = 0; i < size; ++i) {
                char hex[3];
                std::snprintf(hex, sizeof hex, "%02x", static_cast<unsigned char const *>(parts->iov_base)[i]);
                line += hex;
            }
            left -= static_cast<ssize_t>(size);
        }
        Note(line);
    }

private:
    static std::recursive_mutex &Mutex() {
        static auto *const only = new std::recursive_mutex;
        return *only;
    }
    static std::string const &Folder() {
        static auto *const only = new std::string(std::string(std::getenv("TUZUTIL_RECORDED")) + '/');
        return *only;
    }

    std::lock_guard<std::recursive_mutex> fLock;
    int fError;
};

bool Exists(std::string const &path) {
    struct stat status;
    return !path.empty() && ::lstat(path.c_str(), &status) == 0;
}

template <typename Call>
int Opened(int folder, char const *name, int flags, Call call) {
    TRecording recording;
    std::string const path = TRecording::Path(folder, name);
    bool const existed = Exists(path);
    int const file = recording.Keep(call());
    TRecording::NoteOpened(path, file, existed, flags & O_TRUNC);
    return file;
}

template <typename Call>
FILE *OpenedStream(char const *name, char const *mode, Call call) {
    TRecording recording;
    std::string const path = TRecording::Path(AT_FDCWD, name);
    bool const existed = Exists(path);
    FILE *const stream = recording.Keep(call());
    if (stream)
        TRecording::NoteOpened(path, ::fileno(stream), existed, mode[0] == 'w');
    return stream;
}

template <typename Call>
int Renamed(char const *what, int folder, char const *name, int newFolder, char const *newName, Call call) {
    TRecording recording;
    std::string const from = TRecording::Path(folder, name);
    std::string const to = TRecording::Path(newFolder, newName);
    int const result = recording.Keep(call());
    if (result == 0 && !from.empty() && !to.empty())
        TRecording::Note(what + (' ' + from) + ' ' + to);
    return result;
}

template <typename Call>
int Named(char const *what, int folder, char const *name, Call call) {
    TRecording recording;
    std::string const path = TRecording::Path(folder, name);
    int const result = recording.Keep(call());
    if (result == 0 && !path.empty())
        TRecording::Note(what + (' ' + path));
    return result;
}

template <typename Call>
int Synced(int file, Call call) {
    TRecording recording;
    int const result = recording.Keep(call());
    unsigned long const inode = result == 0 ? TRecording::Inode(file) : 0;
    if (inode != 0)
        TRecording::Note("sync " + std::to_string(inode));
    else if (std::string const folder = result == 0 ? TRecording::FolderPath(file) : ""; !folder.empty())
        TRecording::Note("syncfolder " + folder);
    return result;
}

} // namespace

extern "C" {

#pragma GCC visibility push(default)

#define TUZUTIL_OPENING(name)                                                                                          \
    int name(char const *path, int flags, ...) {                                                                       \
        std::va_list rest;                                                                                             \
        va_start(rest, flags);                                                                                         \
        mode_t const mode = flags & O_CREAT ? va_arg(rest, mode_t) : 0;                                                \
        va_end(rest);                                                                                                  \
        return Opened(AT_FDCWD, path, flags,                                                                           \
                      [&] { return Real<int(char const *, int, ...)>(#name)(path, flags, mode); });                    \
    }
TUZUTIL_OPENING(open)
TUZUTIL_OPENING(open64)

int openat(int folder, char const *path, int flags, ...) {
    std::va_list rest;
    va_start(rest, flags);
    mode_t const mode = flags & O_CREAT ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return Opened(folder, path, flags,
                  [&] { return Real<int(int, char const *, int, ...)>("openat")(folder, path, flags, mode); });
}

FILE *fopen(char const *path, char const *mode) {
    return OpenedStream(path, mode, [&] { return Real<FILE *(char const *, char const *)>("fopen")(path, mode); });
}

FILE *fopen64(char const *path, char const *mode) {
    return OpenedStream(path, mode, [&] { return Real<FILE *(char const *, char const *)>("fopen64")(path, mode); });
}

ssize_t write(int file, void const *bytes, size_t count) {
    TRecording recording;
    ssize_t const done = recording.Keep(Real<ssize_t(int, void const *, size_t)>("write")(file, bytes, count));
    iovec const part = {const_cast<void *>(bytes), count};
    TRecording::NoteWritten(file, &part, done);
    return done;
}

ssize_t writev(int file, iovec const *parts, int count) {
    TRecording recording;
    ssize_t const done = recording.Keep(Real<ssize_t(int, iovec const *, int)>("writev")(file, parts, count));
    TRecording::NoteWritten(file, parts, done);
    return done;
}

// The library writes records by syscall().
long syscall(long number, ...) {
    std::va_list rest;
    va_start(rest, number);
    long arguments[6];
    for (long &argument : arguments)
        argument = va_arg(rest, long);
    va_end(rest);
    auto const call = [&] {
        return Real<long(long, ...)>("syscall")(number, arguments[0], arguments[1], arguments[2], arguments[3],
                                                arguments[4], arguments[5]);
    };
    if (number != SYS_write)
        return call();
    TRecording recording;
    long const done = recording.Keep(call());
    iovec const part = {reinterpret_cast<void *>(arguments[1]), static_cast<std::size_t>(arguments[2])};
    TRecording::NoteWritten(static_cast<int>(arguments[0]), &part, done);
    return done;
}

int ftruncate(int file, off_t size) noexcept {
    TRecording recording;
    int const result = recording.Keep(Real<int(int, off_t)>("ftruncate")(file, size));
    unsigned long const inode = result == 0 ? TRecording::Inode(file) : 0;
    if (inode != 0)
        TRecording::Note("truncate " + std::to_string(inode) + ' ' + std::to_string(size));
    return result;
}

int rename(char const *from, char const *to) noexcept {
    return Renamed("rename", AT_FDCWD, from, AT_FDCWD, to,
                   [&] { return Real<int(char const *, char const *)>("rename")(from, to); });
}

int renameat(int folder, char const *from, int newFolder, char const *to) noexcept {
    return Renamed("rename", folder, from, newFolder, to, [&] {
        return Real<int(int, char const *, int, char const *)>("renameat")(folder, from, newFolder, to);
    });
}

int linkat(int folder, char const *from, int newFolder, char const *to, int flags) noexcept {
    return Renamed("link", folder, from, newFolder, to, [&] {
        return Real<int(int, char const *, int, char const *, int)>("linkat")(folder, from, newFolder, to, flags);
    });
}

int unlink(char const *path) noexcept {
    return Named("unlink", AT_FDCWD, path, [&] { return Real<int(char const *)>("unlink")(path); });
}

int remove(char const *path) noexcept {
    return Named("unlink", AT_FDCWD, path, [&] { return Real<int(char const *)>("remove")(path); });
}

int unlinkat(int folder, char const *path, int flags) noexcept {
    return Named("unlink", folder, path,
                 [&] { return Real<int(int, char const *, int)>("unlinkat")(folder, path, flags); });
}

int mkdir(char const *path, mode_t mode) noexcept {
    return Named("folder", AT_FDCWD, path, [&] { return Real<int(char const *, mode_t)>("mkdir")(path, mode); });
}

int fsync(int file) {
    return Synced(file, [&] { return Real<int(int)>("fsync")(file); });
}

int fdatasync(int file) {
    return Synced(file, [&] { return Real<int(int)>("fdatasync")(file); });
}

#pragma GCC visibility pop

} // extern "C"
