#ifndef TUZUTIL_TRACE_SELECTION
#define TUZUTIL_TRACE_SELECTION

// What a destination takes, as trace configurations write it: "levels,components,default,categories".

#include "tuzutil/TRACE.h"

#include <cstddef>
#include <string_view>

// A selection that cannot be applied: why, and which part of it from which character on, counted from 0.
struct TTraceSelectionFault {
    char const *text; // null: it was applied
    std::size_t position;
    std::size_t length;
};

// Applies a selection to a destination, up to the first fault.
TTraceSelectionFault ApplyTraceSelection(TTrace::Base &destination, std::string_view selection);

#endif
