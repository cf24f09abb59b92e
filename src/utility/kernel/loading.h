#ifndef TUZUTIL_LOADING
#define TUZUTIL_LOADING

// Failures of static objects in a library that this one loads. An exception that leaves an initialiser ends the process
// on every system, past all handlers; so objects that register themselves keep it here, and it is thrown when the
// system's loader has returned:
//
//     TLoading loading;
//     platform::Library *const library = platform::OpenLibrary(name);
//     loading.Rethrow();

#include <exception>

// One load, on this thread, for as long as the object lives. Loads may be nested.
class TLoading {
public:
    TLoading() noexcept;
    TLoading(TLoading const &) = delete;
    TLoading &operator=(TLoading const &) = delete;
    ~TLoading();

    static bool IsUnderWay() noexcept;

    // Runs `act`, which registers an object. What it throws is kept if a library is being loaded on this thread; then
    // the result is false, and the object stays unregistered. Otherwise it is thrown. The first failure counts.
    template <typename Act>
    static bool RaiseOrKeep(Act act) {
        try {
            act();
            return true;
        } catch (...) {
            if (!IsUnderWay() || !std::current_exception()) // none: the system's unwinding of a cancelled thread
                throw;
            Keep(std::current_exception());
            return false;
        }
    }

    // Throws what was kept. Within another load, that one keeps it instead: here, too, an initialiser is running.
    void Rethrow();

private:
    static void Keep(std::exception_ptr failure) noexcept;

    TLoading *const fOuter;
    std::exception_ptr fFailure;
};

#endif
