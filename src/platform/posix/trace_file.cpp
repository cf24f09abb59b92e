// Opens, writes and closes the files of trace records. Every write appends to the file. A process learns from a block
// of shared memory whether other processes of the user share the trace file. The functions take the locks of
// shared_memory.cpp, and never wait for a lock on the file itself. The thread is not cancelled during a call. REQUIRES:
// while a file is opened as joinedOrBegun, the caller holds the named lock that all processes use.

#include "platform/platform.h"

#include "platform/no_cancel.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/native_name.h"

#include <errno.h>
#include <fcntl.h>
#include <new>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>
#include <utility>

using platform::KeepTrying;
using platform::TDescriptor;

namespace {

// Tells the other processes of the user that this process shares a file. A TPresence is a block of shared memory,
// because no other user can make, open or keep such a block. A lock on the file would prove nothing: any user who may
// read the file can lock it.
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

    // Joins the processes that share the file. Returns whether this process is the first of them, or false if that is
    // unknown.
    bool Enter(struct stat const &file) noexcept {
        char name[80];
        ::snprintf(name, sizeof name, "tuzutil trace file %llx-%llx", static_cast<unsigned long long>(file.st_dev),
                   static_cast<unsigned long long>(file.st_ino));
        // The block may disappear between the two calls below, because the last process that used the block has left.
        // Then both calls are repeated.
        // No test gets here: another process would have to leave the file a hundred times, each time between the two
        // calls.
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
    platform::Block *fBlock = nullptr;
    void *fView = nullptr;
};

} // namespace

// Invariant: fLineIsOpen tells whether the first fEnd bytes of the file end within a line.
struct platform::TraceFile {
    explicit TraceFile(int descriptor) noexcept : fFile(descriptor), fIsShared(false) {}
    TraceFile(int descriptor, TPresence &&presence) noexcept
        : fFile(descriptor), fIsShared(true), fPresence(std::move(presence)) {}

    bool Write(char const *text, std::size_t count) noexcept {
        if (fIsShared)
            LookAtOthers();
        if (!fLineIsOpen)
            return Append(text, count);
        TNoCancel const noCancel;
        // The missing line end and the record are written together.
        char lineEnd = '\n';
        iovec pieces[] = {{&lineEnd, 1}, {const_cast<char *>(text), count}};
        ssize_t const result = KeepTrying([&] { return ::writev(fFile.Get(), pieces, 2); });
        if (result <= 0)
            return false;
        fEnd += result;
        auto const done = static_cast<std::size_t>(result) - 1;
        // No test gets here: the system would have to write only a part of the missing line end and the record.
        fLineIsOpen = done != 0 && text[done - 1] != '\n';
        // No test gets here: the system would have to write only a part of the missing line end and the record.
        return done == count || Append(text + done, count - done);
    }

private:
    bool Append(char const *text, std::size_t count) noexcept {
        std::size_t done = 0;
        while (done < count) {
            // Unlike write(), syscall() is not a cancellation point. Therefore this function need not disable the
            // cancellation of the thread. Disabling it would take longer than everything else in this function except
            // the system call.
            long const result =
                KeepTrying([&] { return ::syscall(SYS_write, fFile.Get(), text + done, count - done); });
            if (result <= 0)
                break;
            done += static_cast<std::size_t>(result);
        }
        if (done != 0)
            fLineIsOpen = text[done - 1] != '\n';
        fEnd += static_cast<off_t>(done);
        return done == count;
    }

    // Returns the present end of the file. If the system does not tell it in one way, asks in another. If it does not
    // tell it at all, the file counts as unchanged.
    off_t End() const noexcept {
        off_t const end = ::lseek(fFile.Get(), 0, SEEK_END);
        struct stat status;
        if (end >= 0)
            return end;
        return ::fstat(fFile.Get(), &status) == 0 ? status.st_size : fEnd;
    }

    // If the file no longer ends at fEnd, inspects the last byte of the file, because another process may have been
    // killed in the middle of a line.
    void LookAtOthers() noexcept {
        off_t const end = End();
        if (end == fEnd)
            return;
        TNoCancel const noCancel;
        char last = '\n';
        ssize_t const count = end > 0 ? KeepTrying([&] { return ::pread(fFile.Get(), &last, 1, end - 1); }) : 0;
        // If the byte cannot be read, an empty line is better than two records on one line. But if this process may
        // only write to the file, each record would come after an empty line.
        bool const isUnknown = count < 0 && errno != EBADF;
        fLineIsOpen = isUnknown || (count == 1 && last != '\n');
        fEnd = end;
    }

    TDescriptor const fFile;
    bool fIsShared;
    bool fLineIsOpen = false; // whether the file ends within a line
    off_t fEnd = 0;           // the end of the file when this process last wrote or inspected it
    TPresence fPresence;      // only for a shared file
};

namespace {

// Makes this process one of the processes that share a file. Empties the file if `mayBegin` is set, this process is the
// first of them, the file belongs to the user of the process, and nobody has locked the file. TPresence says whether
// another process of this user shares the file. If possible, every process also holds a shared lock on the file,
// because this shows processes of other users that the file is in use. A lock of another program can only prevent the
// file from being emptied.
TPresence JoinOrBegin(int descriptor, bool mayBegin) noexcept {
    TPresence presence;
    struct stat status;
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        return presence;
    bool const isFirst = presence.Enter(status);
    // This call must not wait. If it waited while another program has the file locked, every process that traces would
    // stop.
    if (mayBegin && isFirst && status.st_uid == ::geteuid() &&
        KeepTrying([=] { return ::flock(descriptor, LOCK_EX | LOCK_NB); }) == 0)
        static_cast<void>(::ftruncate(descriptor, 0) == 0);
    KeepTrying([=] { return ::flock(descriptor, LOCK_SH | LOCK_NB); });
    return presence;
}

} // namespace

platform::TraceFile *platform::OpenTraceFile(char const *name, TTraceFileUse use, unsigned int mode) noexcept {
    return OpenNativeTraceFile(TNativeName(name), use, mode);
}

platform::TraceFile *platform::OpenNativeTraceFile(char const *name, TTraceFileUse use, unsigned int mode) noexcept {
    TNoCancel const noCancel;
    bool const isShared = use != TTraceFileUse::alone;
    auto const open = [&](int flags) {
        return KeepTrying([&] { return ::open(name, flags | O_CREAT | O_APPEND | O_CLOEXEC, mode); });
    };
    int opened = open(isShared ? O_RDWR : O_WRONLY | O_TRUNC);
    if (opened < 0 && isShared && errno == EACCES)
        opened = open(O_WRONLY); // if reading is not permitted, the last line of the file is not inspected
    TDescriptor descriptor(opened);
    if (!descriptor)
        return nullptr;
    TraceFile *const file = isShared ? new (std::nothrow)
                                           TraceFile(opened, JoinOrBegin(opened, use == TTraceFileUse::joinedOrBegun))
                                     : new (std::nothrow) TraceFile(opened);
    if (file)
        descriptor.Take();
    return file;
}

bool platform::WriteTraceFile(TraceFile *file, char const *text, std::size_t count) noexcept {
    return file && file->Write(text, count);
}

void platform::CloseTraceFile(TraceFile *file) noexcept {
    TNoCancel const noCancel;
    delete file;
}
