#ifndef TUZUTIL_PLATFORM_POSIX_KEPT_ERROR
#define TUZUTIL_PLATFORM_POSIX_KEPT_ERROR

// TKeptError: restores errno at the end of a scope, in which cleaning up may change it. Takes no locks.

#include <errno.h>

namespace platform {

class TKeptError {
public:
    TKeptError() noexcept : fError(errno) {}
    TKeptError(TKeptError const &) = delete;
    TKeptError &operator=(TKeptError const &) = delete;
    ~TKeptError() { errno = fError; }

private:
    int const fError;
};

} // namespace platform

#endif
