#ifndef TUZUTIL_DIRECTRY_H
#define TUZUTIL_DIRECTRY_H

// TDirectory: lists the entries of a directory, and makes directories and whole trees of them.
//
// Example:
//     TDirectory::MakeTree("C:\\mail\\users\\anna");
//     TDirectory folder("C:\\mail\\users");
//     int isDirectory;
//     TString name;
//     for (TString path = folder.FindFirst(&isDirectory, &name); path; path = folder.FindNext(&isDirectory, &name))
//         std::cout << name << (isDirectory ? "\\" : "") << '\n'; // anna, followed by a backslash
//
// Ownership:  Copies share the enumeration; the first copy that is destroyed ends it for all.
// Threads:    One thread at a time may use a directory and its copies; separate objects are independent.
// Failures:   A null string means that nothing was found; a result other than 0 means that no directory was made. The
//             reason is traced in the category Directory at level 4, or at level 8 if the system refuses to make a
//             directory.
// Surprises:
// - FindFirst() and FindNext() list only files unless the caller passes a place for isDirectory.
// - The order of the entries is that of the system.
// - On Linux, an entry whose name contains a backslash is omitted and traced at level 8, because its name would
//   denote another file. NativeEntries() gives it.
// - MakeDir() succeeds if a file of that name exists.

#include "tuzutil/EXPORT.h"
#include "tuzutil/FILENAME.h"
#include "tuzutil/TSTRING.h"

#include <cstdint>
#include <filesystem>
#include <type_traits>

class TUZUTIL_API TDirectory {
public:
    TDirectory(char const *path) : fPath(path) {}
    // Throws TInvalidParameter if TFileName cannot hold the path, which on Linux is so if it contains a backslash.
    template <class Path, std::enable_if_t<std::is_same_v<Path, std::filesystem::path>, int> = 0>
    explicit TDirectory(Path const &path) : fPath(TFileName(path).QueryNameLocal()) {}
    // Copies share the path and the enumeration of the other. An assignment first closes the enumeration of the left
    // side.
    TDirectory(TDirectory const &other) noexcept = default;
    TDirectory &operator=(TDirectory const &other);
    ~TDirectory();

    // Return the full path of the first or next entry, null at the end; "." and ".." are omitted. If the pointers are
    // not null, the functions store 1 for a directory or 0 for a file in `*isDirectory`, and the name without its path
    // in `*name`, null at the end.
    TString FindFirst(int *isDirectory = nullptr, TString *name = nullptr);
    TString FindNext(int *isDirectory = nullptr, TString *name = nullptr);

    // Returns all entries, directories included, under the system's own names. It does not use the enumeration above.
    // Throws std::filesystem::filesystem_error if the system refuses.
    std::filesystem::directory_iterator NativeEntries() const {
        return std::filesystem::directory_iterator(TFileName(fPath).NativePath());
    }

    static TString Combine(TString const &first, TString const &second); // always puts a separator between them
    static int MakeDir(TString const &path);                             // 0 if it exists afterwards, 1 on failure
    // Makes the directory and its missing parents. Returns 0, or 1 on failure, or 2 if there is no parent to make. It
    // makes no parent whose only separator is its first one, so "a\b" needs "a". It traces "Created directory" also if
    // a parent could not be made.
    static int MakeTree(TString const &path);
    // The same for a path of the standard library, which may contain any character. The second one makes all missing
    // parents and never returns 2.
    template <class Path, std::enable_if_t<std::is_same_v<Path, std::filesystem::path>, int> = 0>
    static int MakeDir(Path const &path) {
        return MakeNative(path.c_str(), false);
    }
    template <class Path, std::enable_if_t<std::is_same_v<Path, std::filesystem::path>, int> = 0>
    static int MakeTree(Path const &path) {
        return MakeNative(path.c_str(), true);
    }

    static TString const fsSeparator; // a backslash

private:
    static int MakeNative(std::filesystem::path::value_type const *path, bool withParents);
    TString Report(char const *entry, bool entryIsDirectory, int *isDirectory, TString *name) const;
    TString ReturnFile(char const *name) const;

    TString fPath;
    std::int32_t fHandle = -1;
};

#endif
