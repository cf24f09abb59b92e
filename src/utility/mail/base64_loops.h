#ifndef TUZUTIL_BASE64_LOOPS
#define TUZUTIL_BASE64_LOOPS

// The inner loops of Base64. The loops of Encode() and Decode() have three forms: a portable one, one for processors
// with byte shuffles (SSSE3), and one for processors with wide vectors (AVX2). All forms give the same bytes for every
// input. The caller chooses the form, because the tests run all of them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#define TUZUTIL_BASE64_SHUFFLE 1
#include <immintrin.h>
#endif

namespace base64 {

using Byte = unsigned char;

inline constexpr char fsAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
inline constexpr Byte fsOutside = 255;       // the value of a character that is not in the alphabet
inline constexpr std::size_t fsLine = 54;    // bytes that are encoded in a full line
inline constexpr std::size_t fsColumns = 72; // characters of a full line, without its LF
inline constexpr std::size_t fsSlack = 4;    // bytes after the result that decoding may overwrite

// The values of the ASCII characters.
inline constexpr auto fsValues = [] {
    std::array<Byte, 128> values{};
    values.fill(fsOutside);
    for (Byte value = 0; value < 64; ++value)
        values[static_cast<Byte>(fsAlphabet[value])] = value;
    return values;
}();

// The two characters for each value of 12 bits.
inline constexpr auto fsPairs = [] {
    std::array<std::array<char, 2>, 4096> pairs{};
    for (std::size_t bits = 0; bits < 4096; ++bits)
        pairs[bits] = {fsAlphabet[bits >> 6], fsAlphabet[bits & 63]};
    return pairs;
}();

inline unsigned int Value(char c) noexcept {
    auto const code = static_cast<Byte>(c);
    return code < 128 ? fsValues[code] : fsOutside;
}

inline bool IsBlank(char c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Returns the number of characters, including line feeds, to which `count` bytes are encoded.
inline std::uint64_t EncodedLength(std::uint64_t count) noexcept {
    std::uint64_t const groups = (count + 2) / 3;
    return groups * 4 + groups / 18;
}

// Returns the number of characters to which `count` bytes are encoded on one line without LF.
inline std::uint64_t EncodedLineLength(std::uint64_t count) noexcept {
    return (count + 2) / 3 * 4;
}

// Returns the number of bytes that decoding `count` characters needs at most, including the slack.
inline std::uint64_t DecodedRoom(std::uint64_t count) noexcept {
    return (count + 3) / 4 * 3 + fsSlack;
}

// Encoding. Every function encodes bytes from `from` on, writes to `to`, and returns the end of the characters that it
// has written. A group is three bytes.

inline char *EncodeGroups(Byte const *from, std::size_t groups, char *to) noexcept {
    for (; groups; --groups, from += 3, to += 4) {
        unsigned int const bits = unsigned{from[0]} << 16 | unsigned{from[1]} << 8 | from[2];
        std::memcpy(to, fsPairs[bits >> 12].data(), 2);
        std::memcpy(to + 2, fsPairs[bits & 4095].data(), 2);
    }
    return to;
}

// Encodes a last group of one or two bytes.
inline char *EncodePadded(Byte const *from, std::size_t count, char *to) noexcept {
    unsigned int const second = count == 2 ? from[1] : 0;
    unsigned int const bits = unsigned{from[0]} << 16 | second << 8;
    std::memcpy(to, fsPairs[bits >> 12].data(), 2);
    to[2] = count == 2 ? fsAlphabet[bits >> 6 & 63] : '=';
    to[3] = '=';
    return to + 4;
}

// Encodes all bytes on one line without LF.
inline char *EncodeLine(Byte const *from, std::size_t count, char *to) noexcept {
    to = EncodeGroups(from, count / 3, to);
    if (std::size_t const last = count % 3)
        to = EncodePadded(from + (count - last), last, to);
    return to;
}

inline char *EncodeLinesPortable(Byte const *from, std::size_t lines, char *to) noexcept {
    for (; lines; --lines, from += fsLine) {
        to = EncodeGroups(from, fsLine / 3, to);
        *to++ = '\n';
    }
    return to;
}

// Encodes the bytes after the last full line.
inline char *EncodeTail(Byte const *from, std::size_t count, char *to) noexcept {
    to = EncodeLine(from, count, to);
    if (count > fsLine - 3) // a padded group has filled the line
        *to++ = '\n';
    return to;
}

inline char *EncodePortable(Byte const *from, std::size_t count, char *to) noexcept {
    to = EncodeLinesPortable(from, count / fsLine, to);
    return EncodeTail(from + count / fsLine * fsLine, count % fsLine, to);
}

// Decoding.

struct Position {
    char const *from;
    Byte *to;
    Byte *clean = nullptr; // if not null: it is known that none of the bytes before this one is 0
};

// Decodes one group of four characters and skips blanks. Returns false if the group is incomplete or padded, which ends
// the data.
inline bool DecodeGroup(Position &at, char const *end) noexcept {
    char group[4];
    unsigned int count = 0;
    for (; at.from != end && count < 4; ++at.from) {
        if (!IsBlank(*at.from))
            group[count++] = *at.from;
    }
    if (count < 2 || group[0] == '=' || group[1] == '=')
        return false;
    unsigned int const second = Value(group[1]);
    *at.to++ = static_cast<Byte>(Value(group[0]) << 2 | (second >> 4 & 3));
    if (count < 3 || group[2] == '=')
        return false;
    unsigned int const third = Value(group[2]);
    *at.to++ = static_cast<Byte>(second << 4 | (third >> 2 & 15));
    if (count < 4 || group[3] == '=')
        return false;
    *at.to++ = static_cast<Byte>(third << 6 | Value(group[3]));
    return true;
}

// The value of each character at each place of a group, shifted to the position of its bits in the 24 bits of the
// group. For a character outside the alphabet, only bit 24 is set.
inline constexpr auto fsShifted = [] {
    std::array<std::array<std::uint32_t, 256>, 4> shifted{};
    for (std::size_t place = 0; place < 4; ++place) {
        for (std::size_t c = 0; c < 256; ++c) {
            bool const valid = c < 128 && fsValues[c] != fsOutside;
            shifted[place][c] = valid ? std::uint32_t{fsValues[c]} << (18 - 6 * place) : 1u << 24;
        }
    }
    return shifted;
}();

// Decodes groups until fewer than four characters are left, or a group contains a character outside the alphabet.
inline void DecodeRun(Position &at, char const *end) noexcept {
    for (; end - at.from >= 4; at.from += 4, at.to += 3) {
        auto const *const text = reinterpret_cast<Byte const *>(at.from);
        std::uint32_t const bits =
            fsShifted[0][text[0]] | fsShifted[1][text[1]] | fsShifted[2][text[2]] | fsShifted[3][text[3]];
        if (bits >> 24)
            return;
        at.to[0] = static_cast<Byte>(bits >> 16);
        at.to[1] = static_cast<Byte>(bits >> 8);
        at.to[2] = static_cast<Byte>(bits);
    }
}

inline Byte *DecodePortable(char const *from, char const *end, Byte *to) noexcept {
    Position at{from, to};
    for (;;) {
        DecodeRun(at, end);
        if (at.from != end && IsBlank(*at.from))
            ++at.from;
        else if (!DecodeGroup(at, end))
            return at.to;
    }
}

// Strict decoding.

enum class Strict { group, end, fault };

// Decodes one group and skips foreign characters if `skips` is true. The result is Strict::end if no group is left, or
// if the group is padded. After Strict::fault, at.from is the first fault, or the end if the group is incomplete.
inline Strict DecodeStrictGroup(Position &at, char const *end, bool skips) noexcept {
    unsigned int bits = 0;
    unsigned int count = 0;
    unsigned int padding = 0;
    char const *last = at.from;
    for (; at.from != end && count + padding < 4; ++at.from) {
        unsigned int const value = Value(*at.from);
        bool const isPadding = *at.from == '=';
        if (value == fsOutside && !isPadding && skips)
            continue;
        if (isPadding ? count < 2 : value == fsOutside || padding != 0)
            return Strict::fault;
        if (isPadding) {
            ++padding;
            continue;
        }
        bits = bits << 6 | value;
        ++count;
        last = at.from;
    }
    if (count == 0)
        return Strict::end;
    if (count + padding < 4)
        return Strict::fault;
    bits <<= 6 * padding;
    if (bits & ((1u << 8 * padding) - 1)) { // these bits belong to no byte and must be 0
        at.from = last;
        return Strict::fault;
    }
    for (unsigned int byte = 0; byte < 3 - padding; ++byte)
        *at.to++ = static_cast<Byte>(bits >> (16 - 8 * byte));
    return padding ? Strict::end : Strict::group;
}

// Decodes a whole text. Returns whether the text is valid. If it is not, at.from is the first fault, or the end of an
// incomplete text.
inline bool DecodeStrict(Position &at, char const *end, bool skips) noexcept {
    Strict result = Strict::group;
    while (result == Strict::group) {
        DecodeRun(at, end);
        result = DecodeStrictGroup(at, end, skips);
    }
    if (result == Strict::fault)
        return false;
    while (at.from != end && skips && *at.from != '=' && Value(*at.from) == fsOutside)
        ++at.from;
    return at.from == end;
}

#if defined(TUZUTIL_BASE64_SHUFFLE)
#define TUZUTIL_SSSE3 __attribute__((target("ssse3")))

inline bool HasShuffle() noexcept {
    // No test gets here: the machines on which coverage is measured have SSSE3.
    return __builtin_cpu_supports("ssse3") != 0;
}

// What is added to a value to get its character: index 0 is for capital letters, 1 for small letters, 2 to 11 for
// digits, 12 for "+", and 13 for "/".
inline constexpr std::array<char, 16> fsAdded = {'A',      'a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                                                 '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                                                 '+' - 62, '/' - 63, 0,        0};

TUZUTIL_SSSE3 inline __m128i LoadTable(std::array<char, 16> const &table) noexcept {
    return _mm_loadu_si128(reinterpret_cast<__m128i const *>(table.data()));
}

// Converts sixteen values below 64 to characters. The alphabet has five ranges of consecutive characters, and the same
// constant is added to all values of a range.
TUZUTIL_SSSE3 inline __m128i CharactersOf(__m128i values) noexcept {
    __m128i const place = _mm_subs_epu8(values, _mm_set1_epi8(51));       // 0 for all letters
    __m128i const notCapital = _mm_cmpgt_epi8(values, _mm_set1_epi8(25)); // -1 or 0
    return _mm_add_epi8(values, _mm_shuffle_epi8(LoadTable(fsAdded), _mm_sub_epi8(place, notCapital)));
}

// Converts twelve bytes to sixteen characters. Each lane of 32 bits in `spread` holds the three bytes of a group in the
// order 1 0 2 1.
TUZUTIL_SSSE3 inline __m128i EncodeSpread(__m128i spread) noexcept {
    // The bits of a lane, from the highest, are bbbbcccc ccdddddd aaaaaabb bbbbcccc. Bits with the same letter belong
    // to one character. The multiplications shift the fields a and c to the right, and the fields b and d to the left.
    __m128i const high = _mm_mulhi_epu16(_mm_and_si128(spread, _mm_set1_epi32(0x0FC0FC00)), _mm_set1_epi32(0x04000040));
    __m128i const low = _mm_mullo_epi16(_mm_and_si128(spread, _mm_set1_epi32(0x003F03F0)), _mm_set1_epi32(0x01000010));
    return CharactersOf(_mm_or_si128(high, low));
}

TUZUTIL_SSSE3 inline __m128i LoadBytes(Byte const *from) noexcept {
    return _mm_loadu_si128(reinterpret_cast<__m128i const *>(from));
}

// Reads sixteen bytes at `from`, and encodes the first twelve of them.
TUZUTIL_SSSE3 inline void EncodeTwelve(Byte const *from, char *to) noexcept {
    __m128i const spread = _mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(to), EncodeSpread(_mm_shuffle_epi8(LoadBytes(from), spread)));
}

// Encodes full lines, each with its LF. A line has four times twelve bytes and six more. These six are loaded as the
// last six of sixteen bytes, because no byte after the line may be read.
TUZUTIL_SSSE3 inline char *EncodeLinesShuffle(Byte const *from, std::size_t lines, char *to) noexcept {
    __m128i const spreadLast = _mm_setr_epi8(11, 10, 12, 11, 14, 13, 15, 14, -1, -1, -1, -1, -1, -1, -1, -1);
    for (; lines; --lines, from += fsLine, to += fsColumns + 1) {
        EncodeTwelve(from, to);
        EncodeTwelve(from + 12, to + 16);
        EncodeTwelve(from + 24, to + 32);
        EncodeTwelve(from + 36, to + 48);
        _mm_storel_epi64(reinterpret_cast<__m128i *>(to + 64),
                         EncodeSpread(_mm_shuffle_epi8(LoadBytes(from + 38), spreadLast)));
        to[fsColumns] = '\n';
    }
    return to;
}

// Encodes the bytes after the last full line, twelve at a time as long as sixteen can be read.
TUZUTIL_SSSE3 inline char *EncodeTailShuffle(Byte const *from, std::size_t count, char *to) noexcept {
    std::size_t left = count;
    for (; left >= 16; left -= 12, from += 12, to += 16)
        EncodeTwelve(from, to);
    to = EncodeLine(from, left, to);
    if (count > fsLine - 3) // a padded group has filled the line
        *to++ = '\n';
    return to;
}

inline char *EncodeShuffle(Byte const *from, std::size_t count, char *to) noexcept {
    to = EncodeLinesShuffle(from, count / fsLine, to);
    return EncodeTailShuffle(from + count / fsLine * fsLine, count % fsLine, to);
}

// Tables that recognise and convert the characters of the alphabet. The high half of a character is its row in the
// ASCII table, and the low half its column. Rows that have the alphabet's characters in the same columns are one set,
// and each set has a bit.
struct Classes {
    std::array<char, 16> rows{};    // for each row, the bit of its set
    std::array<char, 16> columns{}; // for each column, the bits of the sets without a character there
    std::array<char, 16> added{};   // for each row, value minus character; row 1 has no characters and serves for "/"
};

inline constexpr auto fsClasses = [] {
    Classes classes;
    // Rows 4 and 6 are one set, and so are rows 5 and 7. All rows without a character of the alphabet share bit 4.
    constexpr int bitOfRow[16] = {4, 4, 0, 1, 2, 3, 2, 3, 4, 4, 4, 4, 4, 4, 4, 4};
    for (std::size_t row = 0; row < 16; ++row) {
        classes.rows[row] = static_cast<char>(1 << bitOfRow[row]);
        for (std::size_t column = 0; column < 16; ++column) {
            std::size_t const c = row * 16 + column;
            if (c < 128 && fsValues[c] != fsOutside)
                classes.added[c == '/' ? 1 : row] = static_cast<char>(fsValues[c] - static_cast<int>(c));
            else
                classes.columns[column] = static_cast<char>(classes.columns[column] | 1 << bitOfRow[row]);
        }
    }
    return classes;
}();

// Decodes sixteen characters to twelve bytes, but writes sixteen bytes. Returns a bit for each character that is not in
// the alphabet. The groups before the group of the first such character are decoded correctly.
TUZUTIL_SSSE3 inline unsigned int DecodeSixteen(char const *from, Byte *to) noexcept {
    __m128i const text = _mm_loadu_si128(reinterpret_cast<__m128i const *>(from));
    __m128i const half = _mm_set1_epi8(15);
    __m128i const row = _mm_and_si128(_mm_srli_epi32(text, 4), half);
    __m128i const wrong = _mm_and_si128(_mm_shuffle_epi8(LoadTable(fsClasses.rows), row),
                                        _mm_shuffle_epi8(LoadTable(fsClasses.columns), _mm_and_si128(text, half)));
    __m128i const place = _mm_add_epi8(row, _mm_cmpeq_epi8(text, _mm_set1_epi8('/'))); // for "/", row 1 instead of 2
    __m128i const values = _mm_add_epi8(text, _mm_shuffle_epi8(LoadTable(fsClasses.added), place));
    __m128i const twelveBits = _mm_maddubs_epi16(values, _mm_set1_epi16(0x0140));
    __m128i const groups = _mm_madd_epi16(twelveBits, _mm_set1_epi32(0x00011000));
    __m128i const order = _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(to), _mm_shuffle_epi8(groups, order));
    __m128i const right = _mm_cmpeq_epi8(wrong, _mm_setzero_si128());
    return static_cast<unsigned int>(_mm_movemask_epi8(right)) ^ 0xFFFFu;
}

// Returns whether the text may begin with a full line and its LF.
inline bool IsLine(char const *from, char const *end) noexcept {
    return end - from > static_cast<std::ptrdiff_t>(fsColumns) && from[fsColumns] == '\n';
}

// Decodes a full line. If the line has a character outside the alphabet, returns false, and some of the bytes written
// are wrong. The last sixteen characters overlap those before them by eight, because no character after the line may be
// read.
TUZUTIL_SSSE3 inline bool DecodeLine(char const *from, Byte *to) noexcept {
    return (DecodeSixteen(from, to) | DecodeSixteen(from + 16, to + 12) | DecodeSixteen(from + 32, to + 24) |
            DecodeSixteen(from + 48, to + 36) | DecodeSixteen(from + 56, to + 42)) == 0;
}

// Decodes full lines until one is followed by another character than LF, or has a character outside the alphabet.
TUZUTIL_SSSE3 inline void DecodeLinesShuffle(Position &at, char const *end) noexcept {
    for (; IsLine(at.from, end) && DecodeLine(at.from, at.to); at.from += fsColumns + 1)
        at.to += fsLine;
}

// Decodes lines by `lines`, which is DecodeLinesShuffle() or its wide form, and all other text by sixteen characters.
// Sets `clean` to a place before which no byte is 0.
TUZUTIL_SSSE3 inline Byte *DecodeBlocks(char const *from, char const *end, Byte *to, Byte *&clean,
                                        void (*lines)(Position &, char const *) noexcept) noexcept {
    Position at{from, to, to};
    clean = to;
    while (end - at.from >= 16) {
        if (IsLine(at.from, end)) {
            char const *const begin = at.from;
            lines(at, end);
            clean = at.clean;
            if (at.from != begin)
                continue;
        }
        unsigned int const wrong = DecodeSixteen(at.from, at.to);
        if (!wrong) {
            at.from += 16;
            at.to += 12;
            continue;
        }
        std::size_t const groups = static_cast<std::size_t>(__builtin_ctz(wrong)) / 4;
        at.from += groups * 4;
        at.to += groups * 3;
        if (!IsBlank(*at.from) && !DecodeGroup(at, end))
            return at.to;
        while (at.from != end && IsBlank(*at.from))
            ++at.from;
    }
    return DecodePortable(at.from, end, at.to);
}

inline Byte *DecodeShuffle(char const *from, char const *end, Byte *to) noexcept {
    Byte *clean = nullptr;
    return DecodeBlocks(from, end, to, clean, DecodeLinesShuffle);
}

// The wide forms for processors with AVX2 work on lines in blocks of 32 characters. Each half of a vector is treated as
// the vector of the form above.

#define TUZUTIL_AVX2 __attribute__((target("avx2")))

inline bool HasWide() noexcept {
    // No test gets here: the machines on which coverage is measured have AVX2.
    return __builtin_cpu_supports("avx2") != 0;
}

// A constant of 32 bytes in memory. Without it, the compiler would compute the constant again for each line.
struct Constant {
    constexpr explicit Constant(std::array<char, 16> const &half) noexcept : bytes{} {
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = half[i % half.size()];
    }
    constexpr explicit Constant(std::uint32_t lane) noexcept : bytes{} {
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<char>(lane >> (i % 4 * 8));
    }
    TUZUTIL_AVX2 operator __m256i() const noexcept {
        return _mm256_load_si256(reinterpret_cast<__m256i const *>(bytes.data()));
    }
    // Returns the constant for a register. The compiler cannot know its value. Otherwise it would compute some
    // constants again for each line, even if all of them fit in the registers.
    TUZUTIL_AVX2 __m256i Loaded() const noexcept {
        char const *at = bytes.data();
        __asm__("" : "+r"(at));
        return _mm256_load_si256(reinterpret_cast<__m256i const *>(at));
    }

    alignas(32) std::array<char, 32> bytes;
};

struct EncodeConstants {
    Constant order{std::array<char, 16>{1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10}};
    Constant orderLast{std::array<char, 16>{11, 10, 12, 11, 14, 13, 15, 14, -1, -1, -1, -1, -1, -1, -1, -1}};
    Constant highMask{0x0FC0FC00}, highFactor{0x04000040}, lowMask{0x003F03F0}, lowFactor{0x01000010};
    Constant lastLetter{0x33333333}, lastCapital{0x19191919}, added{fsAdded};
};
inline constexpr EncodeConstants fsEncode;

// Loads sixteen bytes at each of two places, puts twelve bytes of each into the order that EncodeSpread() needs, as
// `order` says, and encodes them.
TUZUTIL_AVX2 inline __m256i EncodeBoth(Byte const *first, Byte const *second, Constant const &order) noexcept {
    __m256i const bytes = _mm256_inserti128_si256(_mm256_castsi128_si256(LoadBytes(first)), LoadBytes(second), 1);
    __m256i const spread = _mm256_shuffle_epi8(bytes, order);
    __m256i const high = _mm256_mulhi_epu16(_mm256_and_si256(spread, fsEncode.highMask), fsEncode.highFactor);
    __m256i const low = _mm256_mullo_epi16(_mm256_and_si256(spread, fsEncode.lowMask), fsEncode.lowFactor);
    __m256i const values = _mm256_or_si256(high, low);
    __m256i const place = _mm256_subs_epu8(values, fsEncode.lastLetter);
    __m256i const notCapital = _mm256_cmpgt_epi8(values, fsEncode.lastCapital);
    return _mm256_add_epi8(values, _mm256_shuffle_epi8(fsEncode.added, _mm256_sub_epi8(place, notCapital)));
}

// Reads 28 bytes at `from`, and encodes the first 24 of them.
TUZUTIL_AVX2 inline void EncodeTwentyFour(Byte const *from, char *to) noexcept {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(to), EncodeBoth(from, from + 12, fsEncode.order));
}

// Writes the last eight characters of a line and its LF.
TUZUTIL_AVX2 inline void EndLine(char *line, __m128i last) noexcept {
    _mm_storel_epi64(reinterpret_cast<__m128i *>(line + 64), last);
    line[fsColumns] = '\n';
}

// Encodes two lines at a time, because the last six bytes of both fit in one vector.
TUZUTIL_AVX2 inline char *EncodeLinesWide(Byte const *from, std::size_t lines, char *to) noexcept {
    for (; lines >= 2; lines -= 2, from += 2 * fsLine, to += 2 * (fsColumns + 1)) {
        char *const second = to + fsColumns + 1;
        EncodeTwentyFour(from, to);
        EncodeTwentyFour(from + 24, to + 32);
        EncodeTwentyFour(from + fsLine, second);
        EncodeTwentyFour(from + fsLine + 24, second + 32);
        __m256i const last = EncodeBoth(from + 38, from + fsLine + 38, fsEncode.orderLast);
        EndLine(to, _mm256_castsi256_si128(last));
        EndLine(second, _mm256_extracti128_si256(last, 1));
    }
    return EncodeLinesShuffle(from, lines, to);
}

inline char *EncodeWide(Byte const *from, std::size_t count, char *to) noexcept {
    to = EncodeLinesWide(from, count / fsLine, to);
    return EncodeTailShuffle(from + count / fsLine * fsLine, count % fsLine, to);
}

struct DecodeConstants {
    Constant half{0x0F0F0F0F}, slash{0x2F2F2F2F}, rows{fsClasses.rows}, columns{fsClasses.columns};
    Constant added{fsClasses.added}, twelveBits{0x01400140}, groups{0x00011000};
    // The last four bytes repeat others, so that they are 0 only if a decoded byte is 0.
    Constant order{std::array<char, 16>{2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, 12, 12, 12, 12}};
};
inline constexpr DecodeConstants fsDecode;

// The same constants in registers.
struct DecodeVectors {
    __m256i half = fsDecode.half.Loaded(), slash = fsDecode.slash.Loaded(), rows = fsDecode.rows.Loaded();
    __m256i columns = fsDecode.columns.Loaded(), added = fsDecode.added.Loaded();
    __m256i twelveBits = fsDecode.twelveBits.Loaded(), groups = fsDecode.groups.Loaded();
    __m256i order = fsDecode.order.Loaded();

    TUZUTIL_AVX2 DecodeVectors() noexcept {}
};

TUZUTIL_AVX2 inline __m128i Half(__m256i vector) noexcept {
    return _mm256_castsi256_si128(vector);
}

// Decodes 32 characters to 24 bytes, but writes 28 bytes. Sets bits of `wrong` in the bytes of characters outside the
// alphabet. Returns a vector in which each decoded byte occurs, and no other. Each half is stored for itself, because
// moving both together within one vector would take longer.
TUZUTIL_AVX2 inline __m256i DecodeThirtyTwo(DecodeVectors const &use, char const *from, Byte *to,
                                            __m256i &wrong) noexcept {
    __m256i const text = _mm256_loadu_si256(reinterpret_cast<__m256i const *>(from));
    __m256i const row = _mm256_and_si256(_mm256_srli_epi32(text, 4), use.half);
    __m256i const column = _mm256_and_si256(text, use.half);
    wrong = _mm256_or_si256(
        wrong, _mm256_and_si256(_mm256_shuffle_epi8(use.rows, row), _mm256_shuffle_epi8(use.columns, column)));
    __m256i const place = _mm256_add_epi8(row, _mm256_cmpeq_epi8(text, use.slash));
    __m256i const values = _mm256_add_epi8(text, _mm256_shuffle_epi8(use.added, place));
    __m256i const groups = _mm256_madd_epi16(_mm256_maddubs_epi16(values, use.twelveBits), use.groups);
    __m256i const bytes = _mm256_shuffle_epi8(groups, use.order);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(to), _mm256_castsi256_si128(bytes));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(to + 12), _mm256_extracti128_si256(bytes, 1));
    return bytes;
}

// Decodes sixteen characters to twelve bytes.
TUZUTIL_AVX2 inline __m128i DecodeSixteen(DecodeVectors const &use, __m128i text, __m128i &wrong) noexcept {
    __m128i const row = _mm_and_si128(_mm_srli_epi32(text, 4), Half(use.half));
    __m128i const column = _mm_and_si128(text, Half(use.half));
    wrong = _mm_and_si128(_mm_shuffle_epi8(Half(use.rows), row), _mm_shuffle_epi8(Half(use.columns), column));
    __m128i const place = _mm_add_epi8(row, _mm_cmpeq_epi8(text, Half(use.slash)));
    __m128i const values = _mm_add_epi8(text, _mm_shuffle_epi8(Half(use.added), place));
    __m128i const groups = _mm_madd_epi16(_mm_maddubs_epi16(values, Half(use.twelveBits)), Half(use.groups));
    return _mm_shuffle_epi8(groups, Half(use.order));
}

TUZUTIL_AVX2 inline __m128i LoadEight(char const *from) noexcept {
    return _mm_loadl_epi64(reinterpret_cast<__m128i const *>(from));
}

// For each place of a vector, the least of the bytes that were decoded to this place. It is 0 if one of them was 0.
struct Least {
    __m256i blocks;
    __m128i ends;

    TUZUTIL_AVX2 void Take(__m256i block) noexcept { blocks = _mm256_min_epu8(blocks, block); }
    TUZUTIL_AVX2 bool IsZero() const noexcept {
        __m256i const zeros = _mm256_cmpeq_epi8(blocks, _mm256_setzero_si256());
        return (_mm256_movemask_epi8(zeros) | _mm_movemask_epi8(_mm_cmpeq_epi8(ends, _mm_setzero_si128()))) != 0;
    }
};

// Decodes two full lines. The last eight characters of both are decoded together. If the lines have a character outside
// the alphabet, returns false, and some of the bytes written are wrong. This is found out only at the end, because then
// no block has to wait in a register. Each write may go beyond its line, and the next one writes over what is too much.
// Beyond the second line, at most two bytes are written.
TUZUTIL_AVX2 inline bool DecodeTwoLines(DecodeVectors const &use, char const *from, Byte *to, Least &least) noexcept {
    char const *const second = from + fsColumns + 1;
    __m128i wrongLast;
    __m128i const last =
        DecodeSixteen(use, _mm_unpacklo_epi64(LoadEight(from + 64), LoadEight(second + 64)), wrongLast);
    least.ends = _mm_min_epu8(least.ends, last);
    __m256i wrong = _mm256_zextsi128_si256(wrongLast);
    least.Take(DecodeThirtyTwo(use, from, to, wrong));
    least.Take(DecodeThirtyTwo(use, from + 32, to + 24, wrong));
    _mm_storel_epi64(reinterpret_cast<__m128i *>(to + 48), last);
    least.Take(DecodeThirtyTwo(use, second, to + fsLine, wrong));
    least.Take(DecodeThirtyTwo(use, second + 32, to + fsLine + 24, wrong));
    _mm_storel_epi64(reinterpret_cast<__m128i *>(to + fsLine + 48), _mm_srli_si128(last, 6));
    return _mm256_testz_si256(wrong, wrong) != 0;
}

// Decodes full lines, two at a time, and looks for zero bytes among what it decodes.
TUZUTIL_AVX2 inline void DecodeLinePairs(Position &at, char const *end) noexcept {
    DecodeVectors const use;
    constexpr std::size_t step = fsColumns + 1;
    Least least{_mm256_set1_epi8(-1), _mm_set1_epi8(-1)};
    bool const wasClean = at.clean == at.to;
    Position next = at; // a copy, so that the compiler can keep it in registers
    for (; IsLine(next.from, end) && IsLine(next.from + step, end) && DecodeTwoLines(use, next.from, next.to, least);
         next.from += 2 * step)
        next.to += 2 * fsLine;
    if (wasClean && !least.IsZero())
        next.clean = next.to;
    at = next;
}

// Works like DecodeLinesShuffle(). If a line is decoded alone, its last 32 characters overlap those before them,
// because no character after the line may be read. The blocks write over each other in order.
TUZUTIL_AVX2 inline void DecodeLinesWide(Position &at, char const *end) noexcept {
    if (end - at.from > 2 * static_cast<std::ptrdiff_t>(fsColumns))
        DecodeLinePairs(at, end);
    DecodeVectors const use;
    while (IsLine(at.from, end)) {
        __m256i wrong = _mm256_setzero_si256();
        DecodeThirtyTwo(use, at.from, at.to, wrong);
        DecodeThirtyTwo(use, at.from + 32, at.to + 24, wrong);
        DecodeThirtyTwo(use, at.from + 40, at.to + 30, wrong);
        if (!_mm256_testz_si256(wrong, wrong))
            break;
        at.from += fsColumns + 1;
        at.to += fsLine;
    }
}

inline Byte *DecodeWide(char const *from, char const *end, Byte *to, Byte *&clean) noexcept {
    return DecodeBlocks(from, end, to, clean, DecodeLinesWide);
}

inline Byte *DecodeWide(char const *from, char const *end, Byte *to) noexcept {
    Byte *clean = nullptr;
    return DecodeWide(from, end, to, clean);
}

#undef TUZUTIL_AVX2
#undef TUZUTIL_SSSE3
#endif

} // namespace base64

#endif
