#ifndef TUZUTIL_TESTS_FAILINGCALLS_H
#define TUZUTIL_TESTS_FAILINGCALLS_H

// Lets a test make calls of the system fail. failing_calls_posix.cpp defines functions with the names of functions of
// the C library, and these are called instead. failing_calls_win32.cpp replaces the functions that the library's DLL
// imports, and those that it finds by GetProcAddress(). failing_calls.cpp counts the calls.

#include <cstddef>

namespace calls {

// Says in which way a call fails.
enum class Kind {
    error,       // the call returns an error that fits the function, for example ENOSPC for write()
    interrupted, // the call returns EINTR; functions that signals cannot interrupt are not counted, so none on Windows
    partial      // the call moves half of its bytes; only reads and writes are counted
};

// Counts the calls from now on. FailFrom() makes the call with this number and all later calls fail. FailOnly() makes
// only the call with this number fail. If the number is 0, no call fails.
void FailFrom(long number, Kind kind) noexcept;
void FailOnly(long number, Kind kind) noexcept;

// Lets all calls succeed again. Returns how many calls were counted since FailFrom() or FailOnly().
long Stop() noexcept;

// While an object of this class exists, no calls are counted, and no calls fail. A test uses it for its own calls.
struct TOwn {
    TOwn() noexcept;
    TOwn(TOwn const &) = delete;
    TOwn &operator=(TOwn const &) = delete;
    ~TOwn();

private:
    bool fWasCounting;
};

// While an object of this class exists, the calls of this thread are not counted, and do not fail. A test uses it to
// let only the calls of another thread fail.
struct TExempt {
    TExempt() noexcept;
    TExempt(TExempt const &) = delete;
    TExempt &operator=(TExempt const &) = delete;
    ~TExempt();

private:
    bool const fWasExempt;
};

// While an object of this class exists, waits for words of memory are counted too, and can fail. How often threads wait
// depends on the order in which they run, so only tests that determine this order count these calls.
struct TCountWaits {
    TCountWaits() noexcept;
    TCountWaits(TCountWaits const &) = delete;
    TCountWaits &operator=(TCountWaits const &) = delete;
    ~TCountWaits();
};

// Returns how many threads have asked the system to let them wait for a word of memory, or for a shared mutex. On
// Windows, this includes those that wait for an event of the system.
long AwaitedWords() noexcept;

// Only for Linux. Returns how many calls of flock() have asked the system for a shared lock, and were ready to wait for
// it.
long AwaitedSharedLocks() noexcept;

// Returns the name of the function whose call failed last, or "none".
char const *LastFailed() noexcept;

// Returns the error number that this call has told, or 0.
int LastError() noexcept;

// Returns the name of the function whose call has failed as the one with this number since FailFrom() or FailOnly(), or
// null if fewer have failed. The first number is 0.
char const *FailedAt(std::size_t number) noexcept;

// Returns how many calls of this function have failed since FailFrom() or FailOnly().
long Failed(char const *name) noexcept;

// Only for Windows. These functions return how many handles, searches of directories and references to itself the
// library holds now, and how many mappings. The library's holdings are counted instead of those of the process, because
// the C runtime and the C++ runtime keep handles of their own.
long HeldHandles() noexcept;
long HeldMappings() noexcept;

// Only for Windows. Returns the name of a function that the library has looked up although no replacement is known and
// none is known to be unnecessary, or null.
char const *UnknownLookup() noexcept;

// The replacements call the functions below.

// If calls of this kind are counted, counts the call. Returns whether the call must fail.
bool MustFail(char const *name, Kind kind) noexcept;

// Stores the error number that a failed call tells.
void NoteError(int error) noexcept;

// Counts a thread that is about to wait.
void NoteWait() noexcept;

// Returns whether waits are counted: see TCountWaits.
bool CountsWaits() noexcept;

// Returns true once after a TCountWaits was constructed.
bool IsFirstWait() noexcept;

// These functions are defined for each system. They get and set whether the calls of this thread are exempt.
bool IsExempt() noexcept;
void SetExempt(bool isExempt) noexcept;

} // namespace calls

#endif
