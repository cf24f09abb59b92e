#ifndef TUZUTIL_PLATFORM_POSIX_KEPT_ERROR
#define TUZUTIL_PLATFORM_POSIX_KEPT_ERROR

// TKeptError: its destructor restores the value that errno had at construction. With it, a function can clean up after
// a failure and still report that failure. The class takes no locks.

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
