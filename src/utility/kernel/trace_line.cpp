// TTraceLine: makes the text of a record, and then puts the prefix of a destination in front of the text. This source
// has no lock, and writes nothing to a file.

#include "utility/kernel/trace_line.h"

#include "utility/kernel/message_format.h"
#include "utility/kernel/plain_print.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace {

char *Put(char *at, std::string_view text) noexcept {
    return std::copy(text.begin(), text.end(), at);
}

} // namespace

bool TTraceLine::Print(char const *format, TagVar const *values, std::uint32_t count) noexcept {
    std::string_view const file = SourceName(fFile);
    if (file.size() > fsLongestFile || fCategory.QueryString().length() >= fsHead - sizeof(TTracePrefix))
        return false;
    char *at = fRoom + fsHead;
    at = Put(at, " [");
    at = plain_print::CopyText(at, file.data(), file.size());
    *at++ = ':';
    at = fLine <= 0xFFFFFFFF ? plain_print::PutDecimal(at, static_cast<std::uint32_t>(fLine))
                             : std::to_chars(at, at + 24, fLine).ptr;
    at = Put(at, "] ");
    if (format) {
        // Nothing throws here, because printing stops if it would need memory.
        at = PrintInPlace(format, {values, count, TMessageFaults()}, at, fRoom + sizeof fRoom - 2);
        if (!at)
            return false;
    }
    *at++ = '\n';
    *at = '\0';
    fEnd = at;
    return true;
}

std::string_view TTraceLine::Record(TTracePrefix::Form form, unsigned long level, unsigned long parts) noexcept {
    char *begin = fRoom + fsHead;
    if (parts & TTrace::Base::categoryPart) [[unlikely]] {
        TString const &name = fCategory.QueryString();
        std::string_view const shown(name.data()); // ends at the first zero
        begin -= shown.size();
        Put(begin, shown);
        *--begin = ' ';
    }
    begin -= TTracePrefix::LengthOf(form, parts);
    TTracePrefix::PutAt(begin, form, level, parts);
    return {begin, static_cast<std::size_t>(fEnd - begin)};
}
