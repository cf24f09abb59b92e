#ifndef TUZUTIL_PLATFORM_WIN32_KEPT_ERROR
#define TUZUTIL_PLATFORM_WIN32_KEPT_ERROR

// TKeptError: restores GetLastError() at the end of a scope, in which cleaning up may change it. Takes no locks.

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
