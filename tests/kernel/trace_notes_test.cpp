// The entries that the library's own trace points write, as a destination sees them.

#include "support/CaptureTrace.h"

#include "tuzutil/BINSTRM.h"
#include "tuzutil/DOTBYTE.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TRACEP.h"

#include <cstdio>
#include <sstream>

namespace {

constexpr char const *fsMessageFile = "src/utility/TXTMSG";

// The texts of the entries that formatting a message with the arguments writes.
template <typename Char, typename... Arguments>
std::vector<std::string> FaultsOf(Char const *format, Arguments const &...arguments) {
    TTextMessage::StoreID const store(TString("store"), ExplicitInit);
    TTextMessage message(store, 2, 3, format, TagVar(arguments)...);
    message.SetDebugging("raiser.cpp", 12);
    TCapture capture(TTrace::warning, 1);
    message.QueryMessage();
    std::vector<std::string> texts;
    for (TSeenEntry const &entry : capture.Entries()) {
        EXPECT_EQ(entry.level, 8u);
        EXPECT_EQ(entry.category, "Message");
        EXPECT_EQ(entry.file, fsMessageFile);
        texts.push_back(entry.text);
    }
    return texts;
}

using TTexts = std::vector<std::string>;

} // namespace

TEST(TraceEntries, FaultsOfFormatsNameTheMessageAndItsRaiser) {
    EXPECT_EQ(FaultsOf("%d fits", 1), TTexts());
    EXPECT_EQ(FaultsOf("%n"), TTexts{"%n found in format string in message(store,2,3) from raiser.cpp[12]"});
    EXPECT_EQ(FaultsOf("%5.3f", 1),
              TTexts{"Type mismatch in message(store,2,3) expecting f for argument 1 from raiser.cpp[12]"});
    EXPECT_EQ(FaultsOf("%d %s", "text", 1),
              (TTexts{"Type mismatch in message(store,2,3) expecting d for argument 1 from raiser.cpp[12]",
                      "Type mismatch in message(store,2,3) expecting s for argument 2 from raiser.cpp[12]"}));
    EXPECT_EQ(FaultsOf("%*d", 0.5, 1),
              TTexts{"Type mismatch in message(store,2,3), expecting width for argument 1 from raiser.cpp[12]"});
    EXPECT_EQ(FaultsOf("%.*d", 0.5, 1),
              TTexts{"Type mismatch in message(store,2,3) expecting precision for argument 1 from raiser.cpp[12]"});
    EXPECT_EQ(FaultsOf("%2$d", 1),
              TTexts{"Type mismatch in message(store,2,3) expecting d for argument 2 from raiser.cpp[12]"});
}

TEST(TraceEntries, FaultsOfOneDirectiveComeInItsOrder) {
    EXPECT_EQ(FaultsOf("%*.*d", 0.5, "x", "y"),
              (TTexts{"Type mismatch in message(store,2,3), expecting width for argument 1 from raiser.cpp[12]",
                      "Type mismatch in message(store,2,3) expecting precision for argument 2 from raiser.cpp[12]",
                      "Type mismatch in message(store,2,3) expecting d for argument 3 from raiser.cpp[12]"}));
    EXPECT_EQ(FaultsOf("%*n", 0.5),
              (TTexts{"Type mismatch in message(store,2,3), expecting width for argument 1 from raiser.cpp[12]",
                      "%n found in format string in message(store,2,3) from raiser.cpp[12]"}));
    EXPECT_EQ(FaultsOf("%n%n"), TTexts(2, "%n found in format string in message(store,2,3) from raiser.cpp[12]"));
}

TEST(TraceEntries, FaultsNameNumbersThatAreNotThere) {
    EXPECT_EQ(FaultsOf("%0$d", 1),
              TTexts{"Type mismatch in message(store,2,3) expecting d for argument 0 from raiser.cpp[12]"});
    EXPECT_EQ(FaultsOf("%*9$d", 1),
              TTexts{"Type mismatch in message(store,2,3), expecting width for argument 9 from raiser.cpp[12]"});
    EXPECT_EQ(FaultsOf("%.*9$d", 1),
              TTexts{"Type mismatch in message(store,2,3) expecting precision for argument 9 from raiser.cpp[12]"});
    EXPECT_EQ(FaultsOf("%99999999999$d", 1),
              TTexts{"Type mismatch in message(store,2,3) expecting d for argument 2147483647 from raiser.cpp[12]"});
}

TEST(TraceEntries, EveryConversionNamesItself) {
    for (char const conversion : std::string("EFGefgXdiouxcps")) {
        std::string const expected = std::string("Type mismatch in message(store,2,3) expecting ") + conversion +
                                     " for argument 1 from raiser.cpp[12]";
        std::string const format = std::string("%") + conversion;
        EXPECT_EQ(FaultsOf(format.c_str(), TDate()), TTexts{expected});
        EXPECT_EQ(FaultsOf(std::u16string(format.begin(), format.end()).c_str(), TDate()), TTexts{expected});
    }
}

TEST(TraceEntries, UpperCaseSIsAFaultInNarrowFormatsOnly) {
    TTexts const fault{"Type mismatch in message(store,2,3) expecting S for argument 1 from raiser.cpp[12]"};
    EXPECT_EQ(FaultsOf("%S", "text"), fault);
    EXPECT_EQ(FaultsOf("%S", u"text"), fault);
    EXPECT_EQ(FaultsOf(u"%S", "text"), TTexts());
    EXPECT_EQ(FaultsOf(u"%S", u"text"), TTexts());
    EXPECT_EQ(FaultsOf(u"%S", 5), fault);
}

TEST(TraceEntries, FaultsOfWideFormatsAreTheSame) {
    EXPECT_EQ(FaultsOf(u"%n%*d", 0, 0.5, 1),
              (TTexts{"%n found in format string in message(store,2,3) from raiser.cpp[12]",
                      "Type mismatch in message(store,2,3), expecting width for argument 2 from raiser.cpp[12]"}));
}

TEST(TraceEntries, FaultsAreOfLevel8AndOfTheLibraryOnly) {
    TTextMessage const message("%d", TagVar("text"));
    TCapture others(0xFFFFFFF7, 0xFFFFFFFF);
    EXPECT_STREQ(message, "0");
    others.ExpectNone();
    TCapture programs(0xFFFFFFFF, 0xFFFFFFFE);
    EXPECT_STREQ(TTextMessage(message), "0");
    EXPECT_THROW(message[7], TInvalidParameter);
    programs.ExpectNone();
}

TEST(TraceEntries, RewritingAFormatWritesItsFaultsEachTime) {
    TTextMessage message("text", TagVar("text"));
    message.SetDebugging("raiser.cpp", 12);
    TCapture capture(TTrace::warning, 1);
    char const *const fault = "Type mismatch in message((null),0,0) expecting d for argument 1 from raiser.cpp[12]";
    TString out;
    TTextMessage::CharP block;
    message.ValidateArgs("%d", out, block);
    capture.ExpectOne(8, "Message", fault, fsMessageFile);
    message.ValidateArgsW(u"%d", out, block);
    capture.ExpectOne(8, "Message", fault, fsMessageFile);
    message.QueryMessage();
    capture.ExpectNone();
}

TEST(TraceEntries, ANegativeIndexIsTracedUnsigned) {
    TTextMessage message("%d", TagVar(1));
    message.SetDebugging("raiser.cpp", 12);
    TTextMessage const &constant = message;
    TCapture capture(TTrace::warning, 1);
    EXPECT_THROW(message[-1], TInvalidParameter);
    capture.ExpectOne(8, "Message", "Reqested argument 4294967295 in message from raiser.cpp[12]", fsMessageFile);
    EXPECT_THROW(constant[1], TInvalidParameter);
    capture.ExpectOne(8, "Message", "Reqested argument 1 in message from raiser.cpp[12]", fsMessageFile);
}

TEST(TraceEntries, AnUnknownKindInAStreamIsReportedAndWritesNoRecord) {
    TCapture capture;
    std::istringstream bytes(std::string("\0\0\0\x63", 4));
    TiBinaryStream in(bytes, 1);
    TagVar value(5);
    EXPECT_THROW(value.ReadFromBinaryStream(in), TInvalidRequest);
    capture.ExpectNone();
}

TEST(TraceEntries, FaultsAreWrittenOnceAsTheTextIsMadeOnce) {
    TTextMessage message("%d", TagVar("text"));
    TCapture capture(TTrace::warning, 1);
    message.QueryMessage();
    message.QueryMessage();
    EXPECT_EQ(capture.Entries().size(), 1u);
}

TEST(TraceEntries, AnArgumentThatIsNotThereIsTracedWhereTheRaiserIsKnown) {
    TCapture capture(TTrace::warning, 1);
    TTextMessage message("text");
    EXPECT_THROW(message[3], TInvalidParameter);
    capture.ExpectNone();
    message.SetDebugging("raiser.cpp", 12);
    EXPECT_THROW(message[3], TInvalidParameter);
    capture.ExpectOne(8, "Message", "Reqested argument 3 in message from raiser.cpp[12]", fsMessageFile);
}

TEST(TraceEntries, AFaultyEntryIsWrittenBeforeTheEntryThatHasIt) {
    TCapture capture;
    TTracePoint::Write(TTrace::error, TUtilityTraceCategory::Queue, {"file", 1}, "%d", "text");
    ASSERT_EQ(capture.Entries().size(), 2u);
    EXPECT_EQ(capture.Entries()[0].text,
              "Type mismatch in message((null),0,0) expecting d for argument 1 from file[1]");
    EXPECT_EQ(capture.Entries()[1].text, "0");
}

TEST(TraceEntries, ALockThatCannotBeMadeIsTraced) {
    TCapture capture(TTrace::error, 1);
    TMutexSemaphore const mutex("no\\such\\name");
    ASSERT_FALSE(capture.Entries().empty());
    TSeenEntry const entry = capture.Entries()[0];
    EXPECT_EQ(entry.level, 4u);
    EXPECT_EQ(entry.category, "Utility");
    EXPECT_EQ(entry.file, "src/utility/MUTEXSEM");
    EXPECT_EQ(entry.line, 100u);
    int number = 0;
    EXPECT_EQ(std::sscanf(entry.text.c_str(), "Error %d", &number), 1);
    EXPECT_NE(number, 0);
    EXPECT_EQ(entry.text, "Error " + std::to_string(number) + " from CreateMutex(no\\such\\name)");
}

TEST(TraceEntries, AFailureThatNobodyListensToWritesNothing) {
    TCapture warnings(TTrace::warning, 1);
    TCapture others(TTrace::error, 8);
    TMutexSemaphore const mutex("no\\such\\name");
    warnings.ExpectNone();
    others.ExpectNone();
}

TEST(TraceEntries, ACancelledDownloadIsTraced) {
    TCapture capture(TTrace::warning, 1);
    std::istringstream connection("text\r\n.\r\n");
    TiDotByteStream in(connection);
    in.Cancel();
    EXPECT_THROW(in.get(), TDotByteError);
    EXPECT_EQ(capture.Entries(),
              (std::vector<TSeenEntry>{{8, "MemStream", "Cancelling download", "src/utility/DOTBYTE", 297}}));
}
