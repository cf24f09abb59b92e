#ifndef TUZUTIL_TESTS_MODEL_REPORTER_H
#define TUZUTIL_TESTS_MODEL_REPORTER_H

// Takes the place of utility/kernel/reporter.h in tests that include sources of the library in the namespace `modelled`
// (see model_locks.h). Nothing is reported in the scenarios of these tests, so each report ends the program.

#include <cstdint>
#include <cstdlib>

#define TUZUTIL_REPORTER

namespace modelled {

struct TInvalidRequest {};

struct TUtilityTraceCategory {
    static constexpr int Utility = 0;
};

struct TReportText {
    char const *text;
    std::uint32_t line;
};

struct TReporter {
    constexpr TReporter(int, char const *) {}
    template <typename... Arguments>
    void Warning(Arguments const &...) const {
        std::abort();
    }
    template <typename... Arguments>
    void Error(Arguments const &...) const {
        std::abort();
    }
    template <typename E>
    [[noreturn]] void Raise(TReportText const &) const {
        std::abort();
    }
};

} // namespace modelled

#endif
