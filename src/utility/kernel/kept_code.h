#ifndef TUZUTIL_KEPT_CODE
#define TUZUTIL_KEPT_CODE

// TKeptCode: the constructor stores the system's error code, and the destructor restores it. In between, a function can
// trace a failure or clean up, and its caller can still ask the system for the code. TKeptCode takes no locks.

#include "platform/platform.h"

struct TKeptCode {
    TKeptCode() noexcept : code(platform::LastError()) {}
    TKeptCode(TKeptCode const &) = delete;
    TKeptCode &operator=(TKeptCode const &) = delete;
    ~TKeptCode() { platform::SetLastError(code); }

    std::uint32_t const code;
};

#endif
