// Conversions between UTF-8 and 16-bit text, and the flag that says whether narrow text is UTF-8. This source has no
// lock.

#include "tuzutil/UNICODE.h"

#include "utility/kernel/reporter.h"
#include "utility/kernel/string_access.h"
#include "utility/kernel/utf8.h"

constinit std::atomic<bool> utf8::isMode{false};

namespace {

TReporter const fsReports(TUtilityTraceCategory::String, "src/utility/UNICODE");

// The characters of a narrow string.
class TBytes {
public:
    explicit TBytes(TString const &text) noexcept : fBegin(text), fAt(fBegin), fEnd(fBegin + text.length()) {}

    bool AtEnd() const noexcept { return fAt == fEnd; }
    std::uint32_t Read() noexcept { return utf8::Read(fAt, fEnd); }
    unsigned int Position() const noexcept { return static_cast<unsigned int>(fAt - fBegin) + 1; }

private:
    char const *fBegin;
    char const *fAt;
    char const *fEnd;
};

// The characters of a 16-bit string. If its length in bytes is odd, the last byte counts as malformed.
class TUnits {
public:
    explicit TUnits(TString const &text) noexcept
        : fBegin(text.u16view().data()), fAt(fBegin), fEnd(fBegin + text.u16view().size()),
          fHasOddByte(text.length() % 2 != 0) {}

    bool AtEnd() const noexcept { return fAt == fEnd && !fHasOddByte; }
    std::uint32_t Read() noexcept {
        if (fAt != fEnd)
            return utf8::ReadUnits(fAt, fEnd);
        fHasOddByte = false;
        return utf8::malformed;
    }
    unsigned int Position() const noexcept { return static_cast<unsigned int>(fAt - fBegin) + 1; }

private:
    char16_t const *fBegin;
    char16_t const *fAt;
    char16_t const *fEnd;
    bool fHasOddByte;
};

template <typename Characters>
unsigned int FirstFault(Characters characters) noexcept {
    while (!characters.AtEnd()) {
        unsigned int const position = characters.Position();
        if (characters.Read() == utf8::malformed)
            return position;
    }
    return 0;
}

void RequireNoFault(TString const &text) {
    unsigned int const fault = TUnicode::FindFault(text);
    if (fault == 0)
        return;
    if (text.IsUnicode())
        fsReports.Raise<TInvalidRequest>(TTextMessage("Unpaired surrogate at character %u", fault));
    fsReports.Raise<TInvalidRequest>(TTextMessage("Malformed UTF-8 at byte %u", fault));
}

// Returns a string with all characters of the text, as `put` writes them. A malformed character is replaced by U+FFFD.
// REQUIRES: the result has at most `room` bytes.
template <typename Characters, typename Put>
TString Rewrite(TString const &text, std::uint64_t room, std::uint32_t flags, Put put) {
    Characters characters(text);
    if (text.IsWipeOnDelete())
        flags |= TStringBuffer::wipeOnDelete;
    TString result = TStringAccess::Uninitialized(room, flags);
    char *const begin = result;
    char *to = begin;
    while (!characters.AtEnd()) {
        std::uint32_t const code = characters.Read();
        to = put(code == utf8::malformed ? utf8::replacement : code, to);
    }
    TStringAccess::Truncate(result, static_cast<unsigned int>(to - begin));
    return result;
}

template <typename Characters>
TString Narrow(TString const &text, std::uint64_t room) {
    return Rewrite<Characters>(text, room, 0, [](std::uint32_t code, char *to) { return to + utf8::Write(code, to); });
}

template <typename Characters>
TString Wide(TString const &text, std::uint64_t room) {
    return Rewrite<Characters>(text, room, TStringBuffer::unicode, [](std::uint32_t code, char *to) {
        return to + utf8::WriteUnits(code, reinterpret_cast<char16_t *>(to)) * 2;
    });
}

// Returns whether the text needs no conversion: the text is null, or it has the wanted form and no fault. If `faults`
// is `strict` and the text has a fault, throws TInvalidRequest.
bool IsDone(TString const &text, bool hasForm, TUnicode::Faults faults) {
    if (faults == TUnicode::strict)
        RequireNoFault(text);
    return text.IsNull() || (hasForm && (faults == TUnicode::strict || TUnicode::FindFault(text) == 0));
}

} // namespace

TString TUnicode::FromUtf8(TString const &text, Faults faults) {
    if (IsDone(text, text.IsUnicode(), faults))
        return text;
    std::uint64_t const length = text.length();
    // Each byte becomes at most one unit, and an odd last byte becomes one unit.
    return text.IsUnicode() ? Wide<TUnits>(text, length + 1) : Wide<TBytes>(text, length * 2);
}

TString TUnicode::ToUtf8(TString const &text, Faults faults) {
    if (IsDone(text, !text.IsUnicode(), faults))
        return text;
    std::uint64_t const length = text.length();
    // A unit becomes three bytes at most, and so does a malformed byte.
    return text.IsUnicode() ? Narrow<TUnits>(text, (length + 1) / 2 * 3) : Narrow<TBytes>(text, length * 3);
}

unsigned int TUnicode::FindFault(TString const &text) noexcept {
    return text.IsUnicode() ? FirstFault(TUnits(text)) : FirstFault(TBytes(text));
}

int TUnicode::SetUtf8Mode(int on) noexcept {
    return utf8::isMode.exchange(on != 0, std::memory_order_relaxed);
}

int TUnicode::IsUtf8Mode() noexcept {
    return utf8::isMode.load(std::memory_order_relaxed);
}
