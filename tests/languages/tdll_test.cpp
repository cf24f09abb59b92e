#include "tuzutil/TDLL.h"

#include "support/CaptureTrace.h"
#include "support/Expect.h"
#include "support/Languages.h"
#include "support/TempFolder.h"
#include "tuzutil/EXCEPTN.h"
#include "tuzutil/UNICODE.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <system_error>

namespace {

char const fsFile[] = "src/utility/TDLL";

std::string Lengths() {
    return LanguageLibrary("German\\lengths.dll");
}

// The units of 16-bit text, whose flag is checked.
std::u16string Units(TString const &text) {
    EXPECT_TRUE(text.IsUnicode());
    std::string const bytes = Bytes(text);
    std::u16string units(bytes.size() / 2, u'\0');
    std::memcpy(units.data(), bytes.data(), bytes.size());
    return units;
}

std::string X(std::size_t count) {
    return std::string(count, 'x');
}

std::u16string WideX(std::size_t count) {
    return std::u16string(count, u'x');
}

class TClosedDll : public TDll {
public:
    TClosedDll() : TDll(static_cast<void *>(nullptr)) { fOpen = 0; }
};

class TWideNamedDll : public TDll {
public:
    TWideNamedDll() : TDll(static_cast<void *>(nullptr)) { fName = TString(u"wide"); }
};

void ExpectCannotOpen(char const *name) {
    try {
        TDll dll(name);
        ADD_FAILURE() << "opened " << name;
    } catch (TAccessError &problem) {
        std::string const text = problem.text(0);
        std::string const frame = "Unable to find or open " + std::string(name) + ", GetLastError=";
        ASSERT_EQ(text.substr(0, frame.size()), frame);
        unsigned int error = 0;
        unsigned int same = 1;
        int end = 0;
        EXPECT_EQ(std::sscanf(text.c_str() + frame.size(), "%u(x%8X)%n", &error, &same, &end), 2);
        EXPECT_EQ(frame.size() + static_cast<std::size_t>(end), text.size());
        EXPECT_EQ(error, same);
        EXPECT_NE(error, 0u);
        EXPECT_EQ(problem.errorId(), 1u);
        EXPECT_EQ(problem.textCount(), 1u);
        EXPECT_EQ(problem.code(), std::error_code(static_cast<int>(error), std::system_category()));
        EXPECT_EQ(problem.isRecoverable(), 1);
        EXPECT_STREQ(problem.errorCodeGroup(), "Quendix Library");
        ASSERT_EQ(problem.locationCount(), 1u);
        EXPECT_STREQ(problem.locationAtIndex(0)->fileName(), fsFile);
    }
}

} // namespace

TEST(TDll, Example) {
    TDll const texts(Lengths().c_str());
    TString const narrow = texts.loadMessage(1, 0);
    TString const wide = texts.loadMessage(1, 1);
    EXPECT_EQ(Bytes(narrow), "a");
    EXPECT_EQ(Units(wide), u"a");
}

TEST(TDll, IsOpenOnceItIsLoaded) {
    TDll dll(Lengths().c_str());
    EXPECT_EQ(dll.isOpen(), 1);
    EXPECT_NE(dll.GetHandle(), nullptr);
    dll.open();
    EXPECT_EQ(dll.isOpen(), 1);
}

TEST(TDll, StaysLoadedWhenItsObjectsAreGone) {
    void *handle;
    {
        TDll const first(Lengths().c_str());
        handle = first.GetHandle();
    }
    EXPECT_EQ(Bytes(TDll(handle).loadMessage(1, 0)), "a");
    EXPECT_EQ(TDll(Lengths().c_str()).GetHandle(), handle);
}

TEST(TDll, CopiesShareTheHandle) {
    TDll const first(Lengths().c_str());
    TDll const copy(first);
    TDll other(static_cast<void *>(nullptr));
    other = first;
    EXPECT_EQ(copy.GetHandle(), first.GetHandle());
    EXPECT_EQ(other.GetHandle(), first.GetHandle());
    EXPECT_EQ(other.isOpen(), 1);
    EXPECT_EQ(Bytes(copy.loadMessage(1, 0)), "a");
}

TEST(TDll, TheEndingMayBeLeftOut) {
    std::string const name = LanguageLibrary("German\\lengths");
    EXPECT_EQ(TDll(name.c_str()).GetHandle(), TDll(Lengths().c_str()).GetHandle());
}

TEST(TDll, CutsTextsAt256Characters) {
    TDll const dll(Lengths().c_str());
    struct {
        unsigned long number;
        std::string text;
    } const rows[] = {
        {255, X(254) + "y"},
        {256, X(255) + "y"},
        {257, X(255) + "y"},
        {300, X(255) + "y"},
    };
    for (auto const &row : rows) {
        SCOPED_TRACE(row.number);
        EXPECT_EQ(Bytes(dll.loadMessage(row.number, 0)), row.text);
        EXPECT_EQ(Units(dll.loadMessage(row.number, 1)), std::u16string(row.text.begin(), row.text.end()));
    }
}

TEST(TDll, CutsBetweenCharactersInTheProcesssEncoding) {
    TDll const dll(Lengths().c_str());
    EXPECT_EQ(Units(dll.loadMessage(400, 1)), WideX(255) + u"\u00C4");
    EXPECT_EQ(Units(dll.loadMessage(401, 1)), WideX(254) + u"\u20AC");
    EXPECT_EQ(Units(dll.loadMessage(402, 1)), WideX(255) + u'\xD83D');
#if defined(_WIN32)
    EXPECT_EQ(Bytes(dll.loadMessage(400, 0)), X(255) + "\xC4");
    EXPECT_EQ(Bytes(dll.loadMessage(401, 0)), X(254) + "\x80");
    EXPECT_EQ(Bytes(dll.loadMessage(402, 0)).substr(0, 256), X(255) + "?");
#else
    EXPECT_EQ(Bytes(dll.loadMessage(400, 0)), X(255));
    EXPECT_EQ(Bytes(dll.loadMessage(401, 0)), X(254));
    EXPECT_EQ(Bytes(dll.loadMessage(402, 0)), X(255));
#endif
}

TEST(TDll, LoadsTextsOfAnyCharacters) {
    TDll const dll(Lengths().c_str());
    EXPECT_EQ(Units(dll.loadMessage(1000, 1)), u"G\u00FCnther said \"caf\u00E9\" \\ \t\n");
    EXPECT_EQ(Units(dll.loadMessage(1001, 1)), u"\u65E5\u672C\u8A9E");
    EXPECT_EQ(Bytes(dll.loadMessage(1002, 0)), "abc");
#if defined(_WIN32)
    EXPECT_EQ(Bytes(dll.loadMessage(1000, 0)), "G\xFCnther said \"caf\xE9\" \\ \t\n");
    EXPECT_EQ(Bytes(dll.loadMessage(1001, 0)), "???");
#else
    EXPECT_EQ(Bytes(dll.loadMessage(1000, 0)), "G\xC3\xBCnther said \"caf\xC3\xA9\" \\ \t\n");
    EXPECT_EQ(Bytes(dll.loadMessage(1001, 0)), "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E");
#endif
    EXPECT_FALSE(dll.loadMessage(1000, 0).IsUnicode());
}

TEST(TDll, GivesUtf8OnEverySystemInUtf8Mode) {
    TDll const dll(Lengths().c_str());
    TUnicode::SetUtf8Mode(1);
    EXPECT_EQ(Bytes(dll.loadMessage(1000, 0)), "G\xC3\xBCnther said \"caf\xC3\xA9\" \\ \t\n");
    EXPECT_EQ(Bytes(dll.loadMessage(1001, 0)), "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E");
    EXPECT_FALSE(dll.loadMessage(1001, 0).IsUnicode());
    EXPECT_EQ(Bytes(dll.loadMessage(256, 0)), X(255) + "y");
    EXPECT_EQ(Bytes(dll.loadMessage(300, 0)), X(255) + "y");
    EXPECT_EQ(Bytes(dll.loadMessage(400, 0)), X(255));
    EXPECT_EQ(Bytes(dll.loadMessage(401, 0)), X(254));
    EXPECT_EQ(Bytes(dll.loadMessage(402, 0)), X(255));
    EXPECT_EQ(Units(dll.loadMessage(400, 1)), WideX(255) + u"\u00C4");
    EXPECT_THROW(dll.loadMessage(3, 0), TAccessError);
    TUnicode::SetUtf8Mode(0);
}

TEST(TDll, NumbersGoFrom0To65535) {
    TDll const dll(Lengths().c_str());
    EXPECT_EQ(Bytes(dll.loadMessage(0, 0)), "number zero");
    EXPECT_EQ(Bytes(dll.loadMessage(65535, 0)), "the last");
}

TEST(TDll, AnAbsentTextIsAnError) {
    TDll const dll(Lengths().c_str());
    // In a block with others, in none, empty, and what would be present by its low 16 bits.
    for (unsigned long const number : {3ul, 30000ul, 2ul, 65536ul, 65537ul, 0xFFFFFFFFul}) {
        for (int const wide : {0, 1}) {
            SCOPED_TRACE(number);
            ExpectThrows<TAccessError>({.text = "Error getting message", .file = fsFile, .errorId = 2},
                                       [&] { dll.loadMessage(number, wide); });
        }
    }
}

TEST(TDll, AnAbsentTextIsTracedWithTheLibrarysName) {
    TDll const dll(Lengths().c_str());
    TCapture capture(4);
    EXPECT_THROW(dll.loadMessage(30000, 0), TAccessError);
    ASSERT_EQ(capture.Entries().size(), 1u);
    std::string const text = capture.Entries()[0].text;
    unsigned int error = 0;
    int end = 0;
    EXPECT_EQ(std::sscanf(text.c_str(), "LoadString Error %u getting message 30000 from file %n", &error, &end), 1);
    EXPECT_NE(error, 0u);
    EXPECT_EQ(text.substr(static_cast<std::size_t>(end)), Lengths());
    capture.ExpectOne(4, "String", text.c_str(), fsFile);
    capture.trace.SetLevel(8);
    EXPECT_THROW(dll.loadMessage(30000, 0), TAccessError);
    capture.ExpectNone();
}

TEST(TDll, FromAHandleItHasNoName) {
    TDll const none(static_cast<void *>(nullptr));
    EXPECT_EQ(none.isOpen(), 1);
    EXPECT_EQ(none.GetHandle(), nullptr);
    ExpectThrows<TAccessError>({.text = "Error getting message", .file = fsFile, .errorId = 2},
                               [&] { none.loadMessage(1, 0); });
    TDll const adopted(TDll(Lengths().c_str()).GetHandle());
    TCapture capture(4);
    EXPECT_THROW(adopted.loadMessage(30000, 1), TAccessError);
    ASSERT_EQ(capture.Entries().size(), 1u);
    std::string const text = capture.Entries()[0].text;
    EXPECT_EQ(text.substr(text.find("getting")), "getting message 30000 from file ");
}

TEST(TDll, AWideNameIsTracedAsOne) {
    TWideNamedDll const dll;
    TCapture capture(4);
    EXPECT_THROW(dll.loadMessage(17, 0), TAccessError);
    ASSERT_EQ(capture.Entries().size(), 1u);
    std::string const text = capture.Entries()[0].text;
    EXPECT_EQ(text.substr(text.find("getting")), "getting message 17 from file wide");
}

TEST(TDll, AClosedOneHasNoTexts) {
    TClosedDll const dll;
    EXPECT_EQ(dll.isOpen(), 0);
    ExpectThrows<TAccessError>({.text = "Dll not loaded", .file = fsFile}, [&] { dll.loadMessage(1, 0); });
    ExpectThrows<TAccessError>({.text = "Dll not loaded", .file = fsFile}, [&] { dll.loadMessage(1, 1); });
}

TEST(TDll, AFailureCarriesTheWordsOfTheLoader) {
    TTempFolder folder;
    folder.AddFile("text.dll",
                   "this is not a library, however long the text in it becomes, and it becomes long enough");
    struct {
        std::string name;
        char const *word; // what the loader says
    } const rows[] = {
#if defined(_WIN32)
        {folder.Name("text.dll"), ""},
        {folder.Name("missing.dll"), ""},
        {"tuzutil no such library.dll", ""},
#else
        {folder.Name("text.dll"), "text.dll: invalid ELF header"},
        {folder.Name("text"), "text.dll: invalid ELF header"},
        {folder.Name("missing.dll"), "missing.dll: cannot open shared object file: No such file or directory"},
        {"tuzutil no such library.dll", "tuzutil no such library.dll: cannot open shared object file: No such file"},
#endif
    };
    for (auto const &row : rows) {
        SCOPED_TRACE(row.name);
        try {
            TDll dll(row.name.c_str());
            ADD_FAILURE() << "opened";
        } catch (TAccessError const &problem) {
            ASSERT_NE(problem.systemText(), nullptr);
            std::string const words = problem.systemText();
            EXPECT_FALSE(words.empty());
            EXPECT_NE(words.find(row.word), std::string::npos) << words;
            EXPECT_EQ(words.find('\n'), std::string::npos) << words;
            EXPECT_EQ(words.find('%'), std::string::npos) << words;
            std::string const what = problem.what();
            EXPECT_EQ(what.substr(what.size() - words.size() - 1), words + ")");
        }
    }
}

TEST(TDll, AMissingTextCarriesTheSystemsError) {
    TDll const dll(Lengths().c_str());
    try {
        dll.loadMessage(30000, 0);
        ADD_FAILURE() << "nothing was thrown";
    } catch (TAccessError const &problem) {
        EXPECT_NE(problem.code().value(), 0);
        EXPECT_EQ(problem.systemText(), nullptr);
        EXPECT_NE(std::string(problem.what()).find("; system error "), std::string::npos);
    }
}

TEST(TDll, WhatIsNoLibraryCannotBeOpened) {
    TTempFolder folder;
    folder.AddFile("empty.dll");
    folder.AddFile("text.dll", "this is not a library");
    folder.AddFile("short.dll", "MZ\x7F"
                                "ELF");
    folder.AddFile("half.dll", "\x7F"
                               "ELF" +
                                   std::string(100, '\1'));
    folder.AddFolder("folder.dll");
    for (char const *const name :
         {"empty.dll", "text.dll", "short.dll", "half.dll", "folder.dll", "missing.dll", "no\\such\\folder.dll"})
        ExpectCannotOpen(folder.Name(name).c_str());
    ExpectCannotOpen("tuzutil no such library.dll");
    ExpectCannotOpen("");
    ExpectCannotOpen(std::string(200, 'x').c_str());
    EXPECT_THROW(TDll(static_cast<char const *>(nullptr)), TAccessError);
}
