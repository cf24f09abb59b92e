#ifndef TUZUTIL_TRACE_LINE
#define TUZUTIL_TRACE_LINE

// TTraceLine: a record of a trace point, made without a message and without an allocation.

#include "utility/kernel/trace_record.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

// The text of the record is made only once, and before it is known which destinations write the record. After that,
// each destination puts its own prefix in front of the text. The record is not on the heap, so it is made only if it is
// short enough.
class TTraceLine {
public:
    TTraceLine(TTrace::Category const &category, char const *file, unsigned long line) noexcept
        : fCategory(category), fFile(file), fLine(line) {}
    TTraceLine(TTraceLine const &) = delete;
    TTraceLine &operator=(TTraceLine const &) = delete;

    // Makes the text of the record. Returns false if the record is too long, or if the format has a fault.
    bool Print(char const *format, TagVar const *values, std::uint32_t count) noexcept;
    // Returns the whole record of a destination. A zero follows the record. The record is valid until the next call of
    // this function. REQUIRES: Print() has returned true.
    std::string_view Record(TTracePrefix::Form form, unsigned long level, unsigned long parts) noexcept;

private:
    static constexpr std::size_t fsHead = 256; // room for the prefix and the category
    static constexpr std::size_t fsRest = 896; // room for the rest of the record and a zero
    static constexpr std::size_t fsLongestFile = 128;

    TTrace::Category const &fCategory;
    char const *fFile;
    unsigned long fLine;
    char *fEnd = nullptr;
    char fRoom[fsHead + fsRest];
};

#endif
