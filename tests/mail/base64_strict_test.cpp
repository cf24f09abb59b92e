// Base64 for protocols: on one line, with zero bytes, and strictly.

#include "tuzutil/BASE64.h"

#include "support/texts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace {

TString Text(std::string_view bytes) {
    return TString(bytes.data(), static_cast<unsigned int>(bytes.size()), ' ');
}

std::string Plain(TString const &text) {
    char const *const data = text;
    return std::string(data, text.length());
}

// The bytes, or "fault N".
std::string Strictly(std::string_view text, TBase64::Foreign foreign = TBase64::refuseForeign) {
    TString bytes("before");
    unsigned int fault = 77;
    if (TBase64::DecodeStrict(Text(text), bytes, &fault, foreign)) {
        EXPECT_EQ(fault, 0u);
        return Plain(bytes);
    }
    EXPECT_EQ(bytes, "before");
    return "fault " + std::to_string(fault);
}

std::string Ignoring(std::string_view text) {
    return Strictly(text, TBase64::ignoreForeign);
}

std::string const fsAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The first fault of a text without foreign characters to ignore, group by group; 0 if there is none.
std::size_t FaultOf(std::string const &text) {
    for (std::size_t at = 0; at < text.size(); at += 4) {
        std::string const group = text.substr(at, 4);
        for (std::size_t place = 0; place < group.size(); ++place) {
            bool const isPadding = group[place] == '=';
            bool const isForeign = !isPadding && fsAlphabet.find(group[place]) == std::string::npos;
            if (isForeign || (isPadding && place < 2) || (!isPadding && place == 3 && group[2] == '='))
                return at + place + 1;
        }
        if (group.size() < 4)
            return text.size() + 1;
        if (group[2] == '=' && fsAlphabet.find(group[1]) % 16 != 0)
            return at + 2;
        if (group[2] != '=' && group[3] == '=' && fsAlphabet.find(group[2]) % 4 != 0)
            return at + 3;
        if (group[3] == '=' && at + 4 < text.size())
            return at + 5;
    }
    return 0;
}

// The same after foreign characters were taken out.
std::size_t FaultIgnoring(std::string const &text) {
    std::string kept;
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '=' || fsAlphabet.find(text[i]) != std::string::npos) {
            kept += text[i];
            places.push_back(i + 1);
        }
    }
    places.push_back(text.size() + 1);
    std::size_t const fault = FaultOf(kept);
    return fault == 0 ? 0 : places[fault - 1];
}

} // namespace

TEST(Base64, EncodeLineHasNoLineFeed) {
    EXPECT_EQ(TBase64::EncodeLine("Man"), "TWFu");
    EXPECT_EQ(TBase64::EncodeLine("M"), "TQ==");
    EXPECT_EQ(TBase64::EncodeLine("Ma"), "TWE=");
    EXPECT_EQ(Plain(TBase64::EncodeLine(Text(std::string_view("\0anna\0pw", 8)))), "AGFubmEAcHc=");
    EXPECT_TRUE(TBase64::EncodeLine("").IsNilString());
    EXPECT_TRUE(TBase64::EncodeLine(TString()).IsNilString());
    for (unsigned int size = 0; size <= 300; ++size) {
        std::string const bytes(size, '\xa7');
        std::string lines = Plain(TBase64::Encode(Text(bytes)));
        lines.erase(std::remove(lines.begin(), lines.end(), '\n'), lines.end());
        EXPECT_EQ(Plain(TBase64::EncodeLine(Text(bytes))), lines) << size;
    }
}

TEST(Base64, DecodeBinaryKeepsZeroBytes) {
    EXPECT_EQ(Plain(TBase64::DecodeBinary("AGFubmEAcHc=")), std::string("\0anna\0pw", 8));
    EXPECT_EQ(TBase64::Decode("AGFubmEAcHc="), "");
    EXPECT_EQ(Plain(TBase64::DecodeBinary("AAAA")), std::string(3, '\0'));
    EXPECT_EQ(TBase64::DecodeBinary("TW Fu"), "Man");
    EXPECT_EQ(TBase64::DecodeBinary("TWE"), "Ma");
    EXPECT_TRUE(TBase64::DecodeBinary(TString()).IsNilString());
    for (unsigned int size = 0; size <= 300; ++size) {
        std::string const bytes(size, '\0');
        EXPECT_EQ(Plain(TBase64::DecodeBinary(TBase64::Encode(Text(bytes)))), bytes);
    }
}

TEST(Base64, DecodeStrictTakesWhatEncodeLineMakes) {
    EXPECT_EQ(Strictly("TWFu"), "Man");
    EXPECT_EQ(Strictly("TWE="), "Ma");
    EXPECT_EQ(Strictly("TQ=="), "M");
    EXPECT_EQ(Strictly(""), "");
    EXPECT_EQ(Strictly("AGFubmEAcHc="), std::string("\0anna\0pw", 8));
    support::TRandom random;
    for (unsigned int size = 0; size <= 300; ++size) {
        std::string bytes;
        for (unsigned int i = 0; i < size; ++i)
            bytes += static_cast<char>(random.Below(256));
        EXPECT_EQ(Strictly(Plain(TBase64::EncodeLine(Text(bytes)))), bytes);
    }
}

TEST(Base64, DecodeStrictNamesTheFirstFault) {
    EXPECT_EQ(Strictly("TW*u"), "fault 3");
    EXPECT_EQ(Strictly("TWFuTWFu\nTWFu"), "fault 9");
    EXPECT_EQ(Strictly(" TWFu"), "fault 1");
    EXPECT_EQ(Strictly("TWFu "), "fault 5");
    EXPECT_EQ(Strictly(std::string_view("TWFu\0", 5)), "fault 5");
    EXPECT_EQ(Strictly("TWF\xfc"), "fault 4");
    EXPECT_EQ(Strictly("T"), "fault 2");
    EXPECT_EQ(Strictly("TW"), "fault 3");
    EXPECT_EQ(Strictly("TWF"), "fault 4");
    EXPECT_EQ(Strictly("TQ="), "fault 4");
    EXPECT_EQ(Strictly("="), "fault 1");
    EXPECT_EQ(Strictly("T==="), "fault 2");
    EXPECT_EQ(Strictly("TQ=a"), "fault 4");
    EXPECT_EQ(Strictly("TWFu="), "fault 5");
    EXPECT_EQ(Strictly("TQ==="), "fault 5");
    EXPECT_EQ(Strictly("TQ==TWFu"), "fault 5");
    EXPECT_EQ(Strictly("TR=="), "fault 2"); // bits that belong to no byte
    EXPECT_EQ(Strictly("TWF="), "fault 3");
}

TEST(Base64, DecodeStrictIgnoresForeignCharactersByChoice) {
    EXPECT_EQ(Ignoring("TW\r\nFu\r\n"), "Man");
    EXPECT_EQ(Ignoring("*T-W F\xfcu*"), "Man");
    EXPECT_EQ(Ignoring("T Q = =\n"), "M");
    EXPECT_EQ(Ignoring("\r\n"), "");
    EXPECT_EQ(Ignoring("T\nR=="), "fault 3");
    EXPECT_EQ(Ignoring("TQ==\r\nTWFu"), "fault 7");
    EXPECT_EQ(Ignoring("TQ==\n="), "fault 6");
    EXPECT_EQ(Ignoring("TQ=\n"), "fault 5");
    EXPECT_EQ(Ignoring("TWFuT\n"), "fault 7");
    EXPECT_EQ(Ignoring(" T= "), "fault 3");
    std::string const bytes(500, 'z');
    EXPECT_EQ(Ignoring(Plain(TBase64::Encode(Text(bytes)))), bytes);
}

TEST(Base64, DecodeStrictFindsTheFaultOfEveryShortText) {
    support::ForEveryText(
        7,
        [](std::string const &text) {
            for (std::string const &before : {std::string(), std::string("TWFuTWFuTWFuTWFuTWFu")}) {
                std::string const whole = before + text;
                TString const decoded = TBase64::DecodeBinary(Text(whole));
                std::size_t const fault = FaultOf(whole);
                ASSERT_EQ(Strictly(whole), fault ? "fault " + std::to_string(fault) : Plain(decoded)) << whole;
                std::size_t const ignoring = FaultIgnoring(whole);
                std::string kept = whole;
                kept.erase(std::remove(kept.begin(), kept.end(), '*'), kept.end());
                ASSERT_EQ(Ignoring(whole),
                          ignoring ? "fault " + std::to_string(ignoring) : Plain(TBase64::DecodeBinary(Text(kept))))
                    << whole;
            }
        },
        "AQR=*"); // all bits zero; the lower four zero; some bit set
}

TEST(Base64, DecodeStrictMayReplaceItsArgument) {
    TString text("TWFu");
    EXPECT_TRUE(TBase64::DecodeStrict(text, text));
    EXPECT_EQ(text, "Man");
    EXPECT_FALSE(TBase64::DecodeStrict(text, text));
    EXPECT_EQ(text, "Man");
}

TEST(Base64, SecretsStaySecret) {
    TString bytes;
    EXPECT_TRUE(TBase64::DecodeStrict(TStringAndWipe("TWFu"), bytes));
    EXPECT_TRUE(bytes.IsWipeOnDelete());
    EXPECT_TRUE(TBase64::DecodeBinary(TStringAndWipe("TWFu")).IsWipeOnDelete());
    EXPECT_TRUE(TBase64::EncodeLine(TStringAndWipe("Man")).IsWipeOnDelete());
    EXPECT_TRUE(TBase64::DecodeStrict("TWFu", bytes));
    EXPECT_FALSE(bytes.IsWipeOnDelete());
    EXPECT_FALSE(TBase64::DecodeBinary("TWFu").IsWipeOnDelete());
    EXPECT_FALSE(TBase64::EncodeLine("Man").IsWipeOnDelete());
    EXPECT_FALSE(TBase64::Encode(TStringAndWipe("Man")).IsWipeOnDelete());
    EXPECT_FALSE(TBase64::Decode(TStringAndWipe("TWFu")).IsWipeOnDelete());
}
