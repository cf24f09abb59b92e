#ifndef TUZUTIL_TRACE_RECORD
#define TUZUTIL_TRACE_RECORD

// TTraceRecord: composes one record of a trace in memory, because a destination writes a record in one piece.

#include "tuzutil/TRACE.h"
#include "tuzutil/TXTMSG.h"
#include "utility/kernel/byte_search.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

// The beginning of a record, in one of three forms.
class TTracePrefix {
public:
    enum Form {
        letter,  // "E"
        thread,  // "07/14-09:05:03.27 000000A4 E"
        process, // "07/14-09:05:03.27 0000013C:000000A4 E"
    };

    // `parts` is a combination of values of TTrace::Base::PrefixPart. In a form with a time, yearPart and zonePart add
    // the year and the zone: "2026/07/14-09:05:03.27+02:00 000000A4 E". The category is not part of this text.
    TTracePrefix(Form form, unsigned long level, unsigned long parts = 0) noexcept;

    char const *Text() const noexcept { return fText; }
    std::size_t Length() const noexcept { return fLength; }

    // PutAt() writes a prefix to memory, without a zero at the end, and returns the end of the prefix. LengthOf()
    // returns the length of that prefix.
    static char *PutAt(char *at, Form form, unsigned long level, unsigned long parts) noexcept;
    static constexpr std::size_t LengthOf(Form form, unsigned long parts) noexcept {
        if (form == letter)
            return 1;
        std::size_t const added = (parts & TTrace::Base::yearPart ? 5 : 0) + (parts & TTrace::Base::zonePart ? 6 : 0);
        return (form == process ? 37 : 28) + added;
    }

private:
    char fText[64];
    std::size_t fLength;
};

// A record is "prefix [FILE:line] text" and a line feed. The text is that of the message up to its first zero. If
// `parts` contains TTrace::Base::categoryPart, a blank and the name of the category follow the prefix.
class TTraceRecord {
public:
    TTraceRecord(TTracePrefix::Form form, unsigned long level, TTextMessage const &message)
        : TTraceRecord(TTracePrefix(form, level), nullptr, message) {}
    TTraceRecord(TTracePrefix::Form form, unsigned long level, unsigned long parts, TTrace::Category const &category,
                 TTextMessage const &message)
        : TTraceRecord(TTracePrefix(form, level, parts), parts & TTrace::Base::categoryPart ? &category : nullptr,
                       message) {}

    char const *Text() const noexcept { return fText; } // with a terminating zero
    std::size_t Length() const noexcept { return fLength; }

private:
    TTraceRecord(TTracePrefix const &prefix, TTrace::Category const *category, TTextMessage const &message);

    char fShort[512]; // most records fit in here and need no allocation
    std::unique_ptr<char[]> fLong;
    char *fText = fShort;
    std::size_t fLength = 0;
};

// Returns the part of a file name after the last slash or backslash. If `file` is null, returns "????.???".
inline std::string_view SourceName(char const *file) noexcept {
    if (!file)
        return "????.???";
    std::string_view const path(file);
    char const *const end = file + path.size();
    char const *const delimiter = byte_search::FindLastEither(file, end, '/', '\\');
    char const *const begin = delimiter ? delimiter + 1 : file;
    return {begin, static_cast<std::size_t>(end - begin)};
}

#endif
