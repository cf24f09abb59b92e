#ifndef TUZUTIL_REPORTER
#define TUZUTIL_REPORTER

// How a source of the library reports: it defines one TReporter, which binds the category and the file name that its
// trace entries and exceptions carry. Each report carries the line of the call, unless the call gives another.
//
//     TReporter const fsReports(TUtilityTraceCategory::Utility, "src/utility/THREAD");
//     fsReports.Error("Unable to start thread");
//     fsReports.Raise<TInvalidRequest>({"TReference null", 203});

#include "tuzutil/TRACEP.h"
#include "utility/kernel/raise.h"

#include <concepts>
#include <cstdint>

// The text of a report, or its format, and its line. The text is borrowed: it must live as long as the full expression.
struct TReportText {
    template <std::convertible_to<char const *> Text>
    TReportText(Text const &words, std::uint32_t lineNumber = __builtin_LINE()) : text(words), line(lineNumber) {}

    char const *text;
    std::uint32_t line;
};

// What an exception says besides its text and its place.
struct TReportDetails {
    char const *function = "";
    std::uint32_t errorId = 1;
    TException::Severity severity = TException::recoverable;
};

class TReporter {
public:
    // Both are kept as references: a reporter is usable before the category is built.
    constexpr TReporter(TTrace::Category const &category, char const *file) noexcept
        : fCategory(category), fFile(file) {}

    // Trace entries. They take no memory and no lock while nobody listens, and never throw.
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

    // Exceptions. Failure() is for those who throw in a form of their own.
    TFailure Failure(TReportText text, TReportDetails const &details = {}) const noexcept {
        return {fCategory, fFile, text.text, details.function, text.line, details.errorId, details.severity};
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
