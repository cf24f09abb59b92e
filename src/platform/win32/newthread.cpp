#include "platform/platform.h"

#include <new>
#include <process.h>
#include <windows.h>

namespace {

struct Start {
    void (*body)(void *);
    void *argument;
    HMODULE library; // this one, with a count of its own
};

unsigned int WINAPI RunBody(void *given) {
    HMODULE library;
    {
        auto *const start = static_cast<Start *>(given);
        Start const what = *start;
        delete start;
        library = what.library;
        what.body(what.argument);
    }
    // Not a return: the library may be gone by then.
    FreeLibraryAndExitThread(library, 0);
}

} // namespace

std::uintptr_t platform::StartThread(void (*body)(void *), void *argument, bool) noexcept {
    constexpr std::uintptr_t none = ~std::uintptr_t{0};
    HMODULE library;
    if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<char const *>(&RunBody), &library))
        return none;
    auto *const start = new (std::nothrow) Start{body, argument, library};
    std::uintptr_t const handle = start ? _beginthreadex(nullptr, 0, RunBody, start, 0, nullptr) : 0;
    if (handle == 0) {
        DWORD const error = start ? GetLastError() : ERROR_NOT_ENOUGH_MEMORY;
        delete start;
        FreeLibrary(library);
        SetLastError(error);
        return none;
    }
    CloseHandle(reinterpret_cast<HANDLE>(handle));
    return handle;
}

bool const platform::threadsEndFirst = true;
