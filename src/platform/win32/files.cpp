#include "platform/platform.h"

#include <direct.h>
#include <errno.h>
#include <string.h>
#include <windows.h>

bool const platform::hasWideNames = true;

void platform::ToNativeName(char *, std::size_t) noexcept {}

void platform::FromNativeName(char *, std::size_t) noexcept {}

int platform::MakeDirectory(char const *name) noexcept {
    // For a drive itself some systems would say "access denied".
    DWORD const attributes = GetFileAttributesA(name);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY))
        return EEXIST;
    return _mkdir(name) == 0 ? 0 : errno;
}

bool platform::IsFile(char const *name) noexcept {
    DWORD const attributes = GetFileAttributesA(name);
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

char const *platform::RuntimeErrorText(int error) noexcept {
    return strerror(error);
}

namespace {

void TakeEntry(WIN32_FIND_DATAA const &data, platform::TDirectoryEntry &entry) noexcept {
    static_assert(sizeof data.cFileName <= sizeof entry.name);
    memcpy(entry.name, data.cFileName, sizeof data.cFileName);
    entry.name[sizeof entry.name - 1] = '\0';
    entry.isDirectory = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

} // namespace

void *platform::OpenSearch(char const *pattern, TDirectoryEntry &entry) noexcept {
    WIN32_FIND_DATAA data;
    HANDLE const search = FindFirstFileA(pattern, &data);
    if (search == INVALID_HANDLE_VALUE)
        return nullptr;
    TakeEntry(data, entry);
    return search;
}

bool platform::NextEntry(void *search, TDirectoryEntry &entry) noexcept {
    WIN32_FIND_DATAA data;
    if (!FindNextFileA(search, &data))
        return false;
    TakeEntry(data, entry);
    return true;
}

bool platform::CloseSearch(void *search) noexcept {
    return FindClose(search) != 0;
}
