#ifndef TUZUTIL_DIRECTRY_H
#define TUZUTIL_DIRECTRY_H

// TDirectory: lists the entries of a directory, and makes directories with their missing parents.
//
// Example:
//     TDirectory::MakeTree("C:\\mail\\users\\anna");
//     TDirectory folder("C:\\mail\\users");
//     int isDirectory;
//     TString name;
//     for (TString path = folder.FindFirst(&isDirectory, &name); path; path = folder.FindNext(&isDirectory, &name))
//         std::cout << name << (isDirectory ? "\\" : "") << '\n'; // anna, followed by a backslash
//
// Ownership:  Copies share one enumeration. The enumeration ends for all of them when one copy is destroyed, calls
//             FindFirst(), or is assigned a directory with another enumeration. If another copy is destroyed later, its
//             destructor traces an error, because the enumeration has already ended.
// Threads:    One thread at a time may use a directory and its copies. Objects that are not copies of each other are
//             independent.
// Failures:   If nothing is found, or the directory cannot be read, FindFirst() and FindNext() return a null string and
//             trace no reason. If a directory is not made, MakeDir() and MakeTree() return a value other than 0, and
//             trace the reason in the category Directory at level "wa". TOutOfMemory if there is no memory for a search
//             or a text.
// Surprises:
// - FindFirst() and FindNext() list directories only if `isDirectory` is not null.
// - The entries are listed in the order in which the system returns them.
// - On Linux, FindFirst() and FindNext() omit an entry with a backslash in its name, because this library would take
//   the name for a path. They trace it at level "wa". NativeEntries() lists such entries too.
// - MakeDir() succeeds if a file of that name exists.
class TDirectory;

#include "tuzutil/EXPORT.h"
#include "tuzutil/FILENAME.h"
#include "tuzutil/TSTRING.h"

#include <cstdint>
#include <filesystem>
#include <type_traits>

class TUZUTIL_API TDirectory {
public:
    // The directory need not exist. Backslashes separate the parts of its path on every system.
    TDirectory(char const *path) : fPath(path) {}
    // On Linux, throws TInvalidParameter if the path contains a backslash.
    template <class Path, std::enable_if_t<std::is_same_v<Path, std::filesystem::path>, int> = 0>
    explicit TDirectory(Path const &path) : fPath(TFileName(path).QueryNameLocal()) {}
    // A copy has the same path and shares the enumeration. An assignment first ends the enumeration of the left side,
    // unless both sides already share it.
    TDirectory(TDirectory const &other) noexcept = default;
    TDirectory &operator=(TDirectory const &other);
    ~TDirectory();

    // These functions return the path of the first or the next entry, or a null string at the end. A returned path
    // consists of the directory's path, a separator and the entry's name. The entries "." and ".." are omitted. If
    // `isDirectory` is not null, `*isDirectory` becomes 1 for a directory and 0 for a file. If `name` is not null,
    // `*name` becomes the name of the entry, or a null string at the end.
    TString FindFirst(int *isDirectory = nullptr, TString *name = nullptr);
    TString FindNext(int *isDirectory = nullptr, TString *name = nullptr);

    // Returns an iterator over all entries, directories included, under the system's own names. The iterator is
    // independent of FindFirst() and FindNext(). Throws std::filesystem::filesystem_error if the system cannot open the
    // directory.
    std::filesystem::directory_iterator NativeEntries() const {
        return std::filesystem::directory_iterator(TFileName(fPath).NativePath());
    }

    // Joins two parts with a separator, even if `first` ends with a separator. A null part becomes "<NULL>".
    static TString Combine(TString const &first, TString const &second);
    static int MakeDir(TString const &path); // 0 if the name exists afterwards, 1 on failure
    // Makes the directory and its missing parents. Returns 0 if the name exists afterwards. The topmost directory is
    // the one after the first separator. The part before that separator is never made: for "a\b", "a" must exist.
    // Returns 1 if a directory below the topmost one could not be made; "Created directory" is traced even then.
    // Returns 2 if not even the topmost directory could be made, and traces this at level "er".
    static int MakeTree(TString const &path);
    // These functions make a directory whose name is a path of the standard library. The path may contain any
    // character. MakeTree() with such a path makes all missing parents, and returns 0 or 1.
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
