#ifndef TUZUTIL_TRACE_CONFIGURATION
#define TUZUTIL_TRACE_CONFIGURATION

// What a trace configuration says: "destination,selection", with the destination as "keyword(argument)" and the
// selection as "levels,components,default,categories".

#include "tuzutil/TRACE.h"

#include <string>
#include <string_view>

struct TTraceConfiguration {
    explicit TTraceConfiguration(std::string_view text);

    std::string keyword;
    std::string argument;
    std::string selection;
    std::string problem;
};

// Opens what a configuration names. Where it names a variable of the environment, the configuration becomes what that
// variable holds. Null where there is no destination; where that is a fault, `problem` of the configuration says why.
TTrace::Pointer OpenTraceDestination(TTraceConfiguration &configuration);

// The destination that NUV_TRACE_STARTUP asks for. What is wrong with it is said on standard error, in one line.
TTrace OpenStartupTrace() noexcept;

#endif
