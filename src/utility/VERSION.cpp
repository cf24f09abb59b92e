// TVersion: version numbers, and the text that QueryVersion() makes of them. An object keeps its text until the object
// is assigned to or destroyed. If several threads make the text of an object at the same time, one text is kept and the
// others are deallocated. This source has no lock.

#include "tuzutil/VERSION.h"

#include "tuzutil/EXCEPTN.h"
#include "utility/kernel/reporter.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

TVersion::TVersion(unsigned short majorNumber, unsigned short minorNumber) noexcept
    : fMajor(majorNumber), fMinor(minorNumber) {}

TVersion::TVersion(TVersion const &other) noexcept : fMajor(other.fMajor), fMinor(other.fMinor) {}

TVersion &TVersion::operator=(TVersion const &other) noexcept {
    if (this != &other) {
        fMajor = other.fMajor;
        fMinor = other.fMinor;
        std::free(fText.exchange(nullptr));
    }
    return *this;
}

TVersion::~TVersion() {
    std::free(fText.load());
}

char const *TVersion::QueryRevision() const noexcept {
    return TUZUTIL_BUILD_TAG;
}

char const *TVersion::QueryVersion() const {
    if (char *const present = fText.load())
        return present;
    std::size_t const size = std::strlen(QueryRevision()) + 23;
    char *const fresh = static_cast<char *>(std::malloc(size));
    if (!fresh)
        TReporter(TUtilityTraceCategory::Utility, "src/utility/VERSION").RaiseOutOfMemory();
    std::snprintf(fresh, size, "%d.%d.%s", fMajor, fMinor, QueryRevision());
    char *expected = nullptr;
    // No test gets here: two threads would have to ask for the text first in one moment.
    if (fText.compare_exchange_strong(expected, fresh))
        return fresh;
    std::free(fresh); // another thread was first
    return expected;
}

unsigned short QueryMajorVersion() {
    TVersion const *const version = TVersion::QueryInstance();
    // No test gets here: no program can set the version that QueryInstance() returns.
    return version ? version->QueryMajor() : static_cast<unsigned short>(0);
}

unsigned short QueryMinorVersion() {
    TVersion const *const version = TVersion::QueryInstance();
    // No test gets here: no program can set the version that QueryInstance() returns.
    return version ? version->QueryMinor() : static_cast<unsigned short>(0);
}
