#ifndef TUZUTIL_TRACE_SELECTION
#define TUZUTIL_TRACE_SELECTION

// The selection of a trace configuration says which entries a destination takes, and what its records show. Its form is
// "levels,components,default,categories,prefix".

#include "tuzutil/TRACE.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

// The fault of a selection that cannot be applied: its cause, and the faulty part of the selection.
struct TTraceSelectionFault {
    TTraceSelectionFault() = default; // there is no fault
    TTraceSelectionFault(char const *what, std::size_t from, std::size_t count,
                         std::uint32_t lineNumber = __builtin_LINE()) noexcept
        : text(what), position(from), length(count), line(lineNumber) {}

    char const *text = nullptr; // the cause; null if there is no fault
    std::size_t position = 0;   // the place of the first faulty character, counted from 0
    std::size_t length = 0;     // the number of faulty characters
    std::uint32_t line = 0;     // the line of trace_selection.cpp that found the fault
};

// Applies a selection to a destination, field by field, up to the first fault. Returns that fault.
TTraceSelectionFault ApplyTraceSelection(TTrace::Base &destination, std::string_view selection);

#endif
