#include "platform/platform.h"

#include <windows.h>

#include <string.h>

namespace {

constexpr std::uint64_t fsHighestNumber = 0xFFFF; // the system would take higher ones by their low 16 bits

// An absent text leaves the last error as it was.
bool Prepare(std::uint64_t number) noexcept {
    SetLastError(number <= fsHighestNumber ? ERROR_SUCCESS : ERROR_RESOURCE_NAME_NOT_FOUND);
    return number <= fsHighestNumber;
}

} // namespace

char const *const platform::nativeLibraryEnding = nullptr;

void *platform::OpenLibrary(char const *name) noexcept {
    // No dialogue box over a damaged file.
    DWORD previous = 0;
    SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &previous);
    HMODULE const library = LoadLibraryA(name);
    DWORD const error = GetLastError();
    SetThreadErrorMode(previous, nullptr);
    SetLastError(error);
    return library;
}

std::size_t platform::LibraryName(void *library, char *name, std::size_t size) noexcept {
    DWORD const length = GetModuleFileNameA(static_cast<HMODULE>(library), name, static_cast<DWORD>(size));
    name[size - 1] = '\0'; // older systems do not terminate a name that is cut
    return length ? strlen(name) : 0;
}

std::uint32_t platform::LoadText(void *library, std::uint64_t number, unsigned short *text,
                                 std::uint32_t size) noexcept {
    static_assert(sizeof(wchar_t) == sizeof *text);
    if (!Prepare(number))
        return 0;
    return static_cast<std::uint32_t>(LoadStringW(static_cast<HINSTANCE>(library), static_cast<UINT>(number),
                                                  reinterpret_cast<wchar_t *>(text), static_cast<int>(size)));
}

std::uint32_t platform::LoadText(void *library, std::uint64_t number, char *text, std::uint32_t size) noexcept {
    if (!Prepare(number))
        return 0;
    return static_cast<std::uint32_t>(
        LoadStringA(static_cast<HINSTANCE>(library), static_cast<UINT>(number), text, static_cast<int>(size)));
}

bool platform::IsInImage(void const *address) noexcept {
    HMODULE found = nullptr;
    return GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                              static_cast<char const *>(address), &found) != FALSE;
}
