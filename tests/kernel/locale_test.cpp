// What follows the locale of the process, and what must not.

#include "support/CaptureTrace.h"
#include "support/Expect.h"
#include "support/ForeignLocale.h"
#include "tuzutil/TDATETIM.h"

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
