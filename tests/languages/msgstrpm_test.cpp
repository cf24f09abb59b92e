#include "tuzutil/MSGSTRPM.h"

#include "support/CaptureTrace.h"
#include "support/Expect.h"
#include "support/Languages.h"
#include "support/TempFolder.h"
#include "tuzutil/EXCEPTN.h"
#include "tuzutil/NLSRESRC.h"
#include "tuzutil/UNICODE.h"
#include "utility/languages/text_library.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace std::string_literals;

namespace {

char const fsFile[] = "src/utility/MSGSTRPM";

TTextMessage::StoreID const &Mail() {
    static TTextMessage::StoreID const mail(TString("Mail"), ExplicitInit);
    return mail;
}

std::string Library() {
    return LanguageLibrary("German\\mail.dll");
}

std::string Text(long number, char const *text) {
    TTextMessage::StoreID const mail(TString("Mail"), ExplicitInit); // this thread's
    return Bytes(TTextMessage(mail, 1, number, text, 5, "Anna").QueryMessage());
}

// Texts are looked for in the folder of the suite's languages; every test begins in German.
class TLibraryStoreTest : public testing::Test {
protected:
    TLibraryStoreTest() : fTemplate(TSearchNLSPath::fsNLSpath) {
        TSearchNLSPath::fsNLSpath = LanguageLibrary("%L\\%N").c_str();
        TSearchNLSPath::SetLang("German");
    }
    ~TLibraryStoreTest() override {
        TSearchNLSPath::fsNLSpath = fTemplate;
        TSearchNLSPath::SetLang(nullptr);
    }

private:
    TString fTemplate;
};

// The entries of this family as "level text"; those of the search and of the library are theirs to test.
std::vector<std::string> Entries(TCapture &capture) {
    std::vector<std::string> texts;
    for (TSeenEntry const &entry : capture.Entries()) {
        if (entry.category != "Message")
            continue;
        EXPECT_EQ(entry.file, fsFile);
        EXPECT_NE(entry.line, 0u);
        texts.push_back(std::to_string(entry.level) + " " + entry.text);
    }
    capture.Entries().clear();
    return texts;
}

using Lines = std::vector<std::string>;

} // namespace

TEST_F(TLibraryStoreTest, Example) {
    TSearchNLSPath::SetLang("German");
    TTextMessage::StoreID const mail(TString("Mail"), ExplicitInit);
    TTextMessageStorePM store(mail, "mail");
    EXPECT_EQ(Bytes(TTextMessage(mail, 1, 17, "%2$s has %1$d messages", 5, "Anna").QueryMessage()),
              "Anna hat 5 Nachrichten");
}

TEST_F(TLibraryStoreTest, TextsComeFromTheLibraryOfTheLanguage) {
    TCapture capture;
    TTextMessageStorePM store(Mail(), "mail");
    EXPECT_EQ(Entries(capture), (Lines{"16 For message store Mail, loaded DLL " + Library()}));
    EXPECT_EQ(Text(17, "%2$s has %1$d messages"), "Anna hat 5 Nachrichten");
    EXPECT_EQ(Text(19, "all"), "alles");
    capture.ExpectNone();
    EXPECT_EQ(TTextMessageStore::Find(Mail()), &store);
    EXPECT_EQ(store.IsCached(), 0);
}

TEST_F(TLibraryStoreTest, TextsAreNarrowOrWideAsAsked) {
    TTextMessageStorePM store(Mail(), "mail");
    TString const wide = store.GetMsg(1, 18, 1);
    EXPECT_TRUE(wide.IsUnicode());
    EXPECT_EQ(Bytes(wide), "G\0r\0\xFC\0\xDF\0e\0"s);
    TString const narrow = store.GetMsg(1, 18, 0);
    EXPECT_FALSE(narrow.IsUnicode());
#if defined(_WIN32)
    EXPECT_EQ(Bytes(narrow), "Gr\xFC\xDF"
                             "e");
#else
    EXPECT_EQ(Bytes(narrow), "Gr\xC3\xBC\xC3\x9F"
                             "e");
#endif
    EXPECT_EQ(Bytes(TTextMessageStore::GetMsg(Mail(), 1, 18, 1)), Bytes(wide));
}

TEST_F(TLibraryStoreTest, SetsMakeNoDifference) {
    TTextMessageStorePM store(Mail(), "mail");
    for (long const set : {-1l, 0l, 1l, 2l, 65537l})
        EXPECT_EQ(Bytes(store.GetMsg(set, 19, 0)), "alles") << set;
}

TEST_F(TLibraryStoreTest, AMissingTextIsTracedAndTheDefaultTextStandsIn) {
    TTextMessageStorePM store(Mail(), "mail");
    TCapture capture(8);
    EXPECT_EQ(Text(20, "%2$s has %1$d messages"), "Anna has 5 messages");
    capture.ExpectOne(8, "Message",
                      "Could not find message (Mail,20), TAccessError(Error getting message,x00000002,1), Using "
                      "default message",
                      fsFile);
    capture.trace.SetLevel(4);
    EXPECT_EQ(Text(20, "default"), "default");
    ASSERT_EQ(capture.Entries().size(), 1u);
    EXPECT_EQ(capture.Entries()[0].category, "String");
    EXPECT_EQ(capture.Entries()[0].file, "src/utility/TDLL");
    capture.Entries().clear();
    capture.trace.SetLevel(~12u);
    EXPECT_EQ(Text(20, "default"), "default");
    capture.ExpectNone();
}

TEST_F(TLibraryStoreTest, NumbersThatNoLibraryHasAreMissing) {
    TTextMessageStorePM store(Mail(), "mail");
    TCapture capture(8);
    EXPECT_EQ(store.GetMsg(1, 65536 + 17, 0).length(), 0u);
    EXPECT_EQ(store.GetMsg(1, -1, 1).length(), 0u);
    EXPECT_EQ(store.GetMsg(1, -65536 + 17, 0).length(), 0u);
    auto const missing = [](char const *number) {
        return "8 Could not find message (Mail,"s + number +
               "), TAccessError(Error getting message,x00000002,1), Using default message";
    };
    EXPECT_EQ(Entries(capture), (Lines{missing("65553"), missing("4294967295"), missing("4294901777")}));
}

TEST_F(TLibraryStoreTest, InLanguageCNoLibraryIsLookedFor) {
    TSearchNLSPath::SetLang(nullptr);
    TCapture capture;
    TTextMessageStorePM store(Mail(), "mail");
    capture.ExpectOne(16, "Message", "LANG is \"C\" using default messages for Message Store Mail", fsFile);
    EXPECT_EQ(Text(17, "default"), "default");
    EXPECT_EQ(store.GetMsg(1, 17, 1).length(), 0u);
    capture.ExpectNone();
    EXPECT_EQ(TTextMessageStore::Find(Mail()), &store);
}

TEST_F(TLibraryStoreTest, TheLanguageIsReadOnce) {
    TSearchNLSPath::SetLang("C");
    auto store = std::make_unique<TTextMessageStorePM>(Mail(), "mail");
    TSearchNLSPath::SetLang("German");
    EXPECT_EQ(Text(19, "default"), "default");
    store = nullptr;
    store = std::make_unique<TTextMessageStorePM>(Mail(), "mail");
    TSearchNLSPath::SetLang("C");
    EXPECT_EQ(Text(19, "default"), "alles");
}

TEST_F(TLibraryStoreTest, WithoutALibraryTheProgramIsAsked) {
    TSearchNLSPath::SetLang("French");
    std::string const program = TSearchNLSPath("tuzutil no such library").FindInPath();
    TCapture capture(24);
    TTextMessageStorePM store(Mail(), "no_such_texts");
    EXPECT_EQ(Entries(capture), (Lines{"16 For message store Mail, loaded DLL " + program}));
    EXPECT_EQ(Text(17, "default"), "default");
    EXPECT_EQ(Entries(capture),
              (Lines{"8 Could not find message (Mail,17), TAccessError(Error getting message,x00000002,1), Using "
                     "default message"}));
}

TEST_F(TLibraryStoreTest, WhatIsNoLibraryIsTracedAndTheDefaultTextsStandIn) {
    TTempFolder folder;
    folder.AddFile("German\\mail.dll", "this is not a library");
    TSearchNLSPath::fsNLSpath = folder.Name("%L\\%N").c_str();
    TCapture capture(24);
    TTextMessageStorePM store(Mail(), "mail");
    Lines const entries = Entries(capture);
    ASSERT_EQ(entries.size(), 1u);
    std::string const frame =
        "8 For message store Mail, could not load DLL mail, TAccessError(Unable to find or open " +
        folder.Name("German\\mail.dll") + ", GetLastError=";
    ASSERT_EQ(entries[0].substr(0, frame.size()), frame);
    unsigned int error = 0;
    unsigned int same = 1;
    int end = 0;
    EXPECT_EQ(std::sscanf(entries[0].c_str() + frame.size(), "%u(x%8X),1,1), Using C locale%n", &error, &same, &end),
              2);
    EXPECT_EQ(frame.size() + static_cast<std::size_t>(end), entries[0].size());
    EXPECT_EQ(error, same);
    EXPECT_EQ(Text(17, "default"), "default");
    EXPECT_EQ(store.GetMsg(1, 17, 1).length(), 0u);
    capture.ExpectNone();
}

TEST_F(TLibraryStoreTest, ALibraryThatIsOpenServesAsWell) {
    TSearchNLSPath::SetLang("C");
    TCapture capture;
    auto library = std::make_unique<TDll>(Library().c_str());
    TTextMessageStorePM store(Mail(), *library);
    library = nullptr;
    EXPECT_EQ(Text(17, "%2$s has %1$d messages"), "Anna hat 5 Nachrichten");
    capture.ExpectNone();
}

TEST_F(TLibraryStoreTest, NamesOfNothingEndNoProgram) {
    for (char const *const name : {static_cast<char const *>(nullptr), "", "..", "no\\such\\folder"}) {
        TTextMessageStorePM store(Mail(), name);
        EXPECT_EQ(Text(17, "default"), "default");
    }
}

TEST_F(TLibraryStoreTest, ASecondOneOfItsNameLooksForNothing) {
    TTextMessageStorePM first(Mail(), "mail");
    TCapture capture;
    ExpectThrows<TInvalidRequest>({.text = "Duplicate Message Store", .file = "src/utility/TXTMSG"},
                                  [] { TTextMessageStorePM second(Mail(), "mail"); });
    ExpectThrows<TInvalidRequest>({.text = "Duplicate Message Store", .file = "src/utility/TXTMSG"},
                                  [] { TTextMessageStorePM third(Mail(), TDll(static_cast<void *>(nullptr))); });
    capture.ExpectNone();
    EXPECT_EQ(TTextMessageStore::Find(Mail()), &first);
    EXPECT_EQ(Text(19, "default"), "alles");
}

TEST_F(TLibraryStoreTest, ItsMessagesHaveTheirDefaultTextsWhenItIsGone) {
    auto store = std::make_unique<TTextMessageStorePM>(Mail(), "mail");
    EXPECT_EQ(Text(19, "default"), "alles");
    store = nullptr;
    EXPECT_EQ(TTextMessageStore::Find(Mail()), nullptr);
    EXPECT_EQ(Text(19, "default"), "default");
}

TEST_F(TLibraryStoreTest, MayBeAskedBySeveralThreads) {
    TTextMessageStorePM store(Mail(), "mail");
    TCapture capture; // so that missing texts are traced
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int j = 0; j < 200; ++j) {
                ASSERT_EQ(Text(17, "default"), "Anna hat 5 Nachrichten");
                ASSERT_EQ(Text(20, "default"), "default");
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(Entries(capture).size(), 800u);
}

// Failures that no system of a test has.

namespace {

[[noreturn]] void ThrowOurs() {
    TInvalidRequest problem("first", 255, TException::recoverable);
    problem.appendText("second");
    throw problem;
}

[[noreturn]] void ThrowForeign() {
    throw std::runtime_error("not of the library");
}

template <typename Find, typename Open>
Lines OpenEntries(Find find, Open open) {
    TCapture capture;
    EXPECT_EQ(text_library::OpenLibrary("Mail", "msgs", find, open), nullptr);
    return Entries(capture);
}

char const *Found() {
    return "path";
}

std::unique_ptr<TDll> Opened(char const *) {
    return nullptr;
}

} // namespace

TEST(TLibraryStoreFailures, OfTheSearchAreTraced) {
    EXPECT_EQ(OpenEntries([] { return static_cast<char const *>(nullptr); }, Opened),
              (Lines{"8 For message store Mail, could not find DLL msgs. Using C locale"}));
    EXPECT_EQ(OpenEntries([]() -> char const * { ThrowOurs(); }, Opened),
              (Lines{"8 For message store Mail, could not find DLL msgs, TInvalidRequest(second,255,2), Using C "
                     "locale"}));
    EXPECT_EQ(OpenEntries([]() -> char const * { ThrowForeign(); }, Opened),
              (Lines{"8 For message store Mail, could not find DLL msgs, unknown exception, Using C locale"}));
}

TEST(TLibraryStoreFailures, OfTheLibraryAreTraced) {
    EXPECT_EQ(OpenEntries(Found, [](char const *) -> std::unique_ptr<TDll> { ThrowOurs(); }),
              (Lines{"8 For message store Mail, could not load DLL msgs, TInvalidRequest(second,255,2), Using C "
                     "locale"}));
    EXPECT_EQ(OpenEntries(Found, [](char const *) -> std::unique_ptr<TDll> { ThrowForeign(); }),
              (Lines{"8 For message store Mail, could not load DLL msgs, unknown exception, Using C locale"}));
}

TEST(TLibraryStoreFailures, OfATextAreTraced) {
    TCapture capture;
    EXPECT_EQ(text_library::LoadText("Mail", 3, 17, []() -> TString { ThrowOurs(); }).length(), 0u);
    EXPECT_EQ(Entries(capture),
              (Lines{"8 Could not find message (Mail,17), TInvalidRequest(second,x000000FF,2), Using default "
                     "message"}));
    EXPECT_EQ(text_library::LoadText("Mail", 3, 17, []() -> TString { ThrowForeign(); }).length(), 0u);
    EXPECT_EQ(Entries(capture),
              (Lines{"8 Could not find message (Mail,3,17), unknown exception, Using default message"}));
}

TEST_F(TLibraryStoreTest, InUtf8ModeTheTextsOfAStoreAndTheArgumentsHaveOneEncoding) {
    TTextMessageStorePM store(Mail(), "mail");
    TUnicode::SetUtf8Mode(1);
    std::string const narrow = Bytes(store.GetMsg(1, 18, 0));
    TTextMessage const message(Mail(), 1, 18, "greetings");
    std::string const text = Bytes(message.QueryMessage());
    std::string const mixed = Bytes(TTextMessage("%s %s %s", store.GetMsg(1, 18, 0), store.GetMsg(1, 18, 1),
                                                 "Gr\xC3\xBC\xC3\x9F"
                                                 "e")
                                        .QueryMessage());
    TUnicode::SetUtf8Mode(0);
    std::string const greetings = "Gr\xC3\xBC\xC3\x9F"
                                  "e";
    EXPECT_EQ(narrow, greetings);
    EXPECT_EQ(text, greetings);
    EXPECT_EQ(mixed, greetings + " " + greetings + " " + greetings);
}
