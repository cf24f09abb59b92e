#ifndef TUZUTIL_REPORTER
#define TUZUTIL_REPORTER

// TReporter: writes trace entries and throws exceptions for a source of the library. A TReporter has the category and
// the file name of the reports. A source defines its reporters, or shares one that a header defines. Each report has
// the line number of the call, unless the caller passes another number.
//
//     TReporter const fsReports(TUtilityTraceCategory::Utility, "src/utility/THREAD");
//     fsReports.Error("Unable to start thread");
//     fsReports.Raise<TInvalidRequest>({"TReference null", 203});

#include "tuzutil/TRACEP.h"
#include "utility/kernel/raise.h"

#include <concepts>
#include <cstdint>

// The text or the format of a report, and its line number. The text is borrowed. REQUIRES: the text exists until the
// end of the full expression.
struct TReportText {
    template <std::convertible_to<char const *> Text>
    TReportText(Text const &words, std::uint32_t lineNumber = __builtin_LINE()) : text(words), line(lineNumber) {}

    char const *text;
    std::uint32_t line;
};

// The contents of an exception besides its text, file and line.
struct TReportDetails {
    char const *function = "";
    std::uint32_t errorId = 1;
    TException::Severity severity = TException::recoverable;
    std::uint32_t systemCode = 0; // see TException::setSystemError()
    char const *systemText = nullptr;
};

class TReporter {
public:
    // The category is kept as a reference, so a reporter can be defined before the category is built.
    constexpr TReporter(TTrace::Category const &category, char const *file) noexcept
        : fCategory(category), fFile(file) {}

    // These functions write trace entries and never throw. If the global level or the global components exclude the
    // entry, these functions allocate nothing and take no lock.
    template <typename... Arguments>
    void Severe(TReportText format, Arguments const &...arguments) const noexcept {
        Write(TTrace::severe, format, arguments...);
    }
    template <typename... Arguments>
    void Error(TReportText format, Arguments const &...arguments) const noexcept {
        Write(TTrace::error, format, arguments...);
    }
    template <typename... Arguments>
    void Warning(TReportText format, Arguments const &...arguments) const noexcept {
        Write(TTrace::warning, format, arguments...);
    }
    template <typename... Arguments>
    void Note(TReportText format, Arguments const &...arguments) const noexcept {
        Write(TTrace::information, format, arguments...);
    }

    // Failure() returns the contents of an exception and throws nothing. The caller then throws an exception class of
    // its choice. The other functions throw.
    TFailure Failure(TReportText text, TReportDetails const &details = {}) const noexcept {
        return {fCategory,         fFile,           text.text,        details.function,
                text.line,         details.errorId, details.severity, details.systemCode,
                details.systemText};
    }
    template <typename E>
    [[noreturn]] void Raise(TReportText text, TReportDetails const &details = {}) const {
        ::Raise<E>(Failure(text, details));
    }
    [[noreturn]] void RaiseOutOfMemory(TStaticText &text = fsOutOfMemory, std::uint32_t line = __builtin_LINE()) const {
        ::RaiseOutOfMemory(fCategory, fFile, text, line);
    }

private:
    template <typename... Arguments>
    void Write(std::uint32_t level, TReportText format, Arguments const &...arguments) const noexcept {
        TTracePoint::Write(level, fCategory, {fFile, format.line}, format.text, arguments...);
    }

    TTrace::Category const &fCategory;
    char const *fFile;
};

#endif
