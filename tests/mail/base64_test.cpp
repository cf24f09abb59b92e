#include "tuzutil/BASE64.h"

#include "utility/mail/base64_loops.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

TString Text(std::string const &bytes) {
    return TString(bytes.data(), static_cast<unsigned int>(bytes.size()), ' ');
}

std::string Plain(TString const &text) {
    char const *const data = text;
    return std::string(data, text.length());
}

std::string RandomBytes(std::size_t count, int lowest, std::mt19937 &random) {
    std::uniform_int_distribution<int> byte(lowest, 255);
    std::string bytes(count, '\0');
    for (char &c : bytes)
        c = static_cast<char>(byte(random));
    return bytes;
}

std::string const fsReferenceAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// A second encoder, slow and obvious: a string of binary digits, cut into sixes.
std::string ReferenceEncode(std::string const &bytes) {
    std::string bits;
    for (char const c : bytes) {
        for (int bit = 7; bit >= 0; --bit)
            bits += (c >> bit & 1) ? '1' : '0';
    }
    while (bits.size() % 6)
        bits += '0';
    std::string characters;
    for (std::size_t at = 0; at < bits.size(); at += 6)
        characters += fsReferenceAlphabet[std::stoul(bits.substr(at, 6), nullptr, 2)];
    while (characters.size() % 4)
        characters += '=';
    std::string text;
    for (std::size_t at = 0; at < characters.size(); at += 72) {
        text += characters.substr(at, 72);
        if (characters.size() - at >= 72)
            text += '\n';
    }
    return text;
}

int ReferenceValue(char c) {
    std::size_t const at = fsReferenceAlphabet.find(c);
    return at == std::string::npos ? 255 : static_cast<int>(at);
}

// A second decoder: blanks out first, then group by group. All bytes, also behind a zero.
std::string ReferenceDecode(std::string const &text) {
    std::string characters;
    for (char const c : text) {
        if (std::string(" \t\n\v\f\r").find(c) == std::string::npos)
            characters += c;
    }
    std::string bytes;
    for (std::size_t at = 0; at < characters.size(); at += 4) {
        std::string const group = characters.substr(at, 4);
        if (group.size() < 2 || group[0] == '=' || group[1] == '=')
            break;
        int const b = ReferenceValue(group[1]);
        bytes += static_cast<char>(ReferenceValue(group[0]) << 2 | (b >> 4 & 3));
        if (group.size() < 3 || group[2] == '=')
            break;
        int const c = ReferenceValue(group[2]);
        bytes += static_cast<char>(b << 4 | (c >> 2 & 15));
        if (group.size() < 4 || group[3] == '=')
            break;
        bytes += static_cast<char>(c << 6 | ReferenceValue(group[3]));
    }
    return bytes;
}

using base64::Byte;

// One way of doing the work: each test runs on all that this processor has.
struct Path {
    char const *name;
    char *(*encode)(Byte const *, std::size_t, char *) noexcept;
    Byte *(*decode)(char const *, char const *, Byte *) noexcept;
};

std::vector<Path> Paths() {
    std::vector<Path> paths = {{"portable", base64::EncodePortable, base64::DecodePortable}};
#if defined(TUZUTIL_BASE64_SHUFFLE)
    if (base64::HasShuffle())
        paths.push_back({"shuffle", base64::EncodeShuffle, base64::DecodeShuffle});
    if (base64::HasWide())
        paths.push_back({"wide", base64::EncodeWide, base64::DecodeWide});
#endif
    return paths;
}

// Exact room at the end of a block, so that a checker sees every byte read or written beyond it.
std::string EncodeBy(Path const &path, std::string const &bytes) {
    std::vector<Byte> const from(bytes.begin(), bytes.end());
    std::vector<char> to(static_cast<std::size_t>(base64::EncodedLength(bytes.size())));
    char *const end = path.encode(from.data(), from.size(), to.data());
    EXPECT_EQ(end, to.data() + to.size());
    return std::string(to.data(), end);
}

std::string DecodeBy(Path const &path, std::string const &text) {
    std::vector<char> const from(text.begin(), text.end());
    std::vector<Byte> to(static_cast<std::size_t>(base64::DecodedRoom(text.size())));
    Byte *const end = path.decode(from.data(), from.data() + from.size(), to.data());
    EXPECT_LE(end, to.data() + to.size() - base64::fsSlack);
    return std::string(to.data(), end);
}

struct Vector {
    char const *bytes;
    char const *text;
};

constexpr Vector fsVectors[] = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
    {"Man", "TWFu"},
    {"Ma", "TWE="},
    {"M", "TQ=="},
    {"\x14\xfb\x9c\x03\xd9\x7e", "FPucA9l+"},
    {"\x14\xfb\x9c\x03\xd9", "FPucA9k="},
    {"\x14\xfb\x9c\x03", "FPucAw=="},
    {"\xff\xef\xff", "/+//"},
};

} // namespace

TEST(Base64, Example) {
    TString line = TBase64::Encode("Man");
    TString text = TBase64::Decode("TW Fu");
    EXPECT_EQ(line, "TWFu");
    EXPECT_EQ(text, "Man");
}

TEST(Base64, PublishedVectorsHoldBothWays) {
    for (Vector const &vector : fsVectors) {
        EXPECT_EQ(Plain(TBase64::Encode(vector.bytes)), vector.text);
        EXPECT_EQ(Plain(TBase64::Decode(vector.text)), vector.bytes) << vector.text;
        for (Path const &path : Paths()) {
            EXPECT_EQ(EncodeBy(path, vector.bytes), vector.text) << path.name;
            EXPECT_EQ(DecodeBy(path, vector.text), vector.bytes) << path.name;
        }
    }
}

TEST(Base64, NothingInIsNilOut) {
    EXPECT_TRUE(TBase64::Encode(TString()).IsNilString());
    EXPECT_TRUE(TBase64::Encode("").IsNilString());
    EXPECT_TRUE(TBase64::Decode(TString()).IsNilString());
    EXPECT_TRUE(TBase64::Decode("").IsNilString());
}

TEST(Base64, EncodesAllBytesOfTheStringZerosIncluded) {
    EXPECT_EQ(TBase64::Encode(TString("\0\0\0", 3, ' ')), "AAAA");
    EXPECT_EQ(TBase64::Encode(TString("a\0b", 3, ' ')), "YQBi");
}

TEST(Base64, EncodesTheBytesOf16BitTextAsTheyAre) {
    TString const wide(u"M");
    EXPECT_EQ(TBase64::Encode(wide), "TQA=");
    EXPECT_FALSE(TBase64::Encode(wide).IsUnicode());
}

TEST(Base64, LineFeedFollowsEighteenGroupsAlsoWhenTheLastIsPadded) {
    EXPECT_EQ(TBase64::Encode(TString(nullptr, 51, 'a')).length(), 68u);
    struct Row {
        unsigned int bytes;
        std::string end;
    };
    // 51 times "a" is 17 groups of "YWFh".
    std::string line;
    for (int group = 0; group < 17; ++group)
        line += "YWFh";
    Row const rows[] = {
        {51, ""}, {52, "YQ==\n"}, {53, "YWE=\n"}, {54, "YWFh\n"}, {55, "YWFh\nYQ=="},
    };
    for (Row const &row : rows)
        EXPECT_EQ(Plain(TBase64::Encode(TString(nullptr, row.bytes, 'a'))), line + row.end) << row.bytes;
}

TEST(Base64, FiftyFourBytesGive72CharactersAndALineFeed) {
    TString const text = TBase64::Encode(TString(nullptr, 54, 'x'));
    ASSERT_EQ(text.length(), 73u);
    EXPECT_EQ(text[73], '\n');
    EXPECT_EQ(TBase64::Encode(TString(nullptr, 55, 'x')).length(), 77u);
    EXPECT_EQ(TBase64::Encode(TString(nullptr, 108, 'x')).length(), 146u);
}

TEST(Base64, EveryLengthUpTo300EncodesAsTheReferenceDoes) {
    std::mt19937 random(1);
    for (std::size_t length = 0; length <= 300; ++length) {
        std::string const bytes = RandomBytes(length, 0, random);
        std::string const expected = ReferenceEncode(bytes);
        EXPECT_EQ(Plain(TBase64::Encode(Text(bytes))), expected) << length;
        for (Path const &path : Paths())
            EXPECT_EQ(EncodeBy(path, bytes), expected) << path.name << ' ' << length;
    }
}

TEST(Base64, EveryLengthUpTo300DecodesToWhatWasEncoded) {
    std::mt19937 random(2);
    for (std::size_t length = 0; length <= 300; ++length) {
        std::string const text = RandomBytes(length, 1, random);
        EXPECT_EQ(Plain(TBase64::Decode(TBase64::Encode(Text(text)))), text) << length;
        std::string const bytes = RandomBytes(length, 0, random);
        for (Path const &path : Paths())
            EXPECT_EQ(DecodeBy(path, ReferenceEncode(bytes)), bytes) << path.name << ' ' << length;
    }
}

TEST(Base64, EveryByteAtEveryPlaceOfAGroupEncodes) {
    for (int byte = 0; byte < 256; ++byte) {
        for (std::size_t place = 0; place < 60; ++place) {
            std::string bytes(60, '\x5A');
            bytes[place] = static_cast<char>(byte);
            std::string const expected = ReferenceEncode(bytes);
            for (Path const &path : Paths())
                ASSERT_EQ(EncodeBy(path, bytes), expected) << path.name << ' ' << byte << ' ' << place;
        }
    }
}

TEST(Base64, EveryCharacterAtEveryPlaceDecodesAsTheReferenceDoes) {
    std::string const line(72, 'Q');
    for (std::string const &text : {line + "\n" + line, line.substr(0, 40)}) {
        for (int c = 0; c < 256; ++c) {
            for (std::size_t place = 0; place < text.size(); ++place) {
                std::string changed = text;
                changed[place] = static_cast<char>(c);
                std::string const expected = ReferenceDecode(changed);
                for (Path const &path : Paths())
                    ASSERT_EQ(DecodeBy(path, changed), expected) << path.name << ' ' << c << ' ' << place;
            }
        }
    }
}

TEST(Base64, LinesOfEveryWidthAndKindOfEndDecode) {
    std::mt19937 random(3);
    std::string const bytes = RandomBytes(400, 1, random);
    std::string characters = ReferenceEncode(bytes);
    characters.erase(std::remove(characters.begin(), characters.end(), '\n'), characters.end());
    for (char const *const lineEnd : {"\n", "\r\n", " \t\v\f\r\n"}) {
        for (std::size_t width = 1; width <= 150; ++width) {
            std::string text;
            for (std::size_t at = 0; at < characters.size(); at += width)
                text += characters.substr(at, width) + lineEnd;
            for (Path const &path : Paths())
                ASSERT_EQ(DecodeBy(path, text), bytes) << path.name << ' ' << width;
            ASSERT_EQ(Plain(TBase64::Decode(Text(text))), bytes) << width;
        }
    }
}

TEST(Base64, RandomTextsDecodeAsTheReferenceDoes) {
    std::mt19937 random(4);
    std::string const often = fsReferenceAlphabet + fsReferenceAlphabet + "= \n\r\t\x80\xA0\xFF!*-";
    std::uniform_int_distribution<std::size_t> pick(0, often.size() - 1);
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 200, '\0');
        bool const foreign = round % 2 != 0;
        for (char &c : text)
            c = foreign ? often[pick(random)] : fsReferenceAlphabet[random() % 64];
        std::string const expected = ReferenceDecode(text);
        for (Path const &path : Paths())
            ASSERT_EQ(DecodeBy(path, text), expected) << path.name << ' ' << text;
    }
}

TEST(Base64, WhiteSpaceIsSkippedEverywhere) {
    EXPECT_EQ(TBase64::Decode("TW Fu"), "Man");
    EXPECT_EQ(TBase64::Decode(" T\tW\nF\vu\f\r "), "Man");
    EXPECT_EQ(TBase64::Decode("TWE =\n"), "Ma");
    EXPECT_TRUE(TBase64::Decode(" \t\n").IsNilString());
}

TEST(Base64, TheNoBreakSpaceOfWindowsIsNotWhiteSpace) {
    // 0xA0 counts as 255: T is 19, so the first byte is 19 * 4 | 3.
    EXPECT_EQ(Plain(TBase64::Decode("T\xA0Zu")), "\x4F\xF6\x6E");
}

TEST(Base64, DecodingEndsAtAnEqualsSign) {
    EXPECT_EQ(TBase64::Decode("TWE=TWFu"), "Ma");
    EXPECT_EQ(TBase64::Decode("TQ==TWFu"), "M");
    EXPECT_EQ(TBase64::Decode("TWFu=WFu"), "Man"); // at the first place of a group
    EXPECT_EQ(TBase64::Decode("TWFuT=Fu"), "Man"); // at the second
    EXPECT_EQ(TBase64::Decode("TQ=u"), "M");       // the third ends it, whatever the fourth is
}

TEST(Base64, IncompleteLastGroupGivesWhatIsComplete) {
    EXPECT_EQ(TBase64::Decode("TWFuT"), "Man");
    EXPECT_EQ(TBase64::Decode("TWFuTW"), "ManM");
    EXPECT_EQ(TBase64::Decode("TWFuTWE"), "ManMa");
}

TEST(Base64, ForeignCharactersCountAs255) {
    struct Row {
        char const *text;
        char const *bytes;
    };
    Row const rows[] = {
        {"*WFu", "\xFD\x61\x6E"}, // a is 255: 255 << 2 | 1
        {"T*Fu", "\x4F\xF1\x6E"}, // b
        {"TW*u", "\x4D\x6F\xEE"}, // c
        {"TWF*", "\x4D\x61\xFF"}, // d
        {"****", "\xFF\xFF\xFF"}, {"TWF\xE4", "\x4D\x61\xFF"},
    };
    for (Row const &row : rows)
        EXPECT_EQ(Plain(TBase64::Decode(row.text)), row.bytes) << row.text;
}

TEST(Base64, DecodedDataEndBeforeTheFirstZeroByte) {
    EXPECT_EQ(Plain(TBase64::Decode("YQBi")), "a");
    EXPECT_EQ(TBase64::Decode("YQBi").length(), 1u);
    EXPECT_TRUE(TBase64::Decode("AGFi").IsNilString());
    // Behind the first forty bytes as well.
    std::string bytes(100, 'z');
    bytes[90] = '\0';
    EXPECT_EQ(Plain(TBase64::Decode(Text(ReferenceEncode(bytes)))), std::string(90, 'z'));
}

TEST(Base64, ArgumentsStayAsTheyAre) {
    TString const text("TWFu");
    TString const bytes("Man");
    TBase64::Encode(bytes);
    TBase64::Decode(text);
    EXPECT_EQ(text, "TWFu");
    EXPECT_EQ(bytes, "Man");
}
