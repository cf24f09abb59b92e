// TStringIcmp and TStringAndWipe.

#include "tstring_support.h"

TEST(TStringIcmp, EqualityIgnoresCase) {
    TStringIcmp const verb("retr");
    EXPECT_TRUE(verb.isEqual("RETR"));
    EXPECT_TRUE(verb.IsEqual(TStringIcmp("ReTr")));
    EXPECT_TRUE(verb.isEqual(TString("RETR")));
    EXPECT_FALSE(verb.isEqual("RETRY"));
    EXPECT_FALSE(verb.isEqual("RET"));
    EXPECT_TRUE(verb == "RETR");
    EXPECT_TRUE("RETR" == verb);
    EXPECT_TRUE(TString("RETR") == verb);
    EXPECT_TRUE(verb == TString("RETR"));
    EXPECT_TRUE(verb != "LIST");
}

TEST(TStringIcmp, ComparesPointersBeforeText) {
    TStringIcmp const null;
    TStringIcmp const nil("");
    EXPECT_TRUE(null.IsEqual(TStringIcmp()));
    EXPECT_FALSE(null.IsEqual(nil));
    EXPECT_FALSE(nil.IsEqual(null));
    TString const shared("abc");
    EXPECT_TRUE(TStringIcmp(shared).IsEqual(TStringIcmp(shared)));
    EXPECT_EQ(Data(TStringIcmp(shared)), Data(shared));
}

TEST(TStringIcmp, CopiesShareTheBuffer) {
    TStringIcmp const original("abc");
    TStringIcmp copy(original);
    EXPECT_EQ(Data(copy), Data(original));
    copy = TStringIcmp("other");
    copy = original;
    EXPECT_EQ(Data(copy), Data(original));
    EXPECT_FALSE(copy.isEqual(static_cast<char const *>(nullptr)));
    EXPECT_TRUE(TStringIcmp().isEqual(static_cast<char const *>(nullptr)));
}

TEST(TStringIcmp, ComparisonStopsAtTheFirstZeroByte) {
    EXPECT_TRUE(TStringIcmp(Text(std::string("a\0b", 3))).isEqual("A"));
}

TEST(TStringAndWipe, ConstructorsSetTheFlagOnTheBuffer) {
    EXPECT_TRUE(TStringAndWipe("secret").IsWipeOnDelete());
    TString const plain("secret");
    TStringAndWipe const wiped(plain);
    EXPECT_TRUE(plain.IsWipeOnDelete());
    EXPECT_EQ(Data(wiped), Data(plain));
    TStringAndWipe const copy(wiped);
    EXPECT_TRUE(copy.IsWipeOnDelete());
}

TEST(TStringAndWipe, DefaultConstructedCannotHoldTheFlag) {
    TStringAndWipe secret;
    EXPECT_TRUE(secret.IsNull());
    EXPECT_FALSE(secret.IsWipeOnDelete());
    secret = TString("plain");
    EXPECT_FALSE(secret.IsWipeOnDelete());
    secret = TStringAndWipe("flagged");
    EXPECT_TRUE(secret.IsWipeOnDelete());
    secret = "also flagged";
    EXPECT_TRUE(secret.IsWipeOnDelete());
    EXPECT_EQ(Bytes(secret), "also flagged");
    secret = nullptr;
    EXPECT_TRUE(secret.IsNull());
}

TEST(TStringAndWipe, WipeZeroesTheSharedBufferAndKeepsTheLength) {
    TStringAndWipe secret("secret");
    TString const copy(secret);
    secret.Wipe();
    EXPECT_EQ(Bytes(secret), std::string(6, '\0'));
    EXPECT_EQ(Bytes(copy), std::string(6, '\0'));
    TStringAndWipe none;
    none.Wipe();
    EXPECT_TRUE(none.IsNull());
}

TEST(TStringAndWipe, TheFlagIsLostWhereTextIsBuiltAnew) {
    TStringAndWipe secret("secret");
    EXPECT_FALSE((secret + "x").IsWipeOnDelete());
    EXPECT_TRUE((secret + TString("x")).IsWipeOnDelete());
    EXPECT_TRUE(secret.subString(2).IsWipeOnDelete());
    secret.change("s", "S");
    EXPECT_FALSE(secret.IsWipeOnDelete());
}
