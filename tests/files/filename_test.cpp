#include "tuzutil/FILENAME.h"

#include "support/Expect.h"
#include "support/LocaleC.h"
#include "tuzutil/TXTMSG.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <vector>

namespace {

// Rows run with both encodings: a name as it is, and as 16-bit text.
TFileName Wide(TFileName const &name) {
    if (name.IsNull())
        return name;
    std::u16string units;
    for (unsigned int i = 0; i < name.length(); ++i)
        units += static_cast<char16_t>(static_cast<char *>(name)[i]);
    return TFileName(units.c_str());
}

// The ASCII text of a name, "(null)" for a null one; checks that the encoding is the one expected.
std::string Text(TFileName const &name, bool isWide) {
    std::string const bytes = Bytes(name);
    if (name.IsNull())
        return bytes;
    EXPECT_EQ(name.IsUnicode(), isWide);
    if (!name.IsUnicode())
        return bytes;
    std::string text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        EXPECT_EQ(bytes[i + 1], 0);
        text += bytes[i];
    }
    return text;
}

struct TPartsRow {
    char const *name;
    char const *path;
    char const *last;
    char const *first;
    char const *rest;
};

TPartsRow const fsParts[] = {
    {"a\\b\\c.txt", "a\\b", "c.txt", "a", "b\\c.txt"},
    {"c.txt", "", "c.txt", "c.txt", "(null)"},
    {"C:\\mail\\inbox", "C:\\mail", "inbox", "C:", "mail\\inbox"},
    {"\\x", "", "x", "", "x"},
    {"\\", "", "", "", ""},
    {"a\\", "a", "", "a", ""},
    {"a\\\\b", "a\\", "b", "a", "\\b"},
    {"a/b", "", "a/b", "a/b", "(null)"},
    {"", "", "", "", "(null)"},
};

} // namespace

TEST(TFileName, Example) {
    TFileName const name("C:\\mail\\inbox.mbx");
    TFileName const folder = name.QueryPath();
    TFileName const other(folder, TFileName("drafts"));
    EXPECT_STREQ(Data(folder), "C:\\mail");
    EXPECT_STREQ(Data(other), "C:\\mail\\drafts");
    EXPECT_TRUE(name == TFileName(u"c:\\MAIL\\Inbox.mbx"));
#if defined(_WIN32)
    EXPECT_EQ(Bytes(name.QueryNative()), "C:\\mail\\inbox.mbx");
#else
    EXPECT_EQ(Bytes(name.QueryNative()), "C:/mail/inbox.mbx");
#endif
}

TEST(TFileName, ConvertsFromAndToPathsOfTheStandardLibrary) {
    std::filesystem::path const path = std::filesystem::path("mail") / "users" / "anna.mbx";
    TFileName const name(path);
    EXPECT_TRUE(name == TFileName("mail\\users\\anna.mbx"));
    EXPECT_EQ(name.NativePath(), path);
    EXPECT_EQ(TFileName("mail\\users\\anna.mbx").NativePath(), path);
    EXPECT_EQ(TFileName(u"mail\\users\\anna.mbx").NativePath(), path);
    EXPECT_TRUE(TFileName().NativePath().empty());
    EXPECT_TRUE(TFileName("").NativePath().empty());
    EXPECT_EQ(TFileName(std::filesystem::path()).length(), 0u);
}

TEST(TFileName, IsATextWithoutFieldsOfItsOwn) {
    static_assert(sizeof(TFileName) == sizeof(TString));
    EXPECT_TRUE(TFileName().IsNull());
    TString const text("a\\b");
    TFileName name(text);
    EXPECT_EQ(Data(name), Data(text));
    TFileName copy(name);
    EXPECT_EQ(Data(copy), Data(text));
    TFileName &same = copy;
    copy = same;
    EXPECT_EQ(Data(copy), Data(text));
    copy = TFileName("other");
    EXPECT_EQ(Bytes(copy), "other");
}

TEST(TFileName, KnowsItsKindItsDelimitersAndDrives) {
    EXPECT_EQ(TFileName("a").QueryType(), 1);
    EXPECT_EQ(TFileName(u"a").QueryType(), 0);
    EXPECT_EQ(TFileName("a").QueryType(), TFileName::local);
    EXPECT_EQ(TFileName(u"a").QueryType(), TFileName::unicode);
    EXPECT_EQ(TFileName().QueryType(), TFileName::local);
    EXPECT_EQ(Bytes(TFileName::QueryDelimLocal()), "\\");
    EXPECT_FALSE(TFileName::QueryDelimLocal().IsUnicode());
    EXPECT_EQ(Bytes(TFileName::QueryDelimUnicode()), std::string("\\\0", 2));
    EXPECT_TRUE(TFileName::QueryDelimUnicode().IsUnicode());
    EXPECT_EQ(&TFileName::QueryDelimLocal(), &TFileName::fsDelimLocal);
    EXPECT_EQ(&TFileName::QueryDelimUnicode(), &TFileName::fsDelimUnicode);
    EXPECT_EQ(TFileName::SupportsDrive(), 1);
}

TEST(TFileName, IsSplitAtItsFirstAndAtItsLastDelimiter) {
    for (TPartsRow const &row : fsParts) {
        for (bool const isWide : {false, true}) {
            SCOPED_TRACE(std::string(row.name) + (isWide ? " (16-bit)" : ""));
            TFileName const name = isWide ? Wide(row.name) : TFileName(row.name);
            EXPECT_EQ(Text(name.QueryPath(), isWide), row.path);
            EXPECT_EQ(Text(name.QueryName(), isWide), row.last);
            EXPECT_EQ(Text(name.QueryFirstName(), isWide), row.first);
            EXPECT_EQ(Text(name.QueryFirstRest(), isWide), row.rest);
        }
    }
}

TEST(TFileName, WithoutADelimiterTheNameIsACopyOfTheWhole) {
    TFileName const name("inbox");
    EXPECT_EQ(Data(name.QueryName()), Data(name));
    EXPECT_EQ(Data(name.QueryFirstName()), Data(name));
    EXPECT_TRUE(name.QueryPath().IsNilString());
    EXPECT_TRUE(name.QueryFirstRest().IsNull());
}

TEST(TFileName, APartOfANullNameIsEmpty) {
    TFileName const none;
    EXPECT_TRUE(none.QueryPath().IsNilString());
    EXPECT_TRUE(none.QueryDrive().IsNilString());
    EXPECT_TRUE(none.QueryName().IsNull());
    EXPECT_TRUE(none.QueryFirstName().IsNull());
    EXPECT_TRUE(none.QueryFirstRest().IsNull());
    EXPECT_FALSE(none.IsDrive());
    EXPECT_FALSE(none.IsDelimAtBegin());
    EXPECT_FALSE(none.IsDelimAtEnd());
    EXPECT_FALSE(none.IsFullPath());
    EXPECT_TRUE(TFileName().FixDelim().IsNull());
}

TEST(TFileName, AColonMakesADriveAndDelimitersAPath) {
    struct {
        char const *name;
        bool isDrive, isAtBegin, isAtEnd, isFull;
        char const *drive;
    } const rows[] = {
        {"\\x", false, true, false, true, ""},         {"C:\\x", true, false, false, true, "C"},
        {"C:x", true, false, false, false, "C"},       {"x", false, false, false, false, ""},
        {"x\\", false, false, true, false, ""},        {"\\", false, true, true, true, ""},
        {"a\\b:c", true, false, false, false, "a\\b"}, {"a:b:\\", true, false, true, false, "a"},
        {"\\C:x", true, true, false, false, "\\C"},    {"/x", false, false, false, false, ""},
        {"", false, false, false, false, ""},          {"C:", true, false, false, false, "C"},
    };
    for (auto const &row : rows) {
        for (bool const isWide : {false, true}) {
            SCOPED_TRACE(std::string(row.name) + (isWide ? " (16-bit)" : ""));
            TFileName const name = isWide ? Wide(row.name) : TFileName(row.name);
            EXPECT_EQ(name.IsDrive(), row.isDrive);
            EXPECT_EQ(name.IsDelimAtBegin(), row.isAtBegin);
            EXPECT_EQ(name.IsDelimAtEnd(), row.isAtEnd);
            EXPECT_EQ(name.IsFullPath(), row.isFull);
            EXPECT_EQ(Text(name.QueryDrive(), isWide), row.drive);
        }
    }
}

TEST(TFileName, HalfACharacterIsNoDelimiter) {
    TFileName name(TString("\\", 1, ' '));
    name.SetUnicode(1);
    EXPECT_FALSE(name.IsDelimAtBegin());
    EXPECT_FALSE(name.IsDelimAtEnd());
    EXPECT_EQ(name.QueryName().length(), 1u);
    EXPECT_EQ(name.FixDelim().length(), 1u);
    EXPECT_FALSE(TFileName(u"\u5C5C").IsDelimAtBegin());
    EXPECT_FALSE(TFileName(u"\u5C61").IsDelimAtEnd());
}

TEST(TFileName, JoinsWithExactlyOneDelimiter) {
    struct {
        char const *first, *second, *joined;
    } const rows[] = {
        {"a\\", "\\b", "a\\b"}, {"a", "b", "a\\b"}, {"a\\", "b", "a\\b"}, {"a", "\\b", "a\\b"},
        {"a\\", "\\", "a\\"},   {"\\", "\\", "\\"}, {"C:", "x", "C:\\x"}, {"a\\\\", "\\\\b", "a\\\\\\b"},
        {"", "b", "\\b"},       {"a", "", "a\\"},   {"", "", "\\"},
    };
    for (auto const &row : rows) {
        SCOPED_TRACE(std::string(row.first) + " + " + row.second);
        EXPECT_EQ(Text(TFileName(TFileName(row.first), TFileName(row.second)), false), row.joined);
        EXPECT_EQ(Text(TFileName(Wide(row.first), Wide(row.second)), true), row.joined);
        if (*row.first && *row.second) {
            EXPECT_EQ(Text(TFileName(TFileName(row.first), Wide(row.second)), true), row.joined);
            EXPECT_EQ(Text(TFileName(Wide(row.first), TFileName(row.second)), true), row.joined);
        }
    }
    EXPECT_EQ(Text(TFileName(TFileName(), TFileName("b")), false), "\\b");
    EXPECT_EQ(Text(TFileName(TFileName("a"), TFileName()), false), "a\\");
}

TEST(TFileName, EmptyFolderIsTheRoot) {
    EXPECT_STREQ(Data(TFileName(TFileName(""), TFileName("inbox"))), "\\inbox");
    EXPECT_STREQ(Data(TFileName(TFileName("mail").QueryPath(), TFileName("inbox"))), "\\inbox");
}

TEST(TFileName, TurnsSlashesIntoDelimitersInABufferOfItsOwn) {
    TFileName name("a/b/c");
    TFileName const shared(name);
    EXPECT_EQ(&name.FixDelim(), &name);
    EXPECT_EQ(Bytes(name), "a\\b\\c");
    EXPECT_EQ(Bytes(shared), "a/b/c");
    TFileName wide(u"a/b\u2F2F/\\");
    EXPECT_TRUE(wide.FixDelim() == TFileName(u"a\\b\u2F2F\\\\"));
    EXPECT_EQ(Bytes(TFileName("").FixDelim()), "");
}

TEST(TFileName, EqualityIgnoresLetterCaseAndEncoding) {
    std::vector<TFileName> const names = {"C:\\Mail\\INBOX.mbx", "c:\\mail\\inbox.MBX", u"C:\\MAIL\\inbox.mbx",
                                          u"c:\\mail\\Inbox.Mbx"};
    for (TFileName const &a : names) {
        for (TFileName const &b : names) {
            EXPECT_TRUE(a == b);
            EXPECT_FALSE(a != b);
        }
        for (TFileName const &other : {TFileName("C:\\Mail\\INBOX"), TFileName(u"C:\\Mail\\INBOX.mbxx"),
                                       TFileName("C:/Mail/INBOX.mbx"), TFileName(""), TFileName(u""), TFileName()}) {
            EXPECT_FALSE(a == other);
            EXPECT_FALSE(other == a);
            EXPECT_TRUE(a != other);
        }
    }
    EXPECT_TRUE(TFileName("") == TFileName(u""));
    EXPECT_TRUE(TFileName() == TFileName());
    EXPECT_FALSE(TFileName() == TFileName(""));
}

TEST(TFileName, ComparesWithOtherTexts) {
    TFileName const name("Inbox");
    TString const text("INBOX");
    EXPECT_TRUE(name == text);
    EXPECT_TRUE(text == name);
    EXPECT_TRUE(name == "inbox");
    EXPECT_TRUE("inbox" == name);
    EXPECT_FALSE(name != text);
    EXPECT_FALSE(text != name);
    EXPECT_TRUE(name != "outbox");
    EXPECT_TRUE("outbox" != name);
}

TEST(TFileName, WhatHasNo16BitFormEqualsNo16BitName) {
    TLocaleC const locale;
    TFileName const invalid("a\xFF\xFE");
    EXPECT_TRUE(invalid == invalid);
    EXPECT_TRUE(invalid == TFileName("A\xFF\xFE"));
    EXPECT_FALSE(invalid == TFileName(u"a??"));
    EXPECT_FALSE(invalid == TFileName(u"a"));
}

TEST(TFileName, ComesInTheEncodingAskedFor) {
    TLocaleC const locale;
    TFileName const narrow("a\\b");
    TFileName const wide(u"a\\b");
    EXPECT_EQ(Data(narrow.QueryNameLocal()), Data(narrow));
    EXPECT_EQ(Data(wide.QueryNameUnicode()), Data(wide));
    EXPECT_EQ(Text(wide.QueryNameLocal(), false), "a\\b");
    EXPECT_EQ(Text(narrow.QueryNameUnicode(), true), "a\\b");
    EXPECT_EQ(Bytes(TFileName(u"a\u4E2Db").QueryNameLocal()), "a?b");
}

TEST(TFileName, ConvertsAsMessagesDo) {
    EXPECT_EQ(Bytes(TFileName(u"").QueryNameLocal()), std::string("\0", 1));
    EXPECT_EQ(Bytes(TFileName("").QueryNameUnicode()), std::string("\0\0", 2));
    EXPECT_EQ(Text(TFileName().QueryNameUnicode(), true), "("); // of "(null)"
    EXPECT_TRUE(TFileName().QueryNameLocal().IsNull());
    EXPECT_EQ(Text(TFileName(u"100%d").QueryNameLocal(), false), "100%d");
}

TEST(TFileName, BecomesANarrowValue) {
    TagVar const value = TFileName(u"a\\b").operator TagVar();
    ASSERT_TRUE(value.IsString());
    EXPECT_EQ(Bytes(*value.QueryString()), "a\\b");
    EXPECT_EQ(Bytes(TTextMessage("<%s>", TFileName(u"a\\b").QueryNameLocal()).QueryMessage()), "<a\\b>");
}

TEST(TFileName, CrossesToTheSystemAndBack) {
#if defined(_WIN32)
    EXPECT_EQ(Bytes(TFileName::FromNative("dir/sub\\file")), "dir/sub\\file");
    EXPECT_EQ(Bytes(TFileName("a\\b/c").QueryNative()), "a\\b/c");
    EXPECT_TRUE(TFileName(u"a\\b").QueryNative().IsUnicode());
#else
    EXPECT_EQ(Bytes(TFileName::FromNative("dir/sub/file")), "dir\\sub\\file");
    EXPECT_EQ(Bytes(TFileName("a\\b/c").QueryNative()), "a/b/c");
    EXPECT_EQ(Bytes(TFileName(u"a\\b").QueryNative()), "a/b");
#endif
    EXPECT_TRUE(TFileName::FromNative(nullptr).IsNull());
    EXPECT_TRUE(TFileName().QueryNative().IsNull());
    TFileName const shared("a\\b");
    shared.QueryNative();
    EXPECT_EQ(Bytes(shared), "a\\b");
}
