// TDirectory: lists the entries of a directory, and makes directories. Open searches are kept in TFindTable
// (search_table.h). The functions take only the lock of this table, and release it before they write a trace entry.

#include "tuzutil/DIRECTRY.h"

#include "platform/platform.h"
#include "utility/files/search_table.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/string_access.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Directory, "src/utility/DIRECTRY");
constexpr std::uint32_t fsTreeFailed = 457; // the line number in the trace entry of a failed MakeTree()
constexpr char separator = '\\';

// Returns the bytes that a stream would print for the text.
std::string_view Printed(TString const &text) noexcept {
    return text.IsNull() ? "<NULL>" : std::string_view(text, text.length());
}

// Joins two parts with the separator between them. Uses no string stream, because a string stream without memory would
// cut the text silently.
TString Join(TString const &first, TString const &second) {
    std::string_view const parts[] = {Printed(first), Printed(TDirectory::fsSeparator), Printed(second)};
    std::uint64_t length = 0;
    for (std::string_view const part : parts)
        length += part.size();
    TString result = TStringAccess::Uninitialized(length);
    char *at = result;
    for (std::string_view const part : parts)
        at = std::copy(part.begin(), part.end(), at);
    return result;
}

bool IsSelfOrParent(char const *name) noexcept {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

// Returns whether the caller wants the entry. A file is always wanted. A directory is wanted if `isDirectory` is not
// null and the name is neither "." nor "..".
bool IsWanted(platform::TDirectoryEntry const &entry, int const *isDirectory) noexcept {
    return !entry.isDirectory || (isDirectory && !IsSelfOrParent(entry.name));
}

// Returns whether an entry is listed. If a wanted name contains a backslash, it is traced and not listed, because
// tuzutil would take it for a path to another file.
bool IsTaken(TString const &path, platform::TDirectoryEntry const &entry, int const *isDirectory) noexcept {
    if (!IsWanted(entry, isDirectory))
        return false;
    if (platform::HasLibraryForm(entry.name))
        return true;
    fsReports.Warning("Left out of %s, a backslash in its name: %s", path, static_cast<char const *>(entry.name));
    return false;
}

// Returns 0 if the directory was made, or if a directory or file of that name exists. Otherwise traces the reason and
// returns 1.
int Make(char const *path) noexcept {
    int const error = platform::MakeDirectory(path ? path : "");
    if (error == 0 || error == EEXIST)
        return 0;
    fsReports.Warning("Unable to create directory %s: errno=%d", path, error);
    return 1;
}

void TraceCreated(char const *path) noexcept {
    fsReports.Note("Created directory %s", path);
}

// These functions return a path in the form that trace entries show. Paths of `char` are not converted, because the
// conversion would refuse a backslash.
[[maybe_unused]] TString Shown(char const *path) {
    return TString(path);
}

[[maybe_unused]] TString Shown(wchar_t const *path) {
    return TFileName(std::filesystem::path(path)).QueryNameLocal();
}

} // namespace

// Enumeration

TDirectory &TDirectory::operator=(TDirectory const &other) {
    if (this == &other)
        return *this;
    if (fHandle != other.fHandle)
        TFindTable::fsOnly.Close(fHandle);
    fPath = other.fPath;
    fHandle = other.fHandle;
    return *this;
}

TDirectory::~TDirectory() {
    if (fHandle == TFindTable::fsNone || TFindTable::fsOnly.Close(fHandle))
        return;
    int const error = EINVAL; // the error to report: a copy of this object has closed the handle
    fsReports.Error("TDirectory::~TDirectory(): _findclose(%s) error %d: %s", fPath, error,
                    platform::RuntimeErrorText(error));
}

TString TDirectory::FindFirst(int *isDirectory, TString *name) {
    TFindTable::fsOnly.Close(std::exchange(fHandle, TFindTable::fsNone));
    platform::TDirectoryEntry entry;
    bool lacksMemory = false;
    platform::Search *const search = platform::OpenSearch(Join(fPath, "*.*"), entry, lacksMemory);
    if (lacksMemory)
        fsReports.RaiseOutOfMemory();
    if (search)
        fHandle = TFindTable::fsOnly.Add(search);
    if (fHandle != TFindTable::fsNone && IsTaken(fPath, entry, isDirectory))
        return Report(entry.name, entry.isDirectory, isDirectory, name);
    return FindNext(isDirectory, name);
}

TString TDirectory::FindNext(int *isDirectory, TString *name) {
    platform::Search *const search = TFindTable::fsOnly.Find(fHandle);
    platform::TDirectoryEntry entry;
    while (search && platform::NextEntry(search, entry)) {
        if (IsTaken(fPath, entry, isDirectory))
            return Report(entry.name, entry.isDirectory, isDirectory, name);
    }
    return Report(nullptr, false, isDirectory, name);
}

TString TDirectory::Report(char const *entry, bool entryIsDirectory, int *isDirectory, TString *name) const {
    if (isDirectory)
        *isDirectory = entryIsDirectory ? 1 : 0;
    if (name)
        *name = TString(entry);
    return entry ? ReturnFile(entry) : TString();
}

TString TDirectory::ReturnFile(char const *name) const {
    return Join(fPath, name);
}

// Making directories

TString TDirectory::Combine(TString const &first, TString const &second) {
    return Join(first, second);
}

int TDirectory::MakeDir(TString const &path) {
    return Make(path);
}

// Shortens the path by one part at a time until the shortened path exists or can be made. Then makes the longer paths
// in turn. All paths are cut from one text: a zero replaces the separator after the last part of a path. A text for
// each path would need too much memory, because the caller's path may have any number of parts.
int TDirectory::MakeTree(TString const &path) {
    TString levels = path ? path : TString("");
    levels.MakeUnique();
    char *const text = levels;
    std::string_view const whole(text);
    std::size_t const first = whole.find(separator);
    std::size_t length = whole.size();

    int result = Make(text);
    while (result == 1) {
        std::size_t const last = length ? whole.rfind(separator, length - 1) : whole.npos;
        if (last == whole.npos || last == first) {
            fsReports.Error({"Unable to create directory %s", fsTreeFailed}, text);
            result = 2;
        } else {
            length = last;
            text[length] = '\0';
            result = Make(text);
        }
    }
    if (result == 0)
        TraceCreated(text);
    while (length != whole.size()) {
        text[length] = separator;
        length = std::min(whole.find('\0', length), whole.size());
        if (result == 0)
            result = Make(text);
        TraceCreated(text);
    }
    return result;
}

int TDirectory::MakeNative(std::filesystem::path::value_type const *name, bool withParents) {
    std::filesystem::path const path(name);
    std::error_code error;
    bool const isNew =
        withParents ? std::filesystem::create_directories(path, error) : std::filesystem::create_directory(path, error);
    if (error && error != std::errc::file_exists) {
        fsReports.Warning("Unable to create directory %s: errno=%d", Shown(name),
                          error.default_error_condition().value());
        return 1;
    }
    if (isNew && withParents)
        TraceCreated(Shown(name));
    return 0;
}
