// Names of files, directories and their entries. The functions take no lock of this library. The thread is not
// cancelled while it opens, reads or closes a search.

#include "platform/platform.h"

#include "platform/no_cancel.h"
#include "platform/posix/native_name.h"

#include <algorithm>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>

bool const platform::hasWideNames = false;

void platform::ToNativeName(char *name, std::size_t length) noexcept {
    std::replace(name, name + length, '\\', '/');
}

void platform::FromNativeName(char *name, std::size_t length) noexcept {
    std::replace(name, name + length, '/', '\\');
}

bool platform::HasLibraryForm(char const *nativeName) noexcept {
    return !::strchr(nativeName, '\\');
}

int platform::MakeDirectory(char const *name) noexcept {
    return ::mkdir(TNativeName(name), 0777) == 0 ? 0 : errno;
}

bool platform::IsFile(char const *name) noexcept {
    struct stat status;
    return ::stat(TNativeName(name), &status) == 0 && !S_ISDIR(status.st_mode);
}

namespace {

// A pointer to a Search is the C library's pointer to a DIR.
platform::Search *SearchOf(DIR *directory) noexcept {
    return reinterpret_cast<platform::Search *>(directory);
}

DIR *DirectoryOf(platform::Search *search) noexcept {
    return reinterpret_cast<DIR *>(search);
}

bool IsDirectory(DIR *directory, dirent const &entry) noexcept {
    // No test gets here: the file systems on which the tests run tell the kinds of all entries.
    if (entry.d_type != DT_UNKNOWN && entry.d_type != DT_LNK)
        return entry.d_type == DT_DIR;
    struct stat status;
    return ::fstatat(::dirfd(directory), entry.d_name, &status, 0) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

platform::Search *platform::OpenSearch(char const *pattern, TDirectoryEntry &entry, bool &lacksMemory) noexcept {
    TNoCancel const noCancel;
    std::size_t const tail = sizeof "*.*" - 1;
    DIR *const directory = ::opendir(TNativeName(pattern, ::strnlen(pattern, PATH_MAX + tail) - tail));
    lacksMemory = !directory && errno == ENOMEM;
    if (directory && !NextEntry(SearchOf(directory), entry)) {
        ::closedir(directory);
        return nullptr;
    }
    return SearchOf(directory);
}

bool platform::NextEntry(Search *search, TDirectoryEntry &entry) noexcept {
    TNoCancel const noCancel;
    DIR *const directory = DirectoryOf(search);
    dirent const *const next = ::readdir(directory);
    if (!next)
        return false;
    static_assert(sizeof next->d_name <= sizeof entry.name);
    ::memcpy(entry.name, next->d_name, ::strlen(next->d_name) + 1);
    entry.isDirectory = IsDirectory(directory, *next);
    return true;
}

bool platform::CloseSearch(Search *search) noexcept {
    TNoCancel const noCancel;
    return ::closedir(DirectoryOf(search)) == 0;
}
