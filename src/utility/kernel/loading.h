#ifndef TUZUTIL_LOADING
#define TUZUTIL_LOADING

// TLoading: while a library is being loaded, keeps the first exception that the registration of one of its static
// objects throws. An exception that leaves the constructor of a static object ends the process, and no handler can
// catch it. So an object that registers itself puts its exception into the TLoading of the thread that loads the
// library. After the system's loader has returned, call Rethrow(), which throws the kept exception:
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
    // `act` throws in several calls of RaiseOrKeep() during one load, only the first exception is kept.
    template <typename Act>
    static bool RaiseOrKeep(Act act) {
        try {
            act();
            return true;
        } catch (...) {
            // If current_exception() is null, the system is unwinding a cancelled thread.
            // No test gets here: a thread would have to be cancelled while it registers an object.
            if (!IsUnderWay() || !std::current_exception())
                throw;
            Keep(std::current_exception());
            return false;
        }
    }

    // Throws the kept exception, if there is one. In a nested load, passes the exception on to the outer load instead.
    // A nested load runs within the constructor of a static object, and that constructor must not throw.
    void Rethrow();

private:
    static void Keep(std::exception_ptr failure) noexcept;

    TLoading *const fOuter;
    std::exception_ptr fFailure;
};

#endif
