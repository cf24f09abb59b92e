#ifndef TUZUTIL_TRACE_CONFIGURATION
#define TUZUTIL_TRACE_CONFIGURATION

// The parts of a trace configuration. A configuration has the form "destination,selection". The destination has the
// form "keyword(argument)", and the selection the form "levels,components,default,categories,prefix".

#include "tuzutil/TRACE.h"

#include <string>
#include <string_view>

struct TTraceConfiguration {
    explicit TTraceConfiguration(std::string_view text);

    std::string keyword;
    std::string argument;
    std::string selection;
    std::string problem; // why the destination could not be opened; empty if there is no fault
};

// Opens the destination that a configuration names. If the keyword is "env", first replaces the configuration by the
// value of an environment variable. The argument names this variable; without an argument, it is NUV_TRACE. Repeats
// this while the keyword is "env". Returns null if there is no destination. If the lack of a destination is a fault,
// sets `problem`.
TTrace::Pointer OpenTraceDestination(TTraceConfiguration &configuration);

// Opens the destination that the variable NUV_TRACE_STARTUP names. Reports a fault on standard error, in one line.
TTrace OpenStartupTrace() noexcept;

#endif
