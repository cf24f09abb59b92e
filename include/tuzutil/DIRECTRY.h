#ifndef TUZUTIL_DIRECTRY_H
#define TUZUTIL_DIRECTRY_H

// TDirectory: lists the entries of a directory; makes directories and whole trees of them.
//
// Example:
//     TDirectory::MakeTree("C:\\mail\\users\\anna");
//     TDirectory folder("C:\\mail\\users");
//     int isDirectory;
//     TString name;
//     for (TString path = folder.FindFirst(&isDirectory, &name); path; path = folder.FindNext(&isDirectory, &name))
//         std::cout << name << (isDirectory ? "\\" : "") << '\n'; // anna, with a backslash behind it
//
// Ownership:  copies share the enumeration; the first that is destroyed ends it for all.
// Threads:    one at a time for a directory and its copies; separate objects are independent.
// Failures:   null strings where nothing is found; results other than 0 where no directory was made. Reasons are traced
//             in the category Directory: level 4, level 8 where the system refuses a directory.
// Surprises:  without a place for isDirectory only files are listed. A file of the name counts as a directory made.
//             On Linux, entries with a backslash in their names are left out, and traced at level 8: the name would be
//             that of another file. The system's own functions reach them.
//             MakeTree() makes no parent whose only separator is its first one, so "a\b" needs "a"; and it says
//             "Created directory" also where a parent failed. The order of entries is the system's.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

#include <cstdint>

class TUZUTIL_API TDirectory {
public:
    TDirectory(char const *path) : fPath(path) {}
    // The other's path and its enumeration. What the left side of an assignment had open is closed.
    TDirectory(TDirectory const &other) noexcept = default;
    TDirectory &operator=(TDirectory const &other);
    ~TDirectory();

    // The full path of the first or next entry, or null. Where a pointer is given: 1 for a directory, 0 for a file;
    // the name without its path, null at the end. "." and ".." are left out.
    TString FindFirst(int *isDirectory = nullptr, TString *name = nullptr);
    TString FindNext(int *isDirectory = nullptr, TString *name = nullptr);

    static TString Combine(TString const &first, TString const &second); // with a separator between them, always
    static int MakeDir(TString const &path);                             // 0 when it exists afterwards, 1 on failure
    static int MakeTree(TString const &path); // 0; 1 or 2 on failure, 2 where there is no parent to make

    static TString const fsSeparator; // a backslash

private:
    TString Report(char const *entry, bool entryIsDirectory, int *isDirectory, TString *name) const;
    TString ReturnFile(char const *name) const;

    TString fPath;
    std::int32_t fHandle = -1;
};

#endif
