#ifndef TUZUTIL_TESTS_FAILINGCALLS_H
#define TUZUTIL_TESTS_FAILINGCALLS_H

// Lets a test make calls of the system fail. failing_calls_posix.cpp defines functions with the names of functions of
// the C library, and these are called instead.

namespace calls {

// Says in which way a call fails.
enum class Kind {
    error,       // the call returns an error that fits the function, for example ENOSPC for write()
    interrupted, // the call returns EINTR; functions that signals cannot interrupt are not counted
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

// Returns how many threads have asked the system to let them wait for a word of memory, or for a shared mutex.
long AwaitedWords() noexcept;

// Returns how many calls of flock() have asked the system for a shared lock, and were ready to wait for it.
long AwaitedSharedLocks() noexcept;

// Returns the name of the function whose call failed last, or "none".
char const *LastFailed() noexcept;

// Returns the error number that this call has told, or 0.
int LastError() noexcept;

// Returns how many calls of this function have failed since FailFrom() or FailOnly().
long Failed(char const *name) noexcept;

} // namespace calls

#endif
