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

// Opens what a configuration names. If it names a variable of the environment, the configuration is replaced by the
// value of that variable. Null if there is no destination; if that is a fault, `problem` of the configuration tells
// why.
TTrace::Pointer OpenTraceDestination(TTraceConfiguration &configuration);

// The destination that NUV_TRACE_STARTUP asks for. A fault in it is reported on standard error, in one line.
TTrace OpenStartupTrace() noexcept;

#endif
