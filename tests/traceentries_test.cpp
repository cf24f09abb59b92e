// The entries that the library's own trace points write, as a destination sees them.

#include "support/CaptureTrace.h"

#include "tuzutil/DOTBYTE.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TRACEP.h"

#include <cstdio>
#include <sstream>

namespace {

constexpr char const *fsMessageFile = "src/utility/TXTMSG";

// The texts of the entries that formatting a message with the arguments writes.
template <typename... Arguments>
std::vector<std::string> FaultsOf(char const *format, Arguments const &...arguments) {
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
