// Starts threads through the runtime. StartThread() increments the load count of this library for each thread, so that
// the library stays loaded while the thread runs. The thread decrements the count when it ends. StartThread() and the
// thread that ends take the system's loader lock.

#include "platform/platform.h"

#include "platform/win32/kept_error.h"

#include <new>
#include <process.h>
#include <windows.h>

namespace {

struct TStart {
    void (*body)(void *);
    void *argument;
    HMODULE library; // this library, whose load count includes this thread
};

unsigned int WINAPI RunBody(void *given) {
    HMODULE library;
    {
        auto *const start = static_cast<TStart *>(given);
        TStart const what = *start;
        delete start;
        library = what.library;
        what.body(what.argument);
    }
    // After the library is freed, its code may be gone. So this call also ends the thread, and never returns.
    FreeLibraryAndExitThread(library, 0);
}

} // namespace

std::uintptr_t platform::StartThread(void (*body)(void *), void *argument, bool) noexcept {
    constexpr std::uintptr_t none = ~std::uintptr_t{0};
    HMODULE library;
    if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<char const *>(&RunBody), &library))
        return none;
    auto *const start = new (std::nothrow) TStart{body, argument, library};
    std::uintptr_t const handle = start ? _beginthreadex(nullptr, 0, RunBody, start, 0, nullptr) : 0;
    if (handle == 0) {
        if (!start)
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        TKeptError const kept;
        delete start;
        FreeLibrary(library);
        return none;
    }
    CloseHandle(reinterpret_cast<HANDLE>(handle));
    return handle;
}

bool const platform::threadsEndFirst = true;

platform::TAnswer platform::IsOnStack(void const *address) noexcept {
    MEMORY_BASIC_INFORMATION there, here; // the system reserves the whole stack in one piece
    // No test gets here: the system knows each address that the callers pass.
    if (VirtualQuery(address, &there, sizeof there) == 0 || VirtualQuery(&there, &here, sizeof here) == 0)
        return TAnswer::unknown;
    return there.AllocationBase == here.AllocationBase ? TAnswer::yes : TAnswer::no;
}
