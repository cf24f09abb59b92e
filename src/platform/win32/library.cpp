// Loads libraries, and reads the text resources in them. Some of the functions take the system's loader lock. The
// initialisers of a library run under that lock, so the caller of OpenLibrary() must hold no lock for which these
// initialisers may wait.

#include "platform/platform.h"

#include "platform/win32/kept_error.h"

#include <algorithm>
#include <iterator>
#include <string.h>
#include <windows.h>

namespace {

constexpr std::uint64_t fsHighestNumber = 0xFFFF; // the system would ignore the higher bits of a larger number

// A pointer to a Library is the system's handle.
HMODULE HandleOf(platform::Library *library) noexcept {
    return reinterpret_cast<HMODULE>(library);
}

// Returns whether the number of a text is valid. If the number is valid, sets the error code to ERROR_SUCCESS, because
// the system may set no code if there is no text with this number. Otherwise sets an error.
bool Prepare(std::uint64_t number) noexcept {
    SetLastError(number <= fsHighestNumber ? ERROR_SUCCESS : ERROR_RESOURCE_NAME_NOT_FOUND);
    return number <= fsHighestNumber;
}

// Returns whether the error is about a library that exists.
bool IsAboutLibrary(DWORD error) noexcept {
    return error == ERROR_BAD_EXE_FORMAT || error == ERROR_EXE_MACHINE_TYPE_MISMATCH || error == ERROR_PROC_NOT_FOUND ||
           error == ERROR_INVALID_ORDINAL || error == ERROR_DLL_INIT_FAILED || error == ERROR_ACCESS_DENIED ||
           error == ERROR_SHARING_VIOLATION;
}

// Writes the system's English text of an error. If the text has a place for the name of the library, puts `name` there.
void WriteWords(platform::TLoaderWords &words, DWORD error, char const *name) noexcept {
    DWORD_PTR arguments[99]; // a text has at most the places %1 to %99
    std::fill(std::begin(arguments), std::end(arguments), reinterpret_cast<DWORD_PTR>(""));
    arguments[0] = reinterpret_cast<DWORD_PTR>(name ? name : "");
    DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_ARGUMENT_ARRAY, nullptr, error,
                                  MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), words.text, sizeof words.text,
                                  reinterpret_cast<va_list *>(arguments));
    while (length && (words.text[length - 1] == '\n' || words.text[length - 1] == '\r'))
        --length;
    words.text[length] = '\0';
    words.isAboutLibrary = length > 0 && IsAboutLibrary(error);
}

} // namespace

char const *const platform::nativeLibraryEnding = nullptr;

platform::Library *platform::OpenLibrary(char const *name, TLoaderWords *words) noexcept {
    // The system must not open a dialogue box because of a damaged file.
    DWORD previous = 0;
    SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &previous);
    HMODULE const library = LoadLibraryA(name);
    TKeptError const kept;
    SetThreadErrorMode(previous, nullptr);
    if (!library && words)
        WriteWords(*words, GetLastError(), name);
    return reinterpret_cast<Library *>(library);
}

std::size_t platform::LibraryName(Library *library, char *name, std::size_t size) noexcept {
    DWORD const length = GetModuleFileNameA(HandleOf(library), name, static_cast<DWORD>(size));
    name[size - 1] = '\0'; // if older systems cut a name, they write no zero
    return length ? strlen(name) : 0;
}

std::uint32_t platform::LoadText(Library *library, std::uint64_t number, unsigned short *text,
                                 std::uint32_t size) noexcept {
    static_assert(sizeof(wchar_t) == sizeof *text);
    if (!Prepare(number))
        return 0;
    return static_cast<std::uint32_t>(LoadStringW(HandleOf(library), static_cast<UINT>(number),
                                                  reinterpret_cast<wchar_t *>(text), static_cast<int>(size)));
}

std::uint32_t platform::LoadText(Library *library, std::uint64_t number, char *text, std::uint32_t size) noexcept {
    if (!Prepare(number))
        return 0;
    return static_cast<std::uint32_t>(
        LoadStringA(HandleOf(library), static_cast<UINT>(number), text, static_cast<int>(size)));
}

bool platform::IsInImage(void const *address) noexcept {
    HMODULE found = nullptr;
    return GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                              static_cast<char const *>(address), &found) != FALSE;
}
