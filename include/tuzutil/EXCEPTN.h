#ifndef TUZUTIL_EXCEPTN_H
#define TUZUTIL_EXCEPTN_H

// TException: the base of all exceptions of the library, with texts, an ID, a severity, a group and locations.
//
// Example:
//     try {
//         text.subString(0);
//     } catch (TException &problem) {
//         std::cerr << problem << '\n'; // its texts, class, ID and first location, as what() returns them
//         problem.addLocation(TExceptionLocation(__FILE__, __func__, __LINE__));
//         problem.Throw(); // with its own class
//     }
//
// Ownership:  An exception holds its texts. The group and the names in the locations are borrowed and must be static.
// Threads:    One thread at a time may change an exception. Several threads may read one that nobody changes.
// Failures:   Of the members, only Throw() throws. An index out of range yields null. A text becomes null if there is
//             no memory for it, but the library's own TOutOfMemory always has its text, which is in static memory.
// Surprises:
// - text(0) is the newest text, but locationAtIndex(0) is the oldest location.
// - There is room for five texts and five locations. A sixth text or location overwrites two of them: see appendText().
// - Every exception of the family is a std::exception too. If a handler for std::exception stands before one for
//   TException, the first one catches the exception. A what() of a subclass must be noexcept. If the subclass also
//   derives from a standard exception, what() is ambiguous, and a handler for std::exception does not catch it.
class TException;

#include "tuzutil/EXPORT.h"
#include "tuzutil/TRACE.h"
#include "tuzutil/TSTRING.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <iosfwd>
#include <system_error>

// A place in a source file. The names are borrowed, and must be static.
class TUZUTIL_API TExceptionLocation {
public:
    TExceptionLocation() noexcept = default;
    // Both names may be null.
    TExceptionLocation(char const *fileName, char const *functionName, unsigned long lineNumber) noexcept
        : fFileName(fileName), fFunctionName(functionName), fLineNumber(static_cast<std::uint32_t>(lineNumber)) {}

    char const *fileName() const noexcept { return fFileName; }         // null by default
    char const *functionName() const noexcept { return fFunctionName; } // null by default
    unsigned long lineNumber() const noexcept { return fLineNumber; }   // 0 by default

private:
    char const *fFileName = nullptr;
    char const *fFunctionName = nullptr;
    std::uint32_t fLineNumber = 0;
};

class TException;

// Declares the virtual functions of TException. This class is the first base of TException, so these functions keep
// their places in the table of virtual functions, before those of std::exception.
class TUZUTIL_API TExceptionSlots {
protected:
    virtual ~TExceptionSlots();
    virtual void Throw() = 0;
    virtual int isRecoverable() const noexcept = 0;
    virtual TException &addLocation(TExceptionLocation const &location) noexcept = 0;
    virtual char const *name() const noexcept = 0;
    virtual TException &logExceptionData() = 0;
    virtual void terminate() = 0;
};

class TUZUTIL_API TException : private TExceptionSlots, public std::exception {
public:
    // Whether the program can go on after the failure.
    enum Severity { unrecoverable, recoverable };

    // The text is copied, and may be null. The ID has 32 bits. At first there is no group and no location.
    TException(char const *text, unsigned long errorId, Severity severity) noexcept;
    TException(TException const &other) noexcept;
    TException &operator=(TException const &other) noexcept;

    ~TException() override;
    [[noreturn]] void Throw() override;          // throws a copy that has the class of this object
    int isRecoverable() const noexcept override; // 1 or 0
    TException &addLocation(TExceptionLocation const &location) noexcept override; // for a sixth, see appendText()
    char const *name() const noexcept override;                                    // the name of the class
    TException &logExceptionData() override;                                       // does nothing, unless overridden
    void terminate() override;                                                     // does nothing, unless overridden

    // Returns the texts from the newest to the oldest, and in parentheses the class, the ID and the first location, for
    // example "Bad value to truncate this String (TInvalidRequest, ID 1, src/utility/TSTRING:512)". If the system
    // failed, the system's error code and words follow the location. The result is never null. It is valid until the
    // exception is changed or destroyed. If there is no memory for the result, returns text(0), or name() if text(0) is
    // null.
    [[nodiscard]] char const *what() const noexcept override;

    // Stores the error of the system that led to this exception. `code` is the system's error code, or 0 if there is
    // none. `words` is what the system says about the error, or null if the system says no more than the code tells.
    // The function copies `words`. The library calls this function if the system cannot load a library or a text.
    // Afterwards code() returns the code, and systemText() the words.
    TException &setSystemError(unsigned long code, char const *words = nullptr) noexcept;
    // Returns the error of the system. Its value is 0 if there is none.
    [[nodiscard]] std::error_code code() const noexcept {
        return {static_cast<int>(fSystemCode), std::system_category()};
    }
    [[nodiscard]] char const *systemText() const noexcept { return fSystemText; } // null if there is none

    // These functions change one property, and return this exception.
    TException &setSeverity(Severity severity) noexcept;
    TException &setErrorId(unsigned long errorId) noexcept;
    TException &setErrorCodeGroup(char const *group) noexcept; // borrowed; null means "unknown"

    unsigned long errorId() const noexcept { return fErrorId; }    // distinguishes failures of one class
    char const *errorCodeGroup() const noexcept { return fGroup; } // null means "unknown"

    TException &setText(char const *text) noexcept; // replaces all texts
    // Adds a text. If there are already five texts a, b, c, d, e (oldest first), they become b, c, d, d and the new
    // text. Locations change in the same way.
    TException &appendText(char const *text) noexcept;
    unsigned long textCount() const noexcept { return fTextCount; } // 1 to 5; a null text counts
    char const *text(unsigned long index) const noexcept;           // 0: the newest; null beyond textCount()-1

    unsigned long locationCount() const noexcept { return fLocationCount; }        // 0 to 5
    TExceptionLocation const *locationAtIndex(unsigned long index) const noexcept; // 0: the oldest; null if too high

    // Writes nothing to the trace, despite its name. If a destination takes level "xc" of the category, calls text(0)
    // and ignores the result.
    TException &Trace(TTrace::Category const &category) noexcept;
    // Does the same as Trace().
    TException &TraceRethrow(TTrace::Category const &category) noexcept { return Trace(category); }

    static void assertParameter(char const *, TExceptionLocation) noexcept {} // does nothing

private:
    friend struct TExceptionAccess;

    static constexpr std::uint32_t fsMaximum = 5;

    // The result of what(). A copy of the exception makes a result of its own.
    class TDescription {
    public:
        TDescription() noexcept = default;
        TDescription(TDescription const &) noexcept {}
        TDescription &operator=(TDescription const &) noexcept {
            Forget();
            return *this;
        }
        ~TDescription() { Forget(); }

        char const *Text(TException const &problem) noexcept; // null if there is no memory
        void Forget() noexcept;

    private:
        std::atomic<char *> fText{nullptr};
    };

    Severity fSeverity;
    std::uint32_t fErrorId;
    TExceptionLocation fLocations[fsMaximum];
    std::uint32_t fLocationCount = 0;
    std::uint32_t fTextCount = 1;
    TString fTexts[fsMaximum];
    char const *fGroup = nullptr;
    std::uint32_t fSystemCode = 0;
    TString fSystemText;
    mutable TDescription fDescription;
};

// Writes what(). If a program has an operator<< of its own for TException that is not a template, the compiler prefers
// that one.
template <typename Traits>
std::basic_ostream<char, Traits> &operator<<(std::basic_ostream<char, Traits> &out, TException const &problem) {
    return out << problem.what();
}

// Declares an exception class. TUZUTIL_DEFINE_EXCEPTION defines its destructor, Throw() and name(). `api` is the export
// macro of the library that contains this definition, for example TUZUTIL_API.
#define TUZUTIL_DECLARE_EXCEPTION(api, Class, Parent)                                                                  \
    class api Class : public Parent {                                                                                  \
    public:                                                                                                            \
        Class(char const *text, unsigned long errorId, TException::Severity severity) noexcept                         \
            : Parent(text, errorId, severity) {}                                                                       \
        Class(Class const &other) noexcept = default;                                                                  \
        Class &operator=(Class const &other) noexcept = default;                                                       \
        ~Class() override;                                                                                             \
        [[noreturn]] void Throw() override;                                                                            \
        char const *name() const noexcept override;                                                                    \
    }

// Defines the members of an exception class that TUZUTIL_DECLARE_EXCEPTION has declared. Write this macro in one source
// file.
#define TUZUTIL_DEFINE_EXCEPTION(Class)                                                                                \
    Class::~Class() = default;                                                                                         \
    void Class::Throw() {                                                                                              \
        throw Class(*this);                                                                                            \
    }                                                                                                                  \
    char const *Class::name() const noexcept {                                                                         \
        return #Class;                                                                                                 \
    }

// Says that the system cannot load a library, or that the library lacks a text.
TUZUTIL_DECLARE_EXCEPTION(TUZUTIL_API, TAccessError, TException);
// An exception for programs. The library does not throw it.
TUZUTIL_DECLARE_EXCEPTION(TUZUTIL_API, TAssertionFailure, TException);
// An exception for programs. The library does not throw it.
TUZUTIL_DECLARE_EXCEPTION(TUZUTIL_API, TDeviceError, TException);
// Says that an argument is out of range.
TUZUTIL_DECLARE_EXCEPTION(TUZUTIL_API, TInvalidParameter, TException);
// Says that an object cannot do what was asked of it.
TUZUTIL_DECLARE_EXCEPTION(TUZUTIL_API, TInvalidRequest, TException);
// The base of the exceptions that say what is lacking.
TUZUTIL_DECLARE_EXCEPTION(TUZUTIL_API, TResourceExhausted, TException);
// Says that there is no memory.
TUZUTIL_DECLARE_EXCEPTION(TUZUTIL_API, TOutOfMemory, TResourceExhausted);
// An exception for programs. The library does not throw it.
TUZUTIL_DECLARE_EXCEPTION(TUZUTIL_API, TOutOfSystemResource, TResourceExhausted);
// An exception for programs. The library does not throw it.
TUZUTIL_DECLARE_EXCEPTION(TUZUTIL_API, TOutOfWindowResource, TResourceExhausted);

// Holds an error number of the C library, or -1 if the constructor was given no number.
class TUZUTIL_API TCrtMsg {
public:
    TCrtMsg() noexcept = default;
    TCrtMsg(int number) noexcept : fNumber(number) {} // the number is not checked
    TCrtMsg(char const *) noexcept {}                 // the text is ignored

    void Write(char const *) const noexcept {} // does nothing

private:
    [[maybe_unused]] std::int32_t fNumber = -1; // nobody reads it
};

#endif
