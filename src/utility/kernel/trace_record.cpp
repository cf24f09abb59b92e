// Records of a trace, composed in memory: the prefix with date, thread and level, the place, the text. It takes no lock
// and writes nothing anywhere.

#include "utility/kernel/trace_record.h"

#include "platform/platform.h"
#include "tuzutil/TRACE.h"
#include "utility/kernel/trace_levels.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

namespace {

char *PutTwoDigits(char *at, unsigned int number) noexcept {
    *at++ = static_cast<char>('0' + number / 10 % 10);
    *at++ = static_cast<char>('0' + number % 10);
    return at;
}

char *PutHexadecimal(char *at, std::uint32_t number) noexcept {
    for (int shift = 28; shift >= 0; shift -= 4)
        *at++ = "0123456789ABCDEF"[number >> shift & 0xF];
    return at;
}

char *PutTime(char *at) noexcept {
    platform::TLocalTime const now = platform::LocalTime();
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
    return PutTwoDigits(at, now.millisecond / 10);
}

// The paths of sources may have either separator.
std::string_view LastPart(char const *file) noexcept {
    if (!file)
        return "????.???";
    std::string_view const path(file);
    return path.substr(path.find_last_of("\\/") + 1);
}

// 16-bit text in the encoding of the process.
TString NarrowText(TTextMessage const &message) {
    TString const &text = message.QueryMessage();
    return text.IsUnicode() ? TTextMessage("%s", text).QueryMessage() : text;
}

char *Put(char *at, std::string_view text) noexcept {
    return std::copy(text.begin(), text.end(), at);
}

} // namespace

char TTrace::Base::LevelChar(unsigned long level) noexcept {
    for (TTraceLevel const &each : fsTraceLevels) {
        if (each.letter && each.mask == level)
            return each.letter;
    }
    return '?';
}

TTracePrefix::TTracePrefix(Form form, unsigned long level) noexcept {
    char *at = fText;
    if (form != letter) {
        at = PutTime(at);
        *at++ = ' ';
        if (form == process) {
            at = PutHexadecimal(at, platform::ProcessId());
            *at++ = ':';
        }
        at = PutHexadecimal(at, platform::ThreadId());
        *at++ = ' ';
    }
    *at++ = TTrace::Base::LevelChar(level);
    *at = '\0';
    fLength = static_cast<std::size_t>(at - fText);
}

TTraceRecord::TTraceRecord(TTracePrefix::Form form, unsigned long level, TTextMessage const &message) {
    TTracePrefix const prefix(form, level);
    std::string_view const file = LastPart(message.QueryFile());
    char digits[16];
    char *const lineEnd = std::to_chars(digits, digits + sizeof digits, message.QueryLine()).ptr;
    std::string_view const line(digits, static_cast<std::size_t>(lineEnd - digits));
    TString const narrow = NarrowText(message);
    char const *const chars = narrow;
    std::string_view const text(chars ? chars : "");

    fLength = prefix.Length() + std::strlen(" [:] \n") + file.size() + line.size() + text.size();
    if (fLength >= sizeof fShort) {
        fLong.reset(new char[fLength + 1]);
        fText = fLong.get();
    }
    char *at = Put(fText, {prefix.Text(), prefix.Length()});
    at = Put(at, " [");
    at = Put(at, file);
    *at++ = ':';
    at = Put(at, line);
    at = Put(at, "] ");
    at = Put(at, text);
    *at++ = '\n';
    *at = '\0';
}
