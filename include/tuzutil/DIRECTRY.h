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
//   denote another file. Use the system's own functions for it.
// - MakeDir() succeeds if a file of that name exists.

#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

#include <cstdint>

class TUZUTIL_API TDirectory {
public:
    TDirectory(char const *path) : fPath(path) {}
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

    static TString Combine(TString const &first, TString const &second); // always puts a separator between them
    static int MakeDir(TString const &path);                             // 0 if it exists afterwards, 1 on failure
    // Makes the directory and its missing parents. Returns 0, or 1 on failure, or 2 if there is no parent to make. It
    // makes no parent whose only separator is its first one, so "a\b" needs "a". It traces "Created directory" also if
    // a parent could not be made.
    static int MakeTree(TString const &path);

    static TString const fsSeparator; // a backslash

private:
    TString Report(char const *entry, bool entryIsDirectory, int *isDirectory, TString *name) const;
    TString ReturnFile(char const *name) const;

    TString fPath;
    std::int32_t fHandle = -1;
};

#endif
