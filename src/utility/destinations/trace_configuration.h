#ifndef TUZUTIL_TRACE_CONFIGURATION
#define TUZUTIL_TRACE_CONFIGURATION

// What a trace configuration says: "destination,selection", with the destination as "keyword(argument)" and the
// selection as "levels,components,default,categories".

#include "tuzutil/TRACE.h"

#include <cstddef>
#include <string>
#include <string_view>

struct TTraceConfiguration {
    explicit TTraceConfiguration(std::string_view text);

    std::string keyword;
    std::string argument;
    std::string selection;
    std::string problem;
};

// A selection that cannot be applied: why, and which part of it from which character on, counted from 0.
struct TTraceSelectionFault {
    char const *text; // null: it was applied
    std::size_t position;
    std::size_t length;
};

// Applies a selection to a destination, up to the first fault.
TTraceSelectionFault ApplyTraceSelection(TTrace::Base &destination, std::string_view selection);

// Opens what a configuration names. Where it names a variable of the environment, the configuration becomes what that
// variable holds. Null where there is no destination; where that is a fault, `problem` of the configuration says why.
TTrace::Pointer OpenTraceDestination(TTraceConfiguration &configuration);

// The destination that NUV_TRACE_STARTUP asks for. What is wrong with it is said on standard error, in one line.
TTrace OpenStartupTrace() noexcept;

#endif
