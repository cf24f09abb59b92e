#ifndef TUZUTIL_TESTS_FAILINGCALLS_H
#define TUZUTIL_TESTS_FAILINGCALLS_H

// Calls of the system that fail when a test says so. failing_calls_posix.cpp puts itself between the library and the C
// library for the functions that it names.

namespace calls {

// How a call fails.
enum class Kind {
    error,       // with the error that fits the function, such as ENOSPC for write()
    interrupted, // with EINTR, if the function can be interrupted; other calls are not counted
    partial      // reads and writes move half of their bytes; other calls are not counted
};

// The call of that number, counted from now, fails, and so do all after it, or only it. 0: none fails.
void FailFrom(long number, Kind kind) noexcept;
void FailOnly(long number, Kind kind) noexcept;

// Ends the failing. Returns how many calls were counted since it began.
long Stop() noexcept;

// While an object of this class exists, calls are neither counted nor do they fail: for what the test itself does.
struct TOwn {
    TOwn() noexcept;
    TOwn(TOwn const &) = delete;
    TOwn &operator=(TOwn const &) = delete;
    ~TOwn();

private:
    bool fWasCounting;
};

// The name of the call that failed last, or "none".
char const *LastFailed() noexcept;

} // namespace calls

#endif
