// Counts the calls of the system that the library makes, and decides which of them fail.

#include "support/FailingCalls.h"

#include <atomic>
#include <cstddef>
#include <iterator>
#include <string.h>

namespace {

constinit std::atomic<long> fsCounted{0};
constinit std::atomic<long> fsFirst{0}; // the number of the first call that fails, or 0
constinit std::atomic<long> fsLast{0};
constinit std::atomic<bool> fsIsCounting{false};
constinit std::atomic<calls::Kind> fsKind{calls::Kind::error};
constinit std::atomic<char const *> fsFailed{"none"};
constinit std::atomic<int> fsError{0};
constinit std::atomic<long> fsAwaitedWords{0};
constinit std::atomic<bool> fsCountsWaits{false};
constinit std::atomic<bool> fsIsFirstWait{false};

// The names of the functions whose calls have failed. If more calls fail than there are places, the last ones are not
// noted.
constinit std::atomic<char const *> fsFailures[1000] = {};
constinit std::atomic<std::size_t> fsFailureCount{0};

void Begin(long first, long last, calls::Kind kind) noexcept {
    fsCounted = 0;
    fsFailed = "none";
    fsError = 0;
    fsFailureCount = 0;
    fsKind = kind;
    fsLast = last;
    fsFirst = first;
    fsIsCounting = true;
}

} // namespace

bool calls::MustFail(char const *name, Kind kind) noexcept {
    if (!fsIsCounting || fsKind != kind || IsExempt())
        return false;
    long const number = ++fsCounted;
    bool const fails = fsFirst != 0 && number >= fsFirst && number <= fsLast;
    if (fails) {
        fsFailed = name;
        std::size_t const place = fsFailureCount++;
        if (place < std::size(fsFailures))
            fsFailures[place] = name;
    }
    return fails;
}

void calls::NoteError(int error) noexcept {
    fsError = error;
}

void calls::NoteWait() noexcept {
    ++fsAwaitedWords;
}

bool calls::CountsWaits() noexcept {
    return fsCountsWaits;
}

bool calls::IsFirstWait() noexcept {
    return fsIsFirstWait.exchange(false);
}

void calls::FailFrom(long number, Kind kind) noexcept {
    Begin(number, __LONG_MAX__, kind);
}

void calls::FailOnly(long number, Kind kind) noexcept {
    Begin(number, number, kind);
}

long calls::Stop() noexcept {
    fsIsCounting = false;
    return fsCounted;
}

calls::TOwn::TOwn() noexcept : fWasCounting(fsIsCounting.exchange(false)) {}

calls::TOwn::~TOwn() {
    fsIsCounting = fWasCounting;
}

calls::TExempt::TExempt() noexcept : fWasExempt(IsExempt()) {
    SetExempt(true);
}

calls::TExempt::~TExempt() {
    SetExempt(fWasExempt);
}

char const *calls::LastFailed() noexcept {
    return fsFailed;
}

int calls::LastError() noexcept {
    return fsError;
}

char const *calls::FailedAt(std::size_t number) noexcept {
    return number < std::size(fsFailures) && number < fsFailureCount ? fsFailures[number].load() : nullptr;
}

long calls::Failed(char const *name) noexcept {
    long count = 0;
    for (std::size_t i = 0; char const *const failed = FailedAt(i); ++i)
        count += strcmp(failed, name) == 0;
    return count;
}

calls::TCountWaits::TCountWaits() noexcept {
    fsIsFirstWait = true;
    fsCountsWaits = true;
}

calls::TCountWaits::~TCountWaits() {
    fsCountsWaits = false;
}

long calls::AwaitedWords() noexcept {
    return fsAwaitedWords;
}
