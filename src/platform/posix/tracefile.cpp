#include "platform/platform.h"

#include "names.h"
#include "utility/NOCANCEL.h"

#include <new>

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/uio.h>
#include <unistd.h>

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

class TTraceFile {
public:
    TTraceFile(int descriptor, bool isShared) noexcept : fDescriptor(descriptor), fIsShared(isShared) {}
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
};

// Whoever has the file open holds a shared lock on it: who gets it for himself alone is the first. He takes a shared
// one then, as all that come after him.
void JoinOrBegin(int descriptor) noexcept {
    if (KeepTrying([=] { return ::flock(descriptor, LOCK_EX | LOCK_NB); }) == 0)
        static_cast<void>(::ftruncate(descriptor, 0) == 0); // what is no plain file stays as it is
    // Without waiting: another kind of program may have the file locked, and would hold up everybody who traces.
    KeepTrying([=] { return ::flock(descriptor, LOCK_SH | LOCK_NB); });
}

} // namespace

void *platform::OpenTraceFile(char const *name, bool isShared) noexcept {
    TNoCancel const noCancel;
    TNativeName const native(name);
    auto const open = [&](int flags) {
        return KeepTrying([&] { return ::open(native, flags | O_CREAT | O_APPEND | O_CLOEXEC, 0666); });
    };
    int descriptor = open(isShared ? O_RDWR : O_WRONLY | O_TRUNC);
    if (descriptor < 0 && isShared && errno == EACCES)
        descriptor = open(O_WRONLY); // it may be written but not read: nobody looks at its last line then
    if (descriptor < 0)
        return nullptr;
    if (isShared)
        JoinOrBegin(descriptor);
    auto *const file = new (std::nothrow) TTraceFile(descriptor, isShared);
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
