#ifndef TUZUTIL_KEPT_CODE
#define TUZUTIL_KEPT_CODE

// TKeptCode: its destructor restores the error code that the system had at construction. With it, a function can trace
// a failure or clean up after it, and the caller can still ask the system for the code. Takes no locks.

#include "platform/platform.h"

struct TKeptCode {
    TKeptCode() noexcept : code(platform::LastError()) {}
    TKeptCode(TKeptCode const &) = delete;
    TKeptCode &operator=(TKeptCode const &) = delete;
    ~TKeptCode() { platform::SetLastError(code); }

    std::uint32_t const code;
};

#endif
