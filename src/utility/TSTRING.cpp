// TString: strings whose copies share one buffer. The buffer counts the strings that share it. If the process may have
// a second thread, atomic instructions change this count. If the buffer of a string is shared, a function that changes
// the string first gives it a new buffer. But operator[] within the string, SetFlag(), Wipe() and writes through a
// pointer change the shared buffer. If the flag wipeOnDelete of a buffer is set, the buffer is wiped before it is
// deallocated. This source has no lock.

#include "tuzutil/TSTRING.h"

#include "platform/platform.h"
#include "platform/single_thread.h"
#include "utility/kernel/ascii_case.h"
#include "utility/kernel/byte_search.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/wide_search.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <string_view>

static_assert(sizeof(TString) == sizeof(void *), "a string holds exactly one field");
static_assert(sizeof(TStringBuffer) == 16, "the data follow the header without a gap");

// Points to a byte that is not 0 while the process certainly has only one thread (see TSTRING.h). The pointer is
// initialised at compile time, because static objects of other sources use strings.
constinit char const *const tuzutil::singleThreaded = platform::singleThreadByte;

namespace {

TReporter const fsReports(TUtilityTraceCategory::String, "src/utility/TSTRING");
char const fsBadIndex[] = "Bad index value for this String";
char const fsBadTruncate[] = "Bad value to truncate this String";
char const fsBadCount[] = "Bad count for this String";
char const fsBadStart[] = "Bad value for the starting position";

constexpr std::uint64_t fsLengthLimit = 0xFFFFFFF0u; // a text of this length or more is refused
constexpr std::uint64_t fsBlockCost = 64;            // bytes for the header, the zeros and the heap's own data
constexpr unsigned int fsMostPadding = 1u << 30;     // the most bytes that a string may be padded with in one call

void RequireStart(unsigned int start, char const *text, std::uint32_t line = __builtin_LINE()) {
    if (start == 0)
        fsReports.Raise<TInvalidRequest>({text, line});
}

// If a string would be padded with more than fsMostPadding bytes, throws before any memory is allocated. Such a length
// usually comes from a mistake, for example 0 - 1.
void RequirePadding(std::uint64_t wanted, unsigned int length, char const *text,
                    std::uint32_t line = __builtin_LINE()) {
    if (wanted > std::uint64_t{length} + fsMostPadding)
        fsReports.Raise<TInvalidRequest>({text, line});
}

// Does the same as memcpy(), but allows a null source if `count` is 0.
void CopyBytes(char *to, void const *from, std::size_t count) noexcept {
    if (count)
        std::memcpy(to, from, count);
}

template <typename Unit>
unsigned int CountUnits(Unit const *text) {
    if (!text)
        return 0;
    std::size_t count = 0;
    while (text[count])
        ++count;
    // No test gets here: a text of 4 GiB would have to be made.
    if (count * sizeof(Unit) >= fsLengthLimit)
        fsReports.RaiseOutOfMemory(fsTextTooLong);
    return static_cast<unsigned int>(count);
}

// A set of bytes, as 256 flags. The zero byte is in no set.
class TByteSet {
public:
    explicit TByteSet(std::string_view set) noexcept {
        for (char const c : set)
            fFlags[static_cast<unsigned char>(c)] = true;
    }
    bool Has(char c) const noexcept { return fFlags[static_cast<unsigned char>(c)]; }

private:
    bool fFlags[256] = {};
};

constexpr std::size_t fsSmallSet = 8; // for a larger set, the search uses a table

// This function is not inlined: if it were, the caller would spend time on the table even if nothing is left to search.
[[gnu::noinline]] char const *FindInRest(char const *from, char const *end, std::string_view set,
                                         bool wanted) noexcept {
    if (set.size() <= fsSmallSet)
        return std::find_if(from, end, [=](char c) { return (set.find(c) != set.npos) == wanted; });
    TByteSet const table(set);
    return std::find_if(from, end, [&](char c) { return table.Has(c) == wanted; });
}

unsigned int FindInSet(TString const &text, char const *set, unsigned int start, bool wanted) {
    if (start > text.length())
        return 0;
    char const *const data = text.data();
    char const *const end = data + text.length();
    std::string_view const bytes(set ? set : "");
    char const *at = wide_search::SkipBlocks(data + start - 1, end, bytes.data(), bytes.size(), wanted);
    if (at != end)
        at = FindInRest(at, end, bytes, wanted);
    return at == end ? 0 : static_cast<unsigned int>(at - data) + 1;
}

// The number at the beginning of a text, in the form that strtol() reads: white space, a sign, and decimal digits.
// After the magnitude exceeds 32 bits, further digits are ignored.
struct TLeadingNumber {
    explicit TLeadingNumber(char const *text) noexcept {
        while (std::isspace(static_cast<unsigned char>(*text)))
            ++text;
        if (*text == '+' || *text == '-')
            negative = *text++ == '-';
        for (; *text >= '0' && *text <= '9'; ++text) {
            if (magnitude <= 0xFFFFFFFFu)
                magnitude = magnitude * 10 + static_cast<unsigned int>(*text - '0');
        }
    }

    std::uint64_t magnitude = 0;
    bool negative = false;
};

// Compares two strings up to their first zero bytes without regard to letter case.
[[gnu::noinline]] bool IsSameFolded(TString const &left, TString const &right) noexcept {
    char const *a = left;
    char const *b = right;
    if (a == b)
        return true;
    if (!a || !b)
        return false;
    bool const isPlain = platform::IsLetterIPlain();
    std::size_t const same = ascii_case::SameUpTo(a, b, std::min(left.length(), right.length()), isPlain);
    a += same;
    b += same;
    for (;; ++a, ++b) {
        if (*a != *b && !ascii_case::IsSameLetter(*a, *b, isPlain) &&
            std::tolower(static_cast<unsigned char>(*a)) != std::tolower(static_cast<unsigned char>(*b)))
            return false;
        if (*a == 0)
            return *b == 0;
    }
}

template <typename Number>
TString DecimalText(Number number) {
    char digits[24];
    auto const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    return TString(digits, static_cast<unsigned int>(end - digits), ' ');
}

} // namespace

// Buffers

TStringBuffer *TString::AllocateBuffer(std::uint64_t length, std::uint32_t count, std::uint32_t flags) {
    auto const checked = CheckedLength(length);
    // Two zero bytes follow the data, or three if the length is odd.
    std::uint64_t const bytes = (sizeof(TStringBuffer) + std::uint64_t{checked} + 3) & ~std::uint64_t{1};
    auto *const buffer =
        bytes > SIZE_MAX ? nullptr : static_cast<TStringBuffer *>(std::malloc(static_cast<std::size_t>(bytes)));
    if (!buffer)
        fsReports.RaiseOutOfMemory();
    *buffer = TStringBuffer{count, flags, checked, checked};
    buffer->Terminate();
    return buffer;
}

unsigned int TString::CheckedLength(std::uint64_t length) {
    if (length >= fsLengthLimit)
        fsReports.RaiseOutOfMemory(fsTextTooLong);
    return static_cast<unsigned int>(length);
}

unsigned int TString::BadIndex() {
    fsReports.Raise<TInvalidRequest>(fsBadIndex);
}

void TString::DecrementAndFree() noexcept {
    if (!fBuffer->DropHolder())
        return;
    if (fBuffer->flags & TStringBuffer::wipeOnDelete)
        platform::SecureZero(fBuffer->Data(), fBuffer->length);
    std::free(fBuffer);
}

void TString::TakeBuffer(TStringBuffer *buffer) noexcept {
    Release();
    fBuffer = buffer;
}

// If the flag already has the value, the function does not write to the buffer, because other threads may be reading
// it. For example, threads may share the buffer of a static text.
void TString::SetFlag(std::uint32_t flag, int on) noexcept {
    if (fBuffer && HasFlag(flag) != (on != 0))
        fBuffer->flags = on ? fBuffer->flags | flag : fBuffer->flags & ~flag;
}

void TString::MakeUnique() {
    if (fBuffer && fBuffer->IsShared())
        MakeUnique(length());
}

// REQUIRES: the string is not null.
void TString::MakeUnique(unsigned int newLength) {
    TStringBuffer *const fresh = AllocateBuffer(newLength, 1, fBuffer->flags);
    unsigned int const kept = std::min(newLength, fBuffer->length);
    CopyBytes(fresh->Data(), fBuffer->Data(), kept);
    TakeBuffer(fresh);
}

TString TString::Copy() const {
    TString copy;
    if (fBuffer) {
        copy.fBuffer = AllocateBuffer(length(), 1, fBuffer->flags);
        CopyBytes(copy.fBuffer->Data(), fBuffer->Data(), length());
    }
    return copy;
}

// Shortens the string in place. If the flag wipeOnDelete is set, the bytes that the string loses are zeroed here,
// because DecrementAndFree() wipes only the bytes up to the length.
void TString::SetLength(unsigned int length) noexcept {
    if (fBuffer->flags & TStringBuffer::wipeOnDelete)
        platform::SecureZero(fBuffer->Data() + length, fBuffer->length - length);
    fBuffer->length = length;
    fBuffer->Terminate();
}

// Construction

TString::TString(char const *text) : fBuffer(nullptr) {
    if (text) {
        auto const count = std::strlen(text);
        fBuffer = AllocateBuffer(count, 1, 0);
        CopyBytes(fBuffer->Data(), text, count);
    }
}

TString::TString(unsigned char const *text) : TString(reinterpret_cast<char const *>(text)) {}

TString::TString(unsigned short const *text) : fBuffer(nullptr) {
    if (text) {
        auto const bytes = std::uint64_t{lengthOf(text)} * 2;
        fBuffer = AllocateBuffer(bytes, 1, TStringBuffer::unicode);
        CopyBytes(fBuffer->Data(), text, static_cast<std::size_t>(bytes));
    }
}

TString::TString(char16_t const *text) : fBuffer(nullptr) {
    if (text) {
        auto const bytes = std::uint64_t{lengthOf(text)} * 2;
        fBuffer = AllocateBuffer(bytes, 1, TStringBuffer::unicode);
        CopyBytes(fBuffer->Data(), text, static_cast<std::size_t>(bytes));
    }
}

TString::TString(void const *bytes, unsigned int count, char fill) : fBuffer(nullptr) {
    CheckedLength(count);
    if (!bytes)
        RequirePadding(count, 0, fsBadCount);
    fBuffer = AllocateBuffer(count, 1, 0);
    if (bytes)
        CopyBytes(fBuffer->Data(), bytes, count);
    else
        std::memset(fBuffer->Data(), fill, count);
}

// On some systems, a program that is not optimized imports an inline constant of an exported class if it takes the
// address of the constant. Therefore the library defines this constant.
constexpr unsigned int TString::fsToEnd;

TString::TString(long number) : TString(DecimalText(number)) {}

TString::TString(unsigned long number) : TString(DecimalText(number)) {}

TString::TString(long long number) : TString(DecimalText(number)) {}

TString::TString(unsigned long long number) : TString(DecimalText(number)) {}

TString &TString::operator=(TString const &other) noexcept {
    if (this != &other) {
        // The count of the new buffer is raised before the old buffer is released, because both may be the same buffer.
        TString copy(other);
        std::swap(fBuffer, copy.fBuffer);
    }
    return *this;
}

TString &TString::operator=(TString &&other) noexcept {
    if (this != &other) {
        TakeBuffer(other.fBuffer);
        other.fBuffer = nullptr;
    }
    return *this;
}

// Length and output

unsigned int TString::lengthOf(char const *text) {
    return text ? CheckedLength(std::strlen(text)) : 0;
}

unsigned int TString::lengthOf(unsigned char const *text) {
    return lengthOf(reinterpret_cast<char const *>(text));
}

unsigned int TString::lengthOf(unsigned short const *text) {
    return CountUnits(text);
}

unsigned int TString::lengthOf(char16_t const *text) {
    return CountUnits(text);
}

std::ostream &TString::Print(std::ostream &out) const {
    if (IsNull())
        return out.write("<NULL>", 6);
    return out.write(fBuffer->Data(), length());
}

std::ostream &operator<<(std::ostream &out, TString const &text) {
    return text.Print(out);
}

// Element access

char TString::operator[](unsigned int position) const {
    if (position == 0 || position > length())
        fsReports.Raise<TInvalidRequest>(fsBadIndex);
    return fBuffer->Data()[position - 1];
}

char &TString::operator[](unsigned int position) {
    RequireStart(position, fsBadIndex);
    if (position > length()) {
        unsigned int const old = length();
        RequirePadding(CheckedLength(position), old, fsBadIndex);
        TStringBuffer *const fresh = AllocateBuffer(position, 1, fBuffer ? fBuffer->flags : 0);
        CopyBytes(fresh->Data(), static_cast<char *>(*this), old);
        std::memset(fresh->Data() + old, 0, position - old);
        TakeBuffer(fresh);
    }
    return fBuffer->Data()[position - 1];
}

// Concatenation

TString TString::operator+(TString const &other) const {
    if (IsNull() && other.IsNull())
        return TString();
    std::uint32_t const flags = fBuffer ? fBuffer->flags : other.fBuffer->flags;
    TString result(AllocateBuffer(std::uint64_t{length()} + other.length(), 0, flags));
    char *const data = result;
    CopyBytes(data, static_cast<char *>(*this), length());
    CopyBytes(data + length(), static_cast<char *>(other), other.length());
    return result;
}

TString TString::operator+(char const *text) const {
    unsigned int const count = lengthOf(text);
    if (IsNull() && count == 0)
        return TString();
    TString result(AllocateBuffer(std::uint64_t{length()} + count, 0, 0));
    char *const data = result;
    CopyBytes(data, static_cast<char *>(*this), length());
    CopyBytes(data + length(), text, count);
    return result;
}

// The library also exports operator+=(char const *), although it is inline. The compiler emits the function because its
// address is taken here.
[[gnu::used]] static TString &(TString::*const fsAppendText)(char const *) = &TString::operator+=;

TString &TString::AppendText(char const *text) {
    if (IsNull())
        return *this = TString(text);
    return Append(text, lengthOf(text));
}

TString &TString::operator+=(TString const &other) {
    if (IsNull()) {
        // This string gets a buffer of its own, with all bytes and the flags of the other string.
        return other.IsNull() ? *this : *this = TString() + other;
    }
    return Append(other, other.length());
}

// Appends bytes, which may lie in this string's own buffer. If the buffer is not shared and has room, the bytes are
// added in place. Otherwise a new buffer is made. If the old buffer was not shared and there is enough memory, the new
// buffer has room to spare, because the string may be built up piece by piece.
TString &TString::Append(char const *bytes, unsigned int count) {
    unsigned int const old = length();
    unsigned int const total = CheckedLength(std::uint64_t{old} + count);
    if (count == 0 && !fBuffer->IsShared())
        return *this;
    if (AppendInPlace(bytes, count))
        return *this;
    // The size of the block stays just below a power of two, because heaps allocate such sizes best. The rest is room
    // for the heap's own data.
    std::uint64_t const roomy =
        std::min(std::bit_ceil(std::uint64_t{total} + fsBlockCost) - fsBlockCost, fsLengthLimit - 1);
    TStringBuffer *fresh = nullptr;
    if (!fBuffer->IsShared() && roomy > total) {
        try {
            fresh = AllocateBuffer(roomy, 1, fBuffer->flags);
        } catch (TOutOfMemory const &) {
            // There is no memory for the room to spare. A buffer for the text alone is tried next.
        }
    }
    if (!fresh)
        fresh = AllocateBuffer(total, 1, fBuffer->flags);
    CopyBytes(fresh->Data(), fBuffer->Data(), old);
    CopyBytes(fresh->Data() + old, bytes, count); // the bytes may be in the old buffer, which is released later
    fresh->length = total;
    fresh->Terminate();
    TakeBuffer(fresh);
    return *this;
}

// Bytewise operators

template <typename Combine>
TString &TString::CombineBytes(TString const &other, Combine combine) {
    if (IsNull())
        return *this;
    MakeUnique();
    char *const data = *this;
    char const *const right = other;
    unsigned int const common = std::min(length(), other.length());
    for (unsigned int i = 0; i < common; ++i)
        data[i] = static_cast<char>(combine(static_cast<unsigned char>(data[i]), static_cast<unsigned char>(right[i])));
    return *this;
}

TString &TString::operator^=(TString const &other) {
    return CombineBytes(other, [](unsigned int a, unsigned int b) { return a ^ b; });
}

TString &TString::operator|=(TString const &other) {
    return CombineBytes(other, [](unsigned int a, unsigned int b) { return a | b; });
}

TString &TString::operator&=(TString const &other) {
    return CombineBytes(other, [](unsigned int a, unsigned int b) { return a & b; });
}

// Substrings and editing

// Returns at most `count` of the bytes after the first `offset` bytes, with the flags of this string.
TString TString::Part(unsigned int offset, unsigned int count) const {
    if (IsNull())
        return TString();
    unsigned int const skipped = std::min(offset, length());
    unsigned int const copied = std::min(count, length() - skipped);
    TString result(AllocateBuffer(copied, 0, fBuffer->flags));
    CopyBytes(result, fBuffer->Data() + skipped, copied);
    return result;
}

TString TString::left(unsigned int count) const {
    return Part(0, count);
}

TString TString::right(unsigned int count) const {
    return Part(length() - std::min(count, length()), count);
}

TString TString::mid(unsigned int start, unsigned int count) const {
    RequireStart(start, fsBadTruncate);
    return Part(start - 1, count);
}

TString TString::subString(unsigned int start) const {
    RequireStart(start, fsBadTruncate);
    if (start > length())
        return TString();
    unsigned int const count = length() - start + 1;
    TString result(AllocateBuffer(count, 0, fBuffer->flags));
    CopyBytes(result, fBuffer->Data() + start - 1, count);
    return result;
}

TString TString::subString(unsigned int start, unsigned int count, char fill) const {
    RequireStart(start, fsBadTruncate);
    RequirePadding(count, length(), fsBadTruncate);
    TString result(AllocateBuffer(count, 0, fBuffer ? fBuffer->flags : 0));
    unsigned int const copied = start > length() ? 0 : std::min(count, length() - start + 1);
    char *const data = result;
    if (copied)
        std::memcpy(data, fBuffer->Data() + start - 1, copied);
    std::memset(data + copied, fill, count - copied);
    return result;
}

TString &TString::remove(unsigned int start) {
    RequireStart(start, fsBadTruncate);
    if (start > length())
        return *this;
    if (!fBuffer->IsShared())
        SetLength(start - 1);
    else
        MakeUnique(start - 1);
    return *this;
}

TString &TString::remove(unsigned int start, unsigned int count) {
    if (start > length())
        return *this;
    if (std::uint64_t{length()} + 1 < std::uint64_t{start} + count)
        return remove(start);
    RequireStart(start, fsBadTruncate);
    unsigned int const before = start - 1;
    unsigned int const behind = length() - before - count;
    if (!fBuffer->IsShared()) {
        char *const data = fBuffer->Data();
        std::memmove(data + before, data + before + count, behind);
        SetLength(before + behind);
        return *this;
    }
    TStringBuffer *const fresh = AllocateBuffer(std::uint64_t{before} + behind, 1, fBuffer->flags);
    CopyBytes(fresh->Data(), fBuffer->Data(), before);
    CopyBytes(fresh->Data() + before, fBuffer->Data() + before + count, behind);
    TakeBuffer(fresh);
    return *this;
}

TString &TString::change(char const *pattern, TString const &replacement, unsigned int start, unsigned int count) {
    TString held;
    held = replacement; // the replacement may be this string itself
    return Change(pattern, held, held.length(), start, count);
}

TString &TString::change(char const *pattern, char const *replacement, unsigned int start, unsigned int count) {
    return Change(pattern, replacement, lengthOf(replacement), start, count);
}

TString &TString::Change(char const *pattern, char const *replacement, unsigned int replacementLength,
                         unsigned int start, unsigned int count) {
    if (count == 0)
        return *this;
    RequireStart(start, fsBadStart);
    if (!fBuffer)
        return *this; // a null string has no position at which a pattern could be found
    unsigned int const patternLength = lengthOf(pattern);

    // Counts the matches that will be replaced, because the size of the result depends on them. Matches do not overlap:
    // the search continues after each match. All matches of an empty pattern are at `start` itself, so the replacements
    // are inserted there one after another. Their number is that of the positions from `start` on, but at most `count`.
    std::uint64_t matches = 0;
    if (patternLength == 0) {
        matches = start > length() ? 0 : std::min(count, length() - start + 1);
    } else {
        for (unsigned int at = Find(pattern, patternLength, start); at != 0 && matches < count; ++matches)
            at = Find(pattern, patternLength, at + patternLength);
    }
    if (matches == 0)
        return *this;

    // There are fewer than 2^32 matches, and a replacement has fewer than 2^32 bytes. So 64 bits cannot overflow.
    std::uint64_t const total = length() - matches * patternLength + matches * replacementLength;
    TStringBuffer *const fresh = AllocateBuffer(total, 1, 0);
    char const *const source = fBuffer->Data();
    char *to = fresh->Data();
    unsigned int copied = 0; // the number of bytes of the source that were copied or replaced
    for (std::uint64_t i = 0; i < matches; ++i) {
        unsigned int const at = Find(pattern, patternLength, std::max(start, copied + 1));
        unsigned int const between = at - 1 - copied;
        CopyBytes(to, source + copied, between);
        CopyBytes(to + between, replacement, replacementLength);
        to += between + replacementLength;
        copied += between + patternLength;
    }
    CopyBytes(to, source + copied, length() - copied);
    TakeBuffer(fresh);
    return *this;
}

// Converts the text up to its first zero byte with `fold`. `first` is the first ASCII letter that `fold` changes. If
// the text is long, and `fold` converts the ASCII letters as the locale "C" does, whole blocks are converted at once.
TString &TString::FoldCase(char first, int (*fold)(int)) {
    if (IsNull())
        return *this;
    MakeUnique();
    char *at = *this;
    char *const end = at + length();
    if (end - at >= 64 && platform::AreLettersPlain(first == 'A'))
        at = wide_search::Fold(at, end, first, fold);
    for (; *at; ++at) // a zero byte follows the data
        *at = static_cast<char>(fold(static_cast<unsigned char>(*at)));
    return *this;
}

TString &TString::lowerCase() {
    return FoldCase('A', &std::tolower);
}

TString &TString::upperCase() {
    return FoldCase('a', &std::toupper);
}

// Searching

unsigned int TString::indexOf(char c, unsigned int start) const {
    if (start == 0)
        start = 1;
    if (start > length())
        return 0;
    char const *const data = fBuffer->Data();
    char const *const found = wide_search::FindByte(data + start - 1, data + length(), c);
    return found ? static_cast<unsigned int>(found - data) + 1 : 0;
}

unsigned int TString::indexOf(unsigned short c, unsigned int start) const {
    if (start == 0)
        return 0;
    char const *const data = *this;
    unsigned int const characters = length() / 2;
    for (unsigned int position = start; position <= characters; ++position) {
        unsigned short unit;
        std::memcpy(&unit, data + (position - 1) * std::size_t{2}, 2);
        if (unit == c)
            return position;
    }
    return 0;
}

// Returns the first position from `start` on at which the text is found, or 0. REQUIRES: `start` is at least 1.
unsigned int TString::Find(char const *text, unsigned int textLength, unsigned int start) const noexcept {
    if (start > length() || textLength > length() - start + 1)
        return 0;
    if (textLength == 0)
        return start;
    char const *const data = fBuffer->Data();
    char const *const found = wide_search::FindText(data + start - 1, data + length(), text, textLength);
    return found ? static_cast<unsigned int>(found - data) + 1 : 0;
}

unsigned int TString::indexOf(char const *text, unsigned int start) const {
    RequireStart(start, fsBadStart);
    return Find(text, lengthOf(text), start);
}

unsigned int TString::indexOfAnyOf(char const *set, unsigned int start) const {
    RequireStart(start, fsBadStart);
    return FindInSet(*this, set, start, true);
}

unsigned int TString::indexOfAnyBut(char const *set, unsigned int start) const {
    RequireStart(start, fsBadStart);
    return FindInSet(*this, set, start, false);
}

unsigned int TString::lastIndexOf(char c, unsigned int start) const {
    RequireStart(start, fsBadStart);
    if (start == fsToEnd)
        start = length();
    if (start > length())
        return 0;
    char const *const data = *this;
    char const *const found = wide_search::FindLastByte(data, data + start, c);
    return found ? static_cast<unsigned int>(found - data) + 1 : 0;
}

// Comparison and tests

bool TString::isEqual(TString const &other) const noexcept {
    if (IsNull())
        return other.IsNull();
    return length() == other.length() && (fBuffer == other.fBuffer || length() == 0 ||
                                          std::memcmp(fBuffer->Data(), other.fBuffer->Data(), length()) == 0);
}

bool TString::isLessThan(TString const &other) const noexcept {
    if (IsNull())
        return !other.IsNull();
    unsigned int const common = std::min(length(), other.length());
    int const order = common ? std::memcmp(fBuffer->Data(), other.fBuffer->Data(), common) : 0;
    return order < 0 || (order == 0 && length() < other.length());
}

bool TString::isAbbreviationFor(TString const &full, unsigned int minimum) const noexcept {
    return minimum <= length() && length() <= full.length() &&
           (length() == 0 || std::memcmp(fBuffer->Data(), full.fBuffer->Data(), length()) == 0);
}

bool TString::isAbbreviationFor(char const *full, unsigned int minimum) const noexcept {
    return minimum <= length() && (length() == 0 || (full && std::strncmp(full, fBuffer->Data(), length()) == 0 &&
                                                     std::memchr(fBuffer->Data(), 0, length()) == nullptr));
}

bool TString::isDigits() const noexcept {
    char const *const data = *this;
    return data && std::all_of(ascii_case::SkipDigits(data, data + length()), data + length(),
                               [](unsigned char c) { return std::isdigit(c) != 0; });
}

bool TString::isBinaryDigits() const noexcept {
    char const *const data = *this;
    return data && std::all_of(data, data + length(), [](char c) { return c == '0' || c == '1'; });
}

int TString::asInt() const noexcept {
    if (IsNull())
        return 0;
    TLeadingNumber const number(fBuffer->Data());
    if (number.negative)
        return static_cast<int>(-static_cast<std::int64_t>(std::min<std::uint64_t>(number.magnitude, 0x80000000u)));
    return static_cast<int>(std::min<std::uint64_t>(number.magnitude, 0x7FFFFFFFu));
}

unsigned int TString::asUnsigned() const noexcept {
    if (IsNull())
        return 0;
    TLeadingNumber const number(fBuffer->Data());
    if (number.magnitude > 0xFFFFFFFFu)
        return 0xFFFFFFFFu;
    auto const value = static_cast<unsigned int>(number.magnitude);
    return number.negative ? 0u - value : value;
}

double TString::asDouble() const noexcept {
    return IsNull() ? 0.0 : std::strtod(fBuffer->Data(), nullptr);
}

// Companions

bool TStringIcmp::IsEqual(TStringIcmp const &other) const noexcept {
    unsigned int const count = length();
    if (count >= 16 && count <= 32 && count == other.length()) {
        // The question comes first, so that the processor works on it and on the comparison at once.
        bool const isPlain = platform::IsLetterIPlain();
        if (ascii_case::IsSameShort(data(), other.data(), count) && isPlain)
            return true;
    }
    return IsSameFolded(*this, other);
}

void TStringAndWipe::Wipe() noexcept {
    if (!IsNull())
        platform::SecureZero(static_cast<char *>(*this), length());
}
