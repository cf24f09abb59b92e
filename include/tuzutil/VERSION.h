#ifndef TUZUTIL_VERSION_H
#define TUZUTIL_VERSION_H

// TVersion: a version number and its text.
//
// Example:
//     TVersion version(3, 7);
//     std::cout << version.QueryVersion() << '\n'; // "3.7." and the library's build tag
//
// Ownership:  The object owns the text of QueryVersion().
// Threads:    Several threads may call the queries.
// Failures:   Only QueryVersion() throws: TOutOfMemory if there is no memory for the text.
// Surprises:
// - QueryInstance() returns null. Therefore QueryMajorVersion() and QueryMinorVersion() return 0.
class TVersion;

#include "tuzutil/EXPORT.h"

#include <atomic>
#include <cstdint>

class TUZUTIL_API TVersion {
public:
    TVersion(unsigned short majorNumber, unsigned short minorNumber) noexcept; // need not be those of the library
    TVersion(TVersion const &other) noexcept;                                  // copies the numbers, not the text
    TVersion &operator=(TVersion const &other) noexcept;
    ~TVersion();

    // These functions return the numbers that the constructor got.
    unsigned short QueryMajor() const noexcept { return fMajor; }
    unsigned short QueryMinor() const noexcept { return fMinor; }

    char const *QueryRevision() const noexcept; // the build tag of the library
    // Returns the text "MAJOR.MINOR.TAG". Every call returns the same pointer, until a version is assigned to this one.
    char const *QueryVersion() const;

    static TVersion *QueryInstance() noexcept { return fsOnly; } // null

private:
    static TVersion *fsOnly; // always null

    std::uint16_t fMajor;
    std::uint16_t fMinor;
    mutable std::atomic<char *> fText{nullptr};
};

// These functions return 0, because TVersion::QueryInstance() returns null.
extern "C" TUZUTIL_API unsigned short QueryMajorVersion();
extern "C" TUZUTIL_API unsigned short QueryMinorVersion();

#endif
