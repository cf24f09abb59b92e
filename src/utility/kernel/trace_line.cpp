// TTraceLine: makes the text of a record, and then puts the prefix of a destination in front of the text. This source
// has no lock, and writes nothing to a file.

#include "utility/kernel/trace_line.h"

#include "utility/kernel/message_format.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace {

char *Put(char *at, std::string_view text) noexcept {
    return std::copy(text.begin(), text.end(), at);
}

} // namespace

bool TTraceLine::Print(char const *format, TagVar const *values, std::uint32_t count) noexcept {
    char *const text = fRoom + fsHead;
    char *end = text;
    if (format) {
        // Nothing throws here, because printing stops if it would need memory.
        end = PrintInPlace(format, {values, count, TMessageFaults()}, text, fRoom + sizeof fRoom - 2);
        if (!end)
            return false;
    }
    fEnd = end;
    *fEnd++ = '\n';
    *fEnd = '\0';

    std::string_view const file = SourceName(fFile);
    char digits[24];
    char *const lineEnd = std::to_chars(digits, digits + sizeof digits, fLine).ptr;
    std::string_view const line(digits, static_cast<std::size_t>(lineEnd - digits));
    std::size_t const place = std::strlen(" [:] ") + file.size() + line.size();
    if (place + sizeof(TTracePrefix) + fCategory.QueryString().length() + 1 > fsHead)
        return false;
    fPlace = text - place;
    char *at = Put(fPlace, " [");
    at = Put(at, file);
    *at++ = ':';
    at = Put(at, line);
    Put(at, "] ");
    return true;
}

std::string_view TTraceLine::Record(TTracePrefix::Form form, unsigned long level, unsigned long parts) noexcept {
    char *begin = fPlace;
    if (parts & TTrace::Base::categoryPart) {
        TString const &name = fCategory.QueryString();
        std::string_view const shown(name.data()); // ends at the first zero
        begin -= shown.size();
        Put(begin, shown);
        *--begin = ' ';
    }
    TTracePrefix const prefix(form, level, parts);
    begin -= prefix.Length();
    std::memcpy(begin, prefix.Text(), prefix.Length());
    return {begin, static_cast<std::size_t>(fEnd - begin)};
}
