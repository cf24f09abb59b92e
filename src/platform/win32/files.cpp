#include "platform/platform.h"

#include <direct.h>
#include <errno.h>
#include <io.h>
#include <string.h>
#include <windows.h>

bool const platform::hasWideNames = true;

void platform::ToNativeName(char *, std::size_t) noexcept {}

void platform::FromNativeName(char *, std::size_t) noexcept {}

bool platform::HasLibraryForm(char const *) noexcept {
    return true;
}

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

using TFound = __finddata64_t; // the plain one refuses large files and late dates

void TakeEntry(TFound const &found, platform::TDirectoryEntry &entry) noexcept {
    static_assert(sizeof found.name <= sizeof entry.name);
    memcpy(entry.name, found.name, sizeof found.name);
    entry.name[sizeof entry.name - 1] = '\0';
    entry.isDirectory = (found.attrib & _A_SUBDIR) != 0;
}

// The run-time library's -1 stands for no search, here null does.
void *FromHandle(intptr_t handle) noexcept {
    return reinterpret_cast<void *>(handle == -1 ? 0 : handle);
}

intptr_t ToHandle(void *search) noexcept {
    return reinterpret_cast<intptr_t>(search);
}

} // namespace

void *platform::OpenSearch(char const *pattern, TDirectoryEntry &entry, bool &lacksMemory) noexcept {
    TFound found;
    void *const search = FromHandle(_findfirst64(pattern, &found));
    lacksMemory = !search && errno == ENOMEM;
    if (search)
        TakeEntry(found, entry);
    return search;
}

bool platform::NextEntry(void *search, TDirectoryEntry &entry) noexcept {
    TFound found;
    if (_findnext64(ToHandle(search), &found) != 0)
        return false;
    TakeEntry(found, entry);
    return true;
}

bool platform::CloseSearch(void *search) noexcept {
    return _findclose(ToHandle(search)) == 0;
}
