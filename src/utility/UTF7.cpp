// TModifiedUTF7: converts the names of mailboxes from narrow or 16-bit text to modified UTF-7, and from modified UTF-7
// to 16-bit text. This source has no lock.

#include "tuzutil/UTF7.h"

#include "utility/kernel/string_access.h"
#include "utility/kernel/utf16.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace {

constexpr char fsAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+,";

// A run encodes characters other than printable ASCII. A run begins with "&" and ends with "-". Each character between
// these two stands for six bits. The table gives the six bits of each character. A character outside the alphabet
// stands for its own low six bits.
constexpr auto fsBits = [] {
    std::array<unsigned char, 256> bits{};
    for (std::size_t c = 0; c < 256; ++c)
        bits[c] = c & 63;
    for (unsigned char value = 0; value < 64; ++value)
        bits[static_cast<unsigned char>(fsAlphabet[value])] = value;
    return bits;
}();

constexpr bool IsDirect(unsigned int unit) {
    return unit >= 32 && unit <= 126;
}

// The characters of a narrow or 16-bit string.
template <typename Unit>
class TUnits {
public:
    explicit TUnits(TString const &text) noexcept
        : fNext(static_cast<char const *>(text)), fEnd(fNext + text.length() / sizeof(Unit) * sizeof(Unit)) {}

    bool AtEnd() const noexcept { return fNext == fEnd; }
    void Skip() noexcept { fNext += sizeof(Unit); }
    unsigned int Current() const noexcept {
        Unit unit;
        std::memcpy(&unit, fNext, sizeof unit);
        return unit;
    }

private:
    char const *fNext;
    char const *fEnd;
};

// Writes one run. The run contains the current unit and all following units before the first one that needs no run.
// REQUIRES: the current unit needs a run.
template <typename Unit>
char *EncodeRun(TUnits<Unit> &units, char *to) noexcept {
    std::uint32_t accumulator = 0;
    int pending = 0; // the number of low bits of the accumulator that are not written yet
    *to++ = '&';
    do {
        accumulator = accumulator << 16 | units.Current();
        for (pending += 16; pending >= 6; pending -= 6)
            *to++ = fsAlphabet[accumulator >> (pending - 6) & 63];
        units.Skip();
    } while (!units.AtEnd() && !IsDirect(units.Current()));
    if (pending)
        *to++ = fsAlphabet[accumulator << (6 - pending) & 63];
    *to++ = '-';
    return to;
}

template <typename Unit>
char *EncodeUnits(TString const &name, char *to) noexcept {
    TUnits<Unit> units(name);
    while (!units.AtEnd()) {
        unsigned int const unit = units.Current();
        if (!IsDirect(unit)) {
            to = EncodeRun(units, to);
            continue;
        }
        *to++ = static_cast<char>(unit);
        if (unit == '&')
            *to++ = '-';
        units.Skip();
    }
    return to;
}

void PutUnit(char *&to, std::uint32_t unit) noexcept {
    auto const value = static_cast<std::uint16_t>(unit);
    std::memcpy(to, &value, sizeof value);
    to += sizeof value;
}

// Decodes a run whose "&" has been read. Returns the place after the "-" of the run, or `end` if the run has no "-".
char const *DecodeRun(char const *from, char const *end, char *&to) noexcept {
    if (from != end && *from == '-') {
        PutUnit(to, '&');
        return from + 1;
    }
    std::uint32_t accumulator = 0;
    int pending = 0;
    for (; from != end && *from != '-'; ++from) {
        accumulator = accumulator << 6 | fsBits[static_cast<unsigned char>(*from)];
        pending += 6;
        if (pending >= 16) {
            pending -= 16;
            PutUnit(to, accumulator >> pending);
        }
    }
    if (pending >= 8) // the first 8 of the bits that are left over are the high half of a last character
        PutUnit(to, accumulator >> (pending - 8) << 8);
    return from == end ? end : from + 1;
}

// Looks for the first place at which a text differs from what Encode() writes.
class TCanonicalCheck {
public:
    explicit TCanonicalCheck(TString const &text) noexcept : fText(text.view()) {}

    // Returns the offset of the first fault, or npos if the text is canonical.
    std::size_t Run() noexcept {
        bool afterRun = false;
        while (fAt != fText.size()) {
            auto const c = static_cast<unsigned char>(fText[fAt]);
            if (!IsDirect(c))
                return fAt;
            bool const isAmpersand = c == '&' && fAt + 1 != fText.size() && fText[fAt + 1] == '-';
            if (c != '&' || isAmpersand) {
                fAt += isAmpersand ? 2 : 1;
                afterRun = false;
                continue;
            }
            if (afterRun)
                return fAt;
            ++fAt;
            if (std::size_t const fault = CheckRun(); fault != std::string_view::npos)
                return fault;
            afterRun = true;
        }
        return std::string_view::npos;
    }

private:
    // Reads the rest of a run, after its "&" and including its "-". Returns the offset of the first fault, or npos.
    std::size_t CheckRun() noexcept {
        std::uint32_t accumulator = 0;
        int pending = 0;
        std::size_t unitBegin = fAt; // the offset of the first byte that has bits of the 16-bit unit being read
        std::size_t highBegin = 0;
        std::uint32_t high = 0; // a high surrogate whose low surrogate has not been read yet; 0 if there is none
        for (; fAt != fText.size() && fText[fAt] != '-'; ++fAt) {
            auto const c = static_cast<unsigned char>(fText[fAt]);
            if (fsAlphabet[fsBits[c]] != fText[fAt])
                return fAt;
            accumulator = accumulator << 6 | fsBits[c];
            pending += 6;
            if (pending < 16)
                continue;
            pending -= 16;
            std::uint32_t const unit = accumulator >> pending & 0xFFFF;
            if (high) {
                if (!utf16::IsPair(high, unit))
                    return highBegin;
                high = 0;
            } else if (utf16::IsHigh(unit)) {
                high = unit;
                highBegin = unitBegin;
            } else if (unit == 0 || IsDirect(unit) || utf16::IsLow(unit)) {
                return unitBegin;
            }
            unitBegin = pending ? fAt : fAt + 1;
        }
        if (fAt == fText.size())
            return fAt;
        if (high)
            return highBegin;
        // At the end of a run, fewer than six bits may be left over, and they must be zero.
        if (pending >= 6 || (accumulator & ((1u << pending) - 1)))
            return fAt - 1;
        ++fAt;
        return std::string_view::npos;
    }

    std::string_view fText;
    std::size_t fAt = 0;
};

} // namespace

TString TModifiedUTF7::Encode(TString name) {
    bool const wide = name.IsUnicode();
    std::uint64_t const units = wide ? name.length() / 2 : name.length();
    // The result is longest if it begins and ends with a run, and if single ampersands (two bytes, "&-") stand between
    // the runs. A run of one character has five bytes, such as "&AOk-". If the number of characters is even, one of the
    // runs has two characters and eight bytes.
    TString text = TStringAccess::Uninitialized((units * 7 + 3) / 2);
    char *const to = text;
    char *const end = wide ? EncodeUnits<std::uint16_t>(name, to) : EncodeUnits<std::uint8_t>(name, to);
    TStringAccess::Truncate(text, static_cast<unsigned int>(end - to));
    return text;
}

TString TModifiedUTF7::Decode(TString text) {
    // Each byte becomes at most one 16-bit character.
    TString name = TStringAccess::Uninitialized(std::uint64_t{text.length()} * 2, TStringBuffer::unicode);
    char *to = name;
    char const *from = text;
    char const *const end = from + text.length();
    while (from != end) {
        char const c = *from++;
        if (c == '&')
            from = DecodeRun(from, end, to);
        else
            PutUnit(to, static_cast<unsigned char>(c));
    }
    TStringAccess::Truncate(name, static_cast<unsigned int>(to - static_cast<char *>(name)));
    return name;
}

TString TModifiedUTF7::EncodeUtf8(TString const &name, TUnicode::Faults faults) {
    return Encode(TUnicode::FromUtf8(name, faults));
}

TString TModifiedUTF7::DecodeUtf8(TString const &text, TUnicode::Faults faults) {
    return TUnicode::ToUtf8(Decode(text), faults);
}

int TModifiedUTF7::IsCanonical(TString const &text, unsigned int *fault) noexcept {
    std::size_t const offset = TCanonicalCheck(text).Run();
    bool const isCanonical = offset == std::string_view::npos;
    if (fault)
        *fault = isCanonical ? 0 : static_cast<unsigned int>(offset) + 1;
    return isCanonical;
}
