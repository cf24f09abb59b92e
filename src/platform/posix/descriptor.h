#ifndef TUZUTIL_PLATFORM_POSIX_DESCRIPTOR
#define TUZUTIL_PLATFORM_POSIX_DESCRIPTOR

// Functions for file descriptors: they repeat calls that a signal interrupted, write all bytes, and close without
// changing errno. They take no locks. REQUIRES: the caller has disabled cancellation, because these calls are
// cancellation points.

#include "platform/posix/kept_error.h"

#include <cstddef>
#include <errno.h>
#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

namespace platform {

// Repeats a system call until no signal interrupts it. Returns the result of the last attempt: -1, with errno, on
// failure.
auto KeepTrying(auto call) noexcept {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

inline int OpenAt(int folder, char const *name, int flags, mode_t mode = 0) noexcept {
    return KeepTrying([&] { return ::openat(folder, name, flags, mode); });
}

// Writes until all bytes are written or a call fails. Returns the number of bytes written.
inline std::size_t WriteAll(int descriptor, char const *bytes, std::size_t count) noexcept {
    std::size_t done = 0;
    while (done < count) {
        ssize_t const result = KeepTrying([&] { return ::write(descriptor, bytes + done, count - done); });
        if (result <= 0)
            break;
        done += static_cast<std::size_t>(result);
    }
    return done;
}

// A descriptor, or -1 for none. The destructor closes it and keeps errno.
class TDescriptor {
public:
    explicit TDescriptor(int descriptor) noexcept : fDescriptor(descriptor) {}
    TDescriptor(TDescriptor const &) = delete;
    TDescriptor &operator=(TDescriptor const &) = delete;
    ~TDescriptor() {
        TKeptError const kept;
        if (fDescriptor >= 0)
            ::close(fDescriptor);
    }

    int Get() const noexcept { return fDescriptor; }
    explicit operator bool() const noexcept { return fDescriptor >= 0; }

    // Gives the descriptor to the caller, who must close it.
    int Take() noexcept {
        int const descriptor = fDescriptor;
        fDescriptor = -1;
        return descriptor;
    }

private:
    int fDescriptor;
};

} // namespace platform

#endif
