// Names in UTF-8, which is the encoding of most Linux systems, and the same names in 16-bit text.

#include "tuzutil/FILENAME.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>

namespace {

class Utf8Names : public testing::Test {
protected:
    Utf8Names() { EXPECT_STREQ(std::setlocale(LC_CTYPE, "C.UTF-8"), "C.UTF-8"); }
    ~Utf8Names() override { std::setlocale(LC_CTYPE, "C"); }
};

} // namespace

// A character beyond the first 65,536 is one character in the locale and two units in 16-bit text.
TEST_F(Utf8Names, EqualTheSameNamesIn16BitText) {
    TFileName const narrow("mail\\\xF0\x9F\x98\x80\xC3\x84.txt");
    EXPECT_TRUE(narrow == TFileName(u"MAIL\\\U0001F600\u00E4.TXT"));
    EXPECT_TRUE(TFileName(u"MAIL\\\U0001F600\u00E4.TXT") == narrow);
    EXPECT_FALSE(narrow == TFileName(u"mail\\\U0001F601\u00E4.txt"));
    EXPECT_FALSE(narrow == TFileName(u"mail\\\U0001F600"));
    EXPECT_FALSE(narrow == TFileName(u"mail\\\xD83D"));
}

TEST_F(Utf8Names, ThatAreNotValidEqualOnlyThemselves) {
    TFileName const cut("a\xF0\x9F\x98");
    EXPECT_TRUE(cut == TFileName("a\xF0\x9F\x98"));
    EXPECT_FALSE(cut == TFileName(u"a\U0001F600"));
    EXPECT_FALSE(cut == TFileName(u"a"));
}

TEST_F(Utf8Names, In16BitTextBecomeNativeNamesInUtf8) {
    TString const native = TFileName(u"mail\\\U0001F600.txt").QueryNative();
    EXPECT_EQ(std::string(native.c_str()), "mail/\xF0\x9F\x98\x80.txt");
}
