#ifndef TUZUTIL_TRACE_SELECTION
#define TUZUTIL_TRACE_SELECTION

// What a destination takes, as trace configurations write it: "levels,components,default,categories". A selection is
// applied field by field, up to the first fault.

#include "tuzutil/TRACE.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

// A selection that cannot be applied: why, and which part of it from which character on, counted from 0.
struct TTraceSelectionFault {
    TTraceSelectionFault() = default; // there is none
    TTraceSelectionFault(char const *what, std::size_t from, std::size_t count,
                         std::uint32_t lineNumber = __builtin_LINE()) noexcept
        : text(what), position(from), length(count), line(lineNumber) {}

    char const *text = nullptr; // null: it was applied
    std::size_t position = 0;
    std::size_t length = 0;
    std::uint32_t line = 0; // of the source that found it
};

// Applies a selection to a destination, up to the first fault.
TTraceSelectionFault ApplyTraceSelection(TTrace::Base &destination, std::string_view selection);

#endif
