#ifndef TUZUTIL_RAISE
#define TUZUTIL_RAISE

// Builds and throws the library's exceptions: sets text, ID, severity, group and one location, and calls
// TException::Trace(). Sources use these functions through their reporters, see reporter.h.

#include "tuzutil/EXCEPTN.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

// The contents of an exception, as a TReporter collects them (see reporter.h).
struct TFailure {
    TTrace::Category const &category;
    char const *file; // "src/utility/NAME"
    char const *text;
    char const *function;
    std::uint32_t line;
    std::uint32_t errorId;
    TException::Severity severity;
    std::uint32_t systemCode = 0; // see TException::setSystemError()
    char const *systemText = nullptr;
};

template <typename E>
void Prepare(E &exception, TFailure const &failure) {
    exception.setErrorCodeGroup("Quendix Library");
    exception.setSystemError(failure.systemCode, failure.systemText);
    exception.addLocation(TExceptionLocation(failure.file, failure.function, failure.line));
    exception.Trace(failure.category);
}

template <typename E>
E Prepared(TFailure const &failure) {
    static_assert(!std::is_same_v<E, TOutOfMemory>, "RaiseOutOfMemory() takes no memory");
    E exception(failure.text, failure.errorId, failure.severity);
    Prepare(exception, failure);
    return exception;
}

// The exception is made in place, so it is not copied.
template <typename E>
[[noreturn]] void Raise(TFailure const &failure) {
    throw Prepared<E>(failure);
}

// A text in static memory. Exceptions share the text without an allocation. The reference count of the text never
// becomes 0, so the text is never deallocated.
struct TStaticText {
    TStringBuffer header;
    char bytes[24];
};

extern TStaticText fsOutOfMemory; // "Out of memory"
extern TStaticText fsTextTooLong; // "Text too long"

// Throws the exception for a lack of memory. The text of the exception is static. If it were allocated, and there were
// no memory for it, the same exception would be raised again and again.
[[noreturn]] void RaiseOutOfMemory(TTrace::Category const &category, char const *file, TStaticText &text,
                                   std::uint32_t line);

#endif
