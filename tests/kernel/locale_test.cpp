// What follows the locale of the process, and what must not.

#include "support/CaptureTrace.h"
#include "support/Expect.h"
#include "support/ForeignLocale.h"
#include "tuzutil/TDATETIM.h"

#include <string>

namespace {

class ForeignLocale : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(fLocale.IsSet()); }

    TForeignLocale const fLocale;
};

} // namespace

TEST_F(ForeignLocale, RealNumbersAreReadWithItsDecimalPoint) {
    EXPECT_EQ(TString("1,5").asDouble(), 1.5);
    EXPECT_EQ(TString("1.5").asDouble(), 1.0); // up to what it does not know
    EXPECT_EQ(TString(" -2,5e3x").asDouble(), -2500.0);
}

TEST_F(ForeignLocale, LettersHaveItsCase) {
    EXPECT_EQ(Bytes(TString("\xC9X\xDF").lowerCase()), "\xE9x\xDF");
    EXPECT_EQ(Bytes(TString("\xE9x\xDF").upperCase()), "\xC9X\xDF");
    EXPECT_TRUE(TStringIcmp("\xC9t").isEqual("\xE9T"));
    EXPECT_FALSE(TStringIcmp("\xC9").isEqual("\xE8"));
}

TEST_F(ForeignLocale, MessagesPrintRealsAsTheRuntimeDoes) {
    EXPECT_STREQ(TTextMessage("%.2f|%6.1f", 1.5, -2.5), "1,50|  -2,5");
    EXPECT_TRUE(TTextMessage(u"%.2f", 1.5).QueryMessage() == TString(u"1,50"));
}

TEST_F(ForeignLocale, IntegersHaveNoPointsBetweenTheirDigits) {
    EXPECT_TRUE(TString(1234567L) == "1234567");
    EXPECT_STREQ(TTextMessage("%d", 1234567), "1234567");
    EXPECT_EQ(TString("1.234").asInt(), 1);
}

TEST_F(ForeignLocale, NamesOfTheLibraryAreComparedInAscii) {
    static TTrace::Category const category(8, "Caf\xE9");
    EXPECT_EQ(TTrace::FindCategory("CAF\xE9"), &category);
    EXPECT_EQ(TTrace::FindCategory("CAF\xC9"), nullptr);
    EXPECT_EQ(TTrace::QueryComponentFromName("PROTOCOL"), 8u);
    EXPECT_EQ(TDateTime::MonthFromName("MAR"), 2);
}

#if !defined(_WIN32) // no locale under Wine folds ASCII letters to others
namespace {

class LocaleWithDotlessI : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(fLocale.IsSet()); }

    TForeignLocale const fLocale{"dotless"};
};

std::string Repeated(std::string const &piece, unsigned int times) {
    std::string all;
    for (unsigned int i = 0; i < times; ++i)
        all += piece;
    return all;
}

} // namespace

TEST_F(LocaleWithDotlessI, LettersOfTextsOfAnyLengthHaveItsCase) {
    for (unsigned int times = 1; times <= 50; ++times) {
        std::string const text = Repeated("HIJhij", times);
        EXPECT_EQ(Bytes(TString(text).lowerCase()), Repeated("h\xFDjhij", times));
        EXPECT_EQ(Bytes(TString(text).upperCase()), Repeated("HIJH\xDDJ", times));
    }
}

TEST_F(LocaleWithDotlessI, CapitalIAndSmallIAreDifferentLetters) {
    for (unsigned int length = 1; length <= 100; ++length) {
        std::string const capitals(length, 'X'), small(length, 'x');
        EXPECT_TRUE(TStringIcmp(capitals.c_str()).isEqual(small.c_str())) << length;
        EXPECT_FALSE(TStringIcmp((capitals + "I").c_str()).isEqual((small + "i").c_str())) << length;
        EXPECT_FALSE(TStringIcmp(("I" + capitals).c_str()).isEqual(("i" + small).c_str())) << length;
        EXPECT_TRUE(TStringIcmp((capitals + "I").c_str()).isEqual((small + "\xFD").c_str())) << length;
        EXPECT_TRUE(TStringIcmp((capitals + "\xDD").c_str()).isEqual((small + "i").c_str())) << length;
    }
}
#endif
