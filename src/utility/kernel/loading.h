#ifndef TUZUTIL_LOADING
#define TUZUTIL_LOADING

// Failures of static objects in a library that this one loads. An exception that leaves an initialiser ends the process
// on every system, past all handlers; so objects that register themselves keep it here, and it is thrown when the
// system's loader has returned:
//
//     TLoading loading;
//     platform::Library *const library = platform::OpenLibrary(name);
//     loading.Rethrow();

#include "utility/kernel/raise.h"

#include <exception>

// One load, on this thread, for as long as the object lives. Loads may stand in one another.
class TLoading {
public:
    TLoading() noexcept;
    TLoading(TLoading const &) = delete;
    TLoading &operator=(TLoading const &) = delete;
    ~TLoading();

    static bool IsUnderWay() noexcept;
    // The first one counts. REQUIRES: a load is under way.
    static void Keep(std::exception_ptr failure) noexcept;

    // Throws what was kept. Within another load, that one keeps it instead: here, too, an initialiser is running.
    void Rethrow();

private:
    TLoading *const fOuter;
    std::exception_ptr fFailure;
};

// Raises the exception, or keeps it while a library is loaded on this thread: then it returns, and the caller leaves
// its object unregistered.
template <typename E>
void RaiseOrKeep(TFailure const &failure) {
    if (!TLoading::IsUnderWay())
        Raise<E>(failure);
    TLoading::Keep(std::make_exception_ptr(Prepared<E>(failure)));
}

#endif
