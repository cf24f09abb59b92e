#ifndef TUZUTIL_PLATFORM_WIN32_KEPT_ERROR
#define TUZUTIL_PLATFORM_WIN32_KEPT_ERROR

// TKeptError: its destructor restores the value that GetLastError() had at construction. With it, a function can clean
// up after a failure and still report that failure. The class takes no locks.

#include <windows.h>

namespace platform {

class TKeptError {
public:
    TKeptError() noexcept : fError(GetLastError()) {}
    TKeptError(TKeptError const &) = delete;
    TKeptError &operator=(TKeptError const &) = delete;
    ~TKeptError() { ::SetLastError(fError); }

private:
    DWORD const fError;
};

} // namespace platform

#endif
