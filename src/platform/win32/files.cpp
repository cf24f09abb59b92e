// Makes and searches directories, and finds out which names are files. The library's form of a name is the system's own
// form, so the two conversions do nothing. The functions take no locks.

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
    // For the name of a drive, _mkdir() fails with "access denied" on some systems.
    DWORD const attributes = GetFileAttributesA(name);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY))
        return EEXIST;
    return _mkdir(name) == 0 ? 0 : errno;
}

bool platform::IsFile(char const *name) noexcept {
    DWORD const attributes = GetFileAttributesA(name);
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

namespace {

using TFound = __finddata64_t; // the default structure cannot hold large sizes and late dates

void TakeEntry(TFound const &found, platform::TDirectoryEntry &entry) noexcept {
    static_assert(sizeof found.name <= sizeof entry.name);
    memcpy(entry.name, found.name, sizeof found.name);
    entry.name[sizeof entry.name - 1] = '\0';
    entry.isDirectory = (found.attrib & _A_SUBDIR) != 0;
}

// The runtime identifies a search by a number, which is -1 if the search failed.
platform::Search *SearchOf(intptr_t handle) noexcept {
    return reinterpret_cast<platform::Search *>(handle == -1 ? 0 : handle);
}

intptr_t HandleOf(platform::Search *search) noexcept {
    return reinterpret_cast<intptr_t>(search);
}

} // namespace

platform::Search *platform::OpenSearch(char const *pattern, TDirectoryEntry &entry, bool &lacksMemory) noexcept {
    TFound found;
    Search *const search = SearchOf(_findfirst64(pattern, &found));
    // No test gets here: memory would have to be lacking in the system.
    lacksMemory = !search && errno == ENOMEM;
    if (search)
        TakeEntry(found, entry);
    return search;
}

bool platform::NextEntry(Search *search, TDirectoryEntry &entry) noexcept {
    TFound found;
    if (_findnext64(HandleOf(search), &found) != 0)
        return false;
    TakeEntry(found, entry);
    return true;
}

bool platform::CloseSearch(Search *search) noexcept {
    return _findclose(HandleOf(search)) == 0;
}
