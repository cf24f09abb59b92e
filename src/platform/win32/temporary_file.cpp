// Temporary files, which the system deletes when they are closed. The runtime's tmpfile() may open a file that exists
// already, so two threads may get the same file. Therefore this source makes files itself, under names that nobody can
// guess, in the user's folder for temporary files. The functions take no locks.

#define _CRT_RAND_S // for rand_s()
#include "platform/platform.h"

#include <algorithm>
#include <errno.h>
#include <stdlib.h>
#include <windows.h>

using platform::TempFile;

namespace {

HANDLE HandleOf(TempFile file) noexcept {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(file));
}

// Returns the runtime's number for an error code of the system.
int ErrorNumber(DWORD error) noexcept {
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH: return ENOENT;
    case ERROR_TOO_MANY_OPEN_FILES: return EMFILE;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_WRITE_PROTECT: return EACCES;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS: return EEXIST;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY: return ENOMEM;
    case ERROR_HANDLE_DISK_FULL:
    case ERROR_DISK_FULL: return ENOSPC;
    default: return EINVAL;
    }
}

// Writes the name of a file: "tuz", 96 random bits in hexadecimal digits, and ".tmp". Returns false if the system gives
// no random bits.
constexpr unsigned int fsNameSize = 3 + 24 + 4 + 1;
bool MakeName(wchar_t *name) noexcept {
    wchar_t *at = name;
    for (wchar_t const *c = L"tuz"; *c; ++c)
        *at++ = *c;
    for (int word = 0; word < 3; ++word) {
        unsigned int bits;
        if (rand_s(&bits) != 0)
            return false;
        for (int digit = 0; digit < 8; ++digit, bits >>= 4)
            *at++ = L"0123456789abcdef"[bits & 15];
    }
    for (wchar_t const *c = L".tmp"; *c; ++c)
        *at++ = *c;
    *at = L'\0';
    return true;
}

} // namespace

TempFile platform::OpenTempFile(int &error) noexcept {
    wchar_t path[MAX_PATH + 1 + fsNameSize];
    DWORD const length = GetTempPathW(MAX_PATH + 1, path);
    if (length == 0 || length > MAX_PATH) {
        error = ENOENT;
        return noTempFile;
    }
    // If a file of that name exists already, it belongs to somebody else, and another name is tried.
    for (int tries = 0; tries < 10; ++tries) {
        if (!MakeName(path + length)) {
            error = EINVAL;
            return noTempFile;
        }
        HANDLE const file = CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                        FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
        if (file != INVALID_HANDLE_VALUE)
            return TempFile{reinterpret_cast<std::intptr_t>(file)};
        error = ErrorNumber(GetLastError());
        if (error != EEXIST)
            break;
    }
    return noTempFile;
}

std::ptrdiff_t platform::ReadTempFile(TempFile file, char *bytes, std::size_t count) noexcept {
    DWORD read = 0;
    DWORD const wanted = static_cast<DWORD>(std::min<std::size_t>(count, 0x40000000));
    return ReadFile(HandleOf(file), bytes, wanted, &read, nullptr) ? static_cast<std::ptrdiff_t>(read) : -1;
}

std::size_t platform::WriteTempFile(TempFile file, char const *bytes, std::size_t count) noexcept {
    std::size_t written = 0;
    DWORD part = 1;
    while (written < count && part != 0) {
        part = 0;
        DWORD const wanted = static_cast<DWORD>(std::min<std::size_t>(count - written, 0x40000000));
        WriteFile(HandleOf(file), bytes + written, wanted, &part, nullptr);
        written += part;
    }
    return written;
}

std::int64_t platform::SeekTempFile(TempFile file, std::int64_t offset, TFileOrigin origin) noexcept {
    LARGE_INTEGER distance;
    LARGE_INTEGER position;
    distance.QuadPart = offset;
    DWORD const method = origin == TFileOrigin::start     ? FILE_BEGIN
                         : origin == TFileOrigin::current ? FILE_CURRENT
                                                          : FILE_END;
    return SetFilePointerEx(HandleOf(file), distance, &position, method) ? position.QuadPart : -1;
}

void platform::CloseTempFile(TempFile file) noexcept {
    CloseHandle(HandleOf(file));
}
