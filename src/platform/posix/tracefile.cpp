#include "platform/platform.h"

#include "names.h"
#include "platform/no_cancel.h"

#include <new>

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>
#include <utility>

namespace {

int KeepTrying(auto call) noexcept {
    int result;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

// Writes all of it where the system lets us; returns what it took.
std::size_t WriteAll(int descriptor, char const *text, std::size_t count) noexcept {
    std::size_t done = 0;
    while (done < count) {
        ssize_t const result = ::write(descriptor, text + done, count - done);
        if (result > 0)
            done += static_cast<std::size_t>(result);
        else if (result == 0 || errno != EINTR)
            break;
    }
    return done;
}

// Says to the other processes of the user that this one shares a file: a block of memory with a name, which nobody else
// can make, open or keep. A lock on the file itself proves nothing: everybody who may read it can lock it.
class TPresence {
public:
    TPresence() noexcept = default;
    TPresence(TPresence &&other) noexcept
        : fBlock(std::exchange(other.fBlock, nullptr)), fView(std::exchange(other.fView, nullptr)) {}
    TPresence &operator=(TPresence &&) = delete;
    ~TPresence() {
        if (fBlock)
            platform::CloseSharedMemory(fBlock, fView);
    }

    // True if this process is the first. False as well where nobody can say.
    bool Enter(struct stat const &file) noexcept {
        char name[80];
        ::snprintf(name, sizeof name, "tuzutil trace file %llx-%llx", static_cast<unsigned long long>(file.st_dev),
                   static_cast<unsigned long long>(file.st_ino));
        // One that leaves between the two has us try again.
        for (int tries = 0; tries < 100 && !fBlock; ++tries) {
            fBlock = platform::CreateSharedMemory(name, 1, fView);
            if (fBlock)
                return true;
            if (errno != EEXIST)
                return false;
            fBlock = platform::OpenSharedMemory(name, fView);
        }
        return false;
    }

private:
    void *fBlock = nullptr;
    void *fView = nullptr;
};

class TTraceFile {
public:
    explicit TTraceFile(int descriptor) noexcept : fDescriptor(descriptor), fIsShared(false) {}
    TTraceFile(int descriptor, TPresence &&presence) noexcept
        : fDescriptor(descriptor), fIsShared(true), fPresence(std::move(presence)) {}
    TTraceFile(TTraceFile const &) = delete;
    TTraceFile &operator=(TTraceFile const &) = delete;
    ~TTraceFile() { ::close(fDescriptor); }

    bool Write(char const *text, std::size_t count) noexcept {
        if (fIsShared)
            LookAtOthers();
        if (!fLineIsOpen)
            return Append(text, count);
        // A missing line end and the record go out together.
        char lineEnd = '\n';
        iovec pieces[] = {{&lineEnd, 1}, {const_cast<char *>(text), count}};
        ssize_t result;
        do {
            result = ::writev(fDescriptor, pieces, 2);
        } while (result < 0 && errno == EINTR);
        if (result <= 0)
            return false;
        fEnd += result;
        auto const done = static_cast<std::size_t>(result) - 1;
        fLineIsOpen = done != 0 && text[done - 1] != '\n';
        return done == count || Append(text + done, count - done);
    }

private:
    bool Append(char const *text, std::size_t count) noexcept {
        std::size_t const done = WriteAll(fDescriptor, text, count);
        if (done != 0)
            fLineIsOpen = text[done - 1] != '\n';
        fEnd += static_cast<off_t>(done);
        return done == count;
    }

    // Another process may have written since we did, and may have ended within a line.
    void LookAtOthers() noexcept {
        off_t const end = ::lseek(fDescriptor, 0, SEEK_END);
        if (end == fEnd)
            return;
        char last = '\n';
        if (end > 0 && ::pread(fDescriptor, &last, 1, end - 1) == 1)
            fLineIsOpen = last != '\n';
        else
            fLineIsOpen = false;
        fEnd = end;
    }

    int fDescriptor;
    bool fIsShared;
    bool fLineIsOpen = false;
    off_t fEnd = 0;
    TPresence fPresence;
};

// Enters among those who share a file, and empties it for the first of them. The owner of a file, under the lock of all
// his processes, knows by their presence that none of them has it; one of another user, or of an earlier version, keeps
// a shared lock on the file, which never has a file emptied, but only kept.
TPresence JoinOrBegin(int descriptor, bool mayBegin) noexcept {
    TPresence presence;
    struct stat status;
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        return presence;
    bool const isFirst = presence.Enter(status);
    // Without waiting: another kind of program may have the file locked, and would hold up everybody who traces.
    if (mayBegin && isFirst && status.st_uid == ::geteuid() &&
        KeepTrying([=] { return ::flock(descriptor, LOCK_EX | LOCK_NB); }) == 0)
        static_cast<void>(::ftruncate(descriptor, 0) == 0);
    KeepTrying([=] { return ::flock(descriptor, LOCK_SH | LOCK_NB); });
    return presence;
}

} // namespace

void *platform::OpenTraceFile(char const *name, TTraceFileUse use, unsigned int mode) noexcept {
    TNoCancel const noCancel;
    TNativeName const native(name);
    bool const isShared = use != TTraceFileUse::alone;
    auto const open = [&](int flags) {
        return KeepTrying([&] { return ::open(native, flags | O_CREAT | O_APPEND | O_CLOEXEC, mode); });
    };
    int descriptor = open(isShared ? O_RDWR : O_WRONLY | O_TRUNC);
    if (descriptor < 0 && isShared && errno == EACCES)
        descriptor = open(O_WRONLY); // it may be written but not read: nobody looks at its last line then
    if (descriptor < 0)
        return nullptr;
    auto *const file = isShared
                           ? new (std::nothrow)
                                 TTraceFile(descriptor, JoinOrBegin(descriptor, use == TTraceFileUse::joinedOrBegun))
                           : new (std::nothrow) TTraceFile(descriptor);
    if (!file)
        ::close(descriptor);
    return file;
}

bool platform::WriteTraceFile(void *file, char const *text, std::size_t count) noexcept {
    TNoCancel const noCancel;
    return file && static_cast<TTraceFile *>(file)->Write(text, count);
}

void platform::CloseTraceFile(void *file) noexcept {
    TNoCancel const noCancel;
    delete static_cast<TTraceFile *>(file);
}
