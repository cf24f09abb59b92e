#ifndef TUZUTIL_LOADING
#define TUZUTIL_LOADING

// TLoading: keeps the exceptions of static objects in a library that is being loaded. An exception that leaves the
// constructor of a static object ends the process, and no handler can catch it. So objects that register themselves
// keep their exception in the TLoading of their thread. Rethrow() throws it after the system's loader has returned:
//
//     TLoading loading;
//     platform::Library *const library = platform::OpenLibrary(name);
//     loading.Rethrow();

#include <exception>

// Marks a load on this thread, for as long as the object exists. Loads may be nested.
class TLoading {
public:
    TLoading() noexcept;
    TLoading(TLoading const &) = delete;
    TLoading &operator=(TLoading const &) = delete;
    ~TLoading();

    static bool IsUnderWay() noexcept;

    // Runs `act`, which registers an object. If `act` throws while this thread loads a library, keeps the exception and
    // returns false. The object is then not registered. If this thread loads no library, lets the exception pass. If
    // several calls throw, only the first exception is kept.
    template <typename Act>
    static bool RaiseOrKeep(Act act) {
        try {
            act();
            return true;
        } catch (...) {
            // If current_exception() is null, the system is unwinding a cancelled thread.
            if (!IsUnderWay() || !std::current_exception())
                throw;
            Keep(std::current_exception());
            return false;
        }
    }

    // Throws the kept exception, if there is one. In a nested load, passes the exception on to the outer load instead,
    // because the nested load runs within the constructor of a static object, which must not throw.
    void Rethrow();

private:
    static void Keep(std::exception_ptr failure) noexcept;

    TLoading *const fOuter;
    std::exception_ptr fFailure;
};

#endif
