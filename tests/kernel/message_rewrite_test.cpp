// The rewriting of formats for a printf without numbered arguments, and the block of values for it.

#include "tuzutil/TXTMSG.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

using namespace std::string_literals;

namespace {

// What a block should hold.
class TBlock {
public:
    template <typename... Values>
    explicit TBlock(Values const &...values) {
        (Append(values), ...);
    }
    bool operator==(TBlock const &other) const { return fBytes == other.fBytes; }
    void Append(int value) { fBytes.append(reinterpret_cast<char const *>(&value), 4); }
    void Append(long long value) { fBytes.append(reinterpret_cast<char const *>(&value), 8); }
    void Append(double value) { fBytes.append(reinterpret_cast<char const *>(&value), 8); }
    void Append(void const *value) { fBytes.append(reinterpret_cast<char const *>(&value), sizeof value); }
    void Append(std::string const &bytes) { fBytes += bytes; }

private:
    std::string fBytes;
};

struct TRewritten {
    std::string format;
    TBlock block;
    unsigned long size;
};

TRewritten Narrow(TTextMessage const &message, char const *format) {
    TString out("old");
    TTextMessage::CharP block;
    unsigned long const size = message.ValidateArgs(format, out, block);
    EXPECT_FALSE(out.IsUnicode());
    EXPECT_EQ(out.length(), std::strlen(format) + 11);
    std::string const text(static_cast<char const *>(out), out.length());
    std::string const shown = text.c_str();
    EXPECT_EQ(text, shown + std::string(text.size() - shown.size(), '\0'));
    return {shown, TBlock(std::string(block, block.QueryLength())), size};
}

TRewritten Wide(TTextMessage const &message, std::u16string const &format) {
    TString out("old");
    TTextMessage::CharP block;
    unsigned long const size = message.ValidateArgsW(format.c_str(), out, block);
    EXPECT_TRUE(out.IsUnicode());
    std::u16string text(out.length() / 2, u'\0');
    std::memcpy(text.data(), static_cast<char const *>(out), out.length());
    std::u16string const shown = text.c_str();
    EXPECT_EQ(text, shown + std::u16string(text.size() - shown.size(), u'\0'));
    EXPECT_EQ(text.size(), shown.size() <= format.size() + 11 ? format.size() + 11 : shown.size() + 11);
    return {std::string(shown.begin(), shown.end()), TBlock(std::string(block, block.QueryLength())), size};
}

char const *Characters(TTextMessage const &message, unsigned int index) {
    return *message[index].QueryString();
}

#define EXPECT_REWRITTEN(rewritten, text, expected, added)                                                             \
    do {                                                                                                               \
        TRewritten const result = rewritten;                                                                           \
        EXPECT_EQ(result.format, text);                                                                                \
        EXPECT_TRUE(result.block == expected);                                                                         \
        EXPECT_EQ(result.size, static_cast<unsigned long>(added));                                                     \
    } while (false)

} // namespace

TEST(MessageRewrite, NumbersOfArgumentsAreTakenOut) {
    TTextMessage const message("", 1234, "inbox", 255u);
    EXPECT_REWRITTEN(Narrow(message, "%2$s has %1$d, %3$08X"), "%s has %d, %08X",
                     TBlock(Characters(message, 1), 1234, 255), 21 + 5 + 20 + 20 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%3$*1$.*3$d|"), "%*.*d|", TBlock(1234, 255, 255), 12 + 1234 + 255 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%1$d%1$d"), "%d%d", TBlock(1234, 1234), 8 + 40);
}

TEST(MessageRewrite, LiteralTextAndDoubledPercentsAreKept) {
    TTextMessage const message("", 5);
    EXPECT_REWRITTEN(Narrow(message, ""), "", TBlock(), 0);
    EXPECT_REWRITTEN(Narrow(message, "plain"), "plain", TBlock(), 5);
    EXPECT_REWRITTEN(Narrow(message, "100%% of %d"), "100%% of %d", TBlock(5), 11 + 20);
}

TEST(MessageRewrite, FlagsWidthsAndPrecisionsAreKept) {
    TTextMessage const message("", 5);
    EXPECT_REWRITTEN(Narrow(message, "%-+ #0d"), "%-+ #0d", TBlock(5), 7 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%5.3d"), "%5.3d", TBlock(5), 5 + 20 + 20 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%30.40d"), "%30.40d", TBlock(5), 7 + 30 + 40 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%.d"), "%.d", TBlock(5), 3 + 20 + 20);
}

TEST(MessageRewrite, EveryConversionHasItsSlotAndSize) {
    for (char const c : "Xdioux"s) {
        TTextMessage const message("", -5);
        EXPECT_REWRITTEN(Narrow(message, ("%l"s + c).c_str()), "%"s + c, TBlock(-5), 3 + 20);
        EXPECT_REWRITTEN(Wide(message, u"%h" + std::u16string(1, static_cast<char16_t>(c))), "%"s + c, TBlock(-5),
                         3 + 20);
    }
    for (char const c : "EFGefg"s) {
        TTextMessage const message("", 2.5);
        EXPECT_REWRITTEN(Narrow(message, ("%L"s + c).c_str()), "%"s + c, TBlock(2.5), 3 + 40);
    }
    int object = 0;
    TTextMessage const message("", 120, TagVarVoidPtr(&object), "abc", u"abcd");
    EXPECT_REWRITTEN(Narrow(message, "%c%hc%lc"), "%c%hc%lc", TBlock(120, 0, 0), 8 + 10 + 10 + 10);
    EXPECT_REWRITTEN(Narrow(message, "%2$lp"), "%p", TBlock(static_cast<void const *>(&object)), 5 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%3$ls"), "%s", TBlock(Characters(message, 2)), 5 + 3);
    EXPECT_REWRITTEN(Narrow(message, "%4$s"), "%ls", TBlock(Characters(message, 3)), 4 + 8);
}

TEST(MessageRewrite, WideFormatsMarkEveryText) {
    TTextMessage const message("", "abc", u"abcd", 5);
    EXPECT_REWRITTEN(Wide(message, u"%s"), "%hs", TBlock(Characters(message, 0)), 2 + 3);
    EXPECT_REWRITTEN(Wide(message, u"%S"), "%hS", TBlock(Characters(message, 0)), 2 + 3);
    EXPECT_REWRITTEN(Wide(message, u"%2$s"), "%ls", TBlock(Characters(message, 1)), 4 + 4);
    EXPECT_REWRITTEN(Wide(message, u"%2$S"), "%lS", TBlock(Characters(message, 1)), 4 + 4);
    EXPECT_REWRITTEN(Wide(message, u"%3$s"), "%s", TBlock(static_cast<void const *>(nullptr)), 4 + 20);
    EXPECT_REWRITTEN(Wide(message, u"%3$S"), "%S", TBlock(static_cast<void const *>(nullptr)), 4 + 20);
    EXPECT_REWRITTEN(Wide(message, u"%d"), "%d", TBlock(0), 2 + 20);
}

TEST(MessageRewrite, WideFormatGrowsWithItsMarks) {
    std::u16string format;
    std::string expected;
    TTextMessage const message("", "");
    for (int i = 0; i < 40; ++i) {
        format += u"%1$s";
        expected += "%hs";
    }
    EXPECT_EQ(Wide(message, format).format, expected);
    std::u16string shortFormat;
    std::string longer;
    for (int i = 0; i < 12; ++i) {
        shortFormat += u"%s";
        longer += i == 0 ? "%hs" : "%s"; // only the first has an argument
    }
    EXPECT_EQ(Wide(message, shortFormat).format, longer);
    TTextMessage many("", "", "", "", "", "", "", "", "", "", "", "", "");
    EXPECT_EQ(Wide(many, shortFormat).format.size(), 36u);
}

TEST(MessageRewrite, NarrowUpperCaseSIsWrittenWithoutAValue) {
    TTextMessage const message("", "abc", u"abcd", 5);
    EXPECT_REWRITTEN(Narrow(message, "%S|%d"), "%S|%d", TBlock(0), 5 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%2$S"), "%lS", TBlock(), 4);
    EXPECT_REWRITTEN(Narrow(message, "%3$S|"), "%|", TBlock(), 5);
}

TEST(MessageRewrite, ConversionNBecomesAQuestionMark) {
    TTextMessage const message("", 5, 6);
    EXPECT_REWRITTEN(Narrow(message, "%n|%d"), "%?|%d", TBlock(6), 5 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%2$5ln"), "%5?", TBlock(), 6 + 20);
}

TEST(MessageRewrite, UnknownConversionsAreCopiedAndUseNoArgument) {
    TTextMessage const message("", 5, 6);
    EXPECT_REWRITTEN(Narrow(message, "%y %d"), "%y %d", TBlock(5), 5 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%I64d %d"), "%I64d %d", TBlock(5), 8 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%3$lld %d"), "%ld %d", TBlock(5), 9 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%2$y"), "%y", TBlock(), 4);
    EXPECT_REWRITTEN(Narrow(message, "%hjd %d"), "%jd %d", TBlock(5), 7 + 20);
    EXPECT_REWRITTEN(Wide(message, u"%ltd %d"), "%td %d", TBlock(5), 7 + 20);
    EXPECT_REWRITTEN(Narrow(message, "50%"), "50%", TBlock(), 3);
    EXPECT_REWRITTEN(Narrow(message, "%5%d"), "%5%d", TBlock(5), 4 + 20 + 20);
}

TEST(MessageRewrite, IntegersOf64BitsHaveEightBytes) {
    TTextMessage const message("", 5, 1ll << 40, ~0ull, 2.5);
    EXPECT_REWRITTEN(Narrow(message, "%lld %d"), "%lld %lld", TBlock(5ll, 1ll << 40), 7 + 20 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%3$-25zx|"), "%-25llx|", TBlock(-1ll), 9 + 25 + 20);
    EXPECT_REWRITTEN(Wide(message, u"%jd %u"), "%lld %llu", TBlock(5ll, 1ll << 40), 6 + 20 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%2$5s|%4$lld"), "%5c|%c", TBlock(int{'?'}, int{'?'}), 12 + 20 + 20 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%4$a"), "%a", TBlock(2.5), 4 + 40);
}

TEST(MessageRewrite, CountsFromArguments) {
    TTextMessage const message("", 30, -3, 4294967295u);
    EXPECT_REWRITTEN(Narrow(message, "%*d"), "%*d", TBlock(30, -3), 3 + 30 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%2$*2$d"), "%*d", TBlock(-3, -3), 7 + 20 + 20); // never less than 20
    EXPECT_REWRITTEN(Narrow(message, "%1$.*1$d"), "%.*d", TBlock(30, 30), 8 + 30 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%1$.*2$d"), "%.*d", TBlock(-3, 30), 8 - 3 + 20); // as it stands
    EXPECT_REWRITTEN(Narrow(message, "%1$*3$d"), "%*d", TBlock(-1, 30), 4294967295u);  // saturated
}

TEST(MessageRewrite, MismatchesPutZerosOfTheSlotsWidth) {
    TTextMessage const message("", "abc", 2.5, 5);
    EXPECT_REWRITTEN(Narrow(message, "%d"), "%d", TBlock(0), 2 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%f"), "%f", TBlock(0.0), 2 + 40);
    EXPECT_REWRITTEN(Narrow(message, "%c"), "%c", TBlock(0), 2 + 10);
    EXPECT_REWRITTEN(Narrow(message, "%p"), "%p", TBlock(static_cast<void const *>(nullptr)), 2 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%3$s"), "%s", TBlock(static_cast<void const *>(nullptr)), 4 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%9$d"), "%d", TBlock(0), 4 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%0$d"), "%d", TBlock(0), 4 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%*3$d"), "%*d", TBlock(5, 0), 5 + 20 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%3$*2$d"), "%*d", TBlock(0, 5), 7 + 20 + 20);
    EXPECT_REWRITTEN(Narrow(message, "%3$.*1$d"), "%.*d", TBlock(0, 5), 8 + 20 + 20);
}

TEST(MessageRewrite, TextsThatAreMissingAreNull) {
    TTextMessage const message("", TagVar(TagVar::string), TagVar(nullptr));
    void const *const null = nullptr;
    EXPECT_REWRITTEN(Narrow(message, "%s%s"), "%s%s", TBlock(null, null), 4);
}

TEST(MessageRewrite, SizeIsNeverNegativeNorBeyond32Bits) {
    TTextMessage const message("", -2147483647 - 1);
    EXPECT_EQ(Narrow(message, "%1$.*1$d").size, 0u);
    EXPECT_EQ(Narrow(message, "%2000000000d%2000000000d%2000000000d").size, 4294967295u);
}

TEST(MessageRewrite, RepeatedValuesAreAppendedEachTime) {
    std::string format;
    TTextMessage const message("", 2.5);
    TBlock expected;
    for (int i = 0; i < 100; ++i) {
        format += "%1$f";
        expected.Append(2.5);
    }
    TString out;
    TTextMessage::CharP block;
    message.ValidateArgs(format.c_str(), out, block);
    EXPECT_TRUE(TBlock(std::string(block, block.QueryLength())) == expected);
    EXPECT_EQ(TTextMessage::CharP().QueryLength(), 0u);
}
