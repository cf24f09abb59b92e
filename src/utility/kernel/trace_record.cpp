// TTracePrefix and TTraceRecord: compose a record of a trace in memory. A record has a prefix (such as date, thread and
// level), the source file and line, and the text. This source has no lock, and writes nothing to a file.

#include "utility/kernel/trace_record.h"

#include "platform/platform.h"
#include "tuzutil/TRACE.h"
#include "utility/kernel/trace_levels.h"
#include "utility/kernel/two_digits.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <string_view>

namespace {

// The letter of each level, by the number of its bit.
constexpr auto fsLetters = [] {
    std::array<char, 32> letters{};
    letters.fill('?');
    for (TTraceLevel const &each : fsTraceLevels) {
        for (std::size_t bit = 0; bit < letters.size(); ++bit) {
            if (each.letter && each.mask == std::uint32_t{1} << bit)
                letters[bit] = each.letter;
        }
    }
    return letters;
}();

char *PutTwoDigits(char *at, unsigned int number) noexcept {
    number = number < 100 ? number : number % 100;
    std::memcpy(at, two_digits::Of(number), 2);
    return at + 2;
}

char *PutHexadecimal(char *at, std::uint32_t number) noexcept {
    // The four bits of each digit are moved to a byte of their own. The sum of a byte and 6 has bit 4 set if the digit
    // is a letter.
    std::uint64_t bits = number;
    bits = (bits & 0xFFFF) << 32 | bits >> 16;
    bits = (bits & 0xFF000000FF) << 16 | (bits & 0xFF000000FF00) >> 8;
    bits = (bits & 0xF000F000F000F) << 8 | (bits & 0xF000F000F000F0) >> 4;
    std::uint64_t const letters = (bits + 0x0606060606060606) >> 4 & 0x0101010101010101;
    std::uint64_t const digits = bits + 0x3030303030303030 + letters * ('A' - '0' - 10);
    std::memcpy(at, &digits, sizeof digits);
    return at + sizeof digits;
}

// Writes an offset from UTC in the form "+02:00".
char *PutZone(char *at, int minutes) noexcept {
    *at++ = minutes < 0 ? '-' : '+';
    auto const distance = static_cast<unsigned int>(minutes < 0 ? -minutes : minutes);
    at = PutTwoDigits(at, distance / 60);
    *at++ = ':';
    return PutTwoDigits(at, distance % 60);
}

char *PutTime(char *at, unsigned long parts) noexcept {
    platform::TLocalTime const now = platform::LocalTime();
    if (parts & TTrace::Base::yearPart) {
        at = PutTwoDigits(at, now.year / 100);
        at = PutTwoDigits(at, now.year);
        *at++ = '/';
    }
    at = PutTwoDigits(at, now.month);
    *at++ = '/';
    at = PutTwoDigits(at, now.day);
    *at++ = '-';
    at = PutTwoDigits(at, now.hour);
    *at++ = ':';
    at = PutTwoDigits(at, now.minute);
    *at++ = ':';
    at = PutTwoDigits(at, now.second);
    *at++ = '.';
    at = PutTwoDigits(at, now.millisecond / 10);
    return parts & TTrace::Base::zonePart ? PutZone(at, platform::LocalZone()) : at;
}

// Returns the text of the message. 16-bit text is converted to the encoding of the process.
TString NarrowText(TTextMessage const &message) {
    TString const &text = message.QueryMessage();
    return text.IsUnicode() ? TTextMessage("%s", text).QueryMessage() : text;
}

char *Put(char *at, std::string_view text) noexcept {
    return std::copy(text.begin(), text.end(), at);
}

} // namespace

char TTrace::Base::LevelChar(unsigned long level) noexcept {
    bool const isOne = level != 0 && (level & (level - 1)) == 0 && level <= 0xFFFFFFFF;
    return isOne ? fsLetters[static_cast<std::size_t>(__builtin_ctzl(level))] : '?';
}

TTracePrefix::TTracePrefix(Form form, unsigned long level, unsigned long parts) noexcept {
    char *const end = PutAt(fText, form, level, parts);
    *end = '\0';
    fLength = static_cast<std::size_t>(end - fText);
}

char *TTracePrefix::PutAt(char *at, Form form, unsigned long level, unsigned long parts) noexcept {
    if (form != letter) {
        at = PutTime(at, parts);
        *at++ = ' ';
        if (form == process) {
            at = PutHexadecimal(at, platform::ProcessId());
            *at++ = ':';
        }
        at = PutHexadecimal(at, platform::ThreadId());
        *at++ = ' ';
    }
    *at++ = TTrace::Base::LevelChar(level);
    return at;
}

TTraceRecord::TTraceRecord(TTracePrefix const &prefix, TTrace::Category const *category, TTextMessage const &message) {
    std::string_view const file = SourceName(message.QueryFile());
    char digits[16];
    char *const lineEnd = std::to_chars(digits, digits + sizeof digits, message.QueryLine()).ptr;
    std::string_view const line(digits, static_cast<std::size_t>(lineEnd - digits));
    TString const narrow = NarrowText(message);
    std::string_view const text(narrow.data()); // ends at the first zero
    std::string_view const categoryName(category ? category->QueryString().data() : "");

    fLength = prefix.Length() + (category ? 1 : 0) + categoryName.size() + std::strlen(" [:] \n") + file.size() +
              line.size() + text.size();
    if (fLength >= sizeof fShort) {
        fLong.reset(new char[fLength + 1]);
        fText = fLong.get();
    }
    char *at = Put(fText, {prefix.Text(), prefix.Length()});
    if (category)
        *at++ = ' ';
    at = Put(at, categoryName);
    at = Put(at, " [");
    at = Put(at, file);
    *at++ = ':';
    at = Put(at, line);
    at = Put(at, "] ");
    at = Put(at, text);
    *at++ = '\n';
    *at = '\0';
}
