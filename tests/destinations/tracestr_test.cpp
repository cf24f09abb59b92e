#include "tuzutil/TRACESTR.h"

#include "support/CaptureTrace.h"
#include "support/Expect.h"
#include "support/LocaleC.h"
#include "support/TempFolder.h"
#include "support/TracedText.h"
#include "tuzutil/MSGSTORE.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TRACEP.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <locale>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

TTrace::Category const fsCategory(1, "TraceStreamTest");

char const fsLongPrefix[] = "(\\d\\d)/(\\d\\d)-(\\d\\d):(\\d\\d):(\\d\\d)\\.(\\d\\d) ([0-9A-F]{8}) ";

void Entry(unsigned long level, char const *file, unsigned long line, char const *text) {
    TTextMessage message("%s", TagVar(text));
    if (file)
        message.SetDebugging(file, line);
    TTrace::WriteEntry(level, fsCategory, message);
}

std::string Content(std::filesystem::path const &path) {
    std::ifstream in(path); // text: line ends are those of the system
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// A stream that says when it goes.
class TMortalStream : public std::ostringstream {
public:
    explicit TMortalStream(int &destroyed) : fDestroyed(destroyed) {}
    ~TMortalStream() override { ++fDestroyed; }

private:
    int &fDestroyed;
};

} // namespace

// Prefixes

TEST(TraceRecord, EveryLevelHasItsLetter) {
    struct {
        unsigned long level;
        char letter;
    } const rows[] = {{0x1, 'O'},     {0x2, 'S'},     {0x4, 'E'},     {0x8, 'W'},     {0x10, 'I'},   {0x20, 'i'},
                      {0x80, 'N'},    {0x100, '1'},   {0x200, '2'},   {0x400, '*'},   {0x1000, '>'}, {0x2000, '<'},
                      {0x10000, 'A'}, {0x20000, 'a'}, {0x40000, 'D'}, {0x100000, '?'}};
    unsigned long all = 0;
    for (auto const &row : rows) {
        EXPECT_EQ(TTrace::Base::LevelChar(row.level), row.letter) << std::hex << row.level;
        all |= row.level;
    }
    for (unsigned bit = 0; bit < 32; ++bit) {
        if (!(all & 1ul << bit)) {
            EXPECT_EQ(TTrace::Base::LevelChar(1ul << bit), '?') << bit;
        }
    }
    for (unsigned long mask : {0ul, 0x3ul, 0xCul, 0x3700ul, 0x7373Ful, 0x1000Ful, 0xFFFFFFFFul})
        EXPECT_EQ(TTrace::Base::LevelChar(mask), '?') << std::hex << mask;
    // A level has 32 bits. If long has only 32 bits, this is the level 0.
    EXPECT_EQ(TTrace::Base::LevelChar(static_cast<unsigned long>(0x100000000ull)), '?');
}

TEST(TraceRecord, LongPrefixHasDateTimeThreadAndLetter) {
    TTraceStream const trace;
    TString prefix("something else");
    trace.FormatPrefix(prefix, TTrace::error);
    EXPECT_EQ(prefix.length(), 28u);
    EXPECT_TRUE(std::regex_match(Bytes(prefix), std::regex(std::string(fsLongPrefix) + "E"))) << Data(prefix);
}

TEST(TraceRecord, ShortPrefixIsTheLetter) {
    TTraceStream trace;
    trace.SetDisplayPrefix(0);
    TString prefix;
    trace.FormatPrefix(prefix, TTrace::warning);
    EXPECT_EQ(Bytes(prefix), "W");
}

TEST(TraceRecord, PrefixWithoutDestinationStaysAsItIs) {
    TString prefix("as it was");
    TTrace().FormatPrefix(prefix, TTrace::error);
    EXPECT_EQ(Bytes(prefix), "as it was");
}

TEST(TraceRecord, TimeIsTheLocalTime) {
    TTraceStream const trace;
    auto const now = [] { // std::time() may be some milliseconds late
        return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    };
    std::time_t const before = now();
    TString prefix;
    trace.FormatPrefix(prefix, TTrace::error);
    std::time_t const after = now();
    bool found = false;
    for (std::time_t second = before; second <= after; ++second) {
        char expected[32];
        std::strftime(expected, sizeof expected, "%m/%d-%H:%M:%S.", std::localtime(&second));
        found = found || Bytes(prefix).starts_with(expected);
    }
    EXPECT_TRUE(found) << Data(prefix);
}

TEST(TraceRecord, ThreadsAreToldApart) {
    TTraceStream const trace;
    TString here, there;
    trace.FormatPrefix(here, TTrace::error);
    std::thread([&] { trace.FormatPrefix(there, TTrace::error); }).join();
    EXPECT_NE(Bytes(here).substr(18, 8), Bytes(there).substr(18, 8));
    TString again;
    trace.FormatPrefix(again, TTrace::error);
    EXPECT_EQ(Bytes(here).substr(18, 8), Bytes(again).substr(18, 8));
}

// Records

TEST(TraceRecord, AFullLineHasPrefixFileLineAndText) {
    std::ostringstream out;
    TTraceStream const trace(out);
    Entry(TTrace::error, "src/utility/THREAD", 89, "Unable to create semaphore, error=x00000005");
    EXPECT_TRUE(std::regex_match(
        out.str(),
        std::regex(std::string(fsLongPrefix) + "E \\[THREAD:89\\] Unable to create semaphore, error=x00000005\n")))
        << out.str();
}

TEST(TraceRecord, TheExampleOfTheHeaderHolds) {
    std::ostringstream out;
    {
        TTraceStream trace(out, "erwa,Utility");
        trace.SetDisplayPrefix(0);
        TTracePoint::Write(TTrace::error, TUtilityTraceCategory::Utility, {"src/utility/MUTEXSEM", 100},
                           "Error %d from CreateMutex(unnamed)", 5);
    }
    EXPECT_EQ(out.str(), "E [MUTEXSEM:100] Error 5 from CreateMutex(unnamed)\n");
}

TEST(TraceRecord, OnlyTheLastPartOfTheFileIsShown) {
    TTracedText traced;
    struct {
        char const *file;
        char const *shown;
    } const rows[] = {{"main.cpp", "main.cpp"},
                      {"src/main.cpp", "main.cpp"},
                      {"C:\\src\\main.cpp", "main.cpp"},
                      {"a\\b/main.cpp", "main.cpp"},
                      {"a/b\\main.cpp", "main.cpp"},
                      {"folder/", ""},
                      {"", ""},
                      {nullptr, "????.???"}};
    for (auto const &row : rows) {
        Entry(TTrace::warning, row.file, 7, "text");
        EXPECT_EQ(traced.Take(), std::string("W [") + row.shown + (row.file ? ":7] text\n" : ":0] text\n"));
    }
}

TEST(TraceRecord, WithoutASourceFileTheLineIsStillShown) {
    TTracedText traced;
    TTextMessage message("text");
    message.SetDebugging(nullptr, 4711);
    TTrace::WriteEntry(TTrace::error, fsCategory, message);
    EXPECT_EQ(traced.Take(), "E [????.???:4711] text\n");
}

TEST(TraceRecord, LineNumbersIgnoreModesAndLocaleOfTheStream) {
    struct TGrouping : std::numpunct<char> {
        std::string do_grouping() const override { return "\3"; }
        char do_thousands_sep() const override { return '.'; }
    };
    TTracedText traced;
    traced.out.imbue(std::locale(std::locale::classic(), new TGrouping));
    traced.out << std::hex << std::showbase;
    traced.out.width(40);
    Entry(TTrace::error, "f", 1234567, "text");
    EXPECT_EQ(traced.Take(), "E [f:1234567] text\n");
    Entry(TTrace::error, "f", 0xFFFFFFFF, "text");
    EXPECT_EQ(traced.Take(), "E [f:4294967295] text\n");
}

TEST(TraceRecord, TextsOfEveryLengthAreWhole) {
    TTracedText traced;
    for (std::size_t length : {0u, 1u, 2u, 400u, 495u, 496u, 497u, 498u, 499u, 500u, 501u, 511u, 512u, 513u, 100000u}) {
        std::string const text(length, 'x');
        Entry(TTrace::error, "f", 1, text.c_str());
        EXPECT_EQ(traced.Take(), "E [f:1] " + text + "\n") << length;
    }
}

TEST(TraceRecord, NothingOfTheTextIsChanged) {
    TTracedText traced;
    Entry(TTrace::error, "f", 1, "one\r\ntwo\ttab \x1B[31m \xC3\xA4 100%d");
    EXPECT_EQ(traced.Take(), "E [f:1] one\r\ntwo\ttab \x1B[31m \xC3\xA4 100%d\n");
}

TEST(TraceRecord, WideTextsAreWrittenInTheEncodingOfTheProcess) {
    TLocaleC const locale;
    TTracedText traced;
    TTextMessage message(u"wide %d \u20AC", 5);
    message.SetDebugging("f", 1);
    TTrace::WriteEntry(TTrace::error, fsCategory, message);
    EXPECT_EQ(traced.Take(), "E [f:1] wide 5 ?\n");
    EXPECT_TRUE(message.QueryMessage().IsUnicode());
}

TEST(TraceRecord, TextsAreFoundAndMadeOutsideTheTraceLock) {
    struct TAsking : TTextMessageStore {
        TAsking() : TTextMessageStore(TTextMessage::StoreID("TraceStreamTest", ExplicitInit)) {}
        TString GetMsg(long, long, int) override {
            std::thread([this] {
                TMutexSemaphoreEntry const entry(TTrace::Base::fsMutex, 10000);
                isFree = entry.State() == TMutexSemaphore::Locked;
            }).join();
            return TString("from the store");
        }
        bool isFree = false;
    } store;
    TTracedText traced;
    TTextMessage message(TTextMessage::StoreID("TraceStreamTest", ExplicitInit), 1, 2, "default");
    message.SetDebugging("f", 1);
    TTrace::WriteEntry(TTrace::error, fsCategory, message);
    EXPECT_EQ(traced.Take(), "E [f:1] from the store\n");
    EXPECT_TRUE(store.isFree);
}

TEST(TraceRecord, TextsThatNobodyWantsAreNotMade) {
    struct TCounting : TTextMessageStore {
        TCounting() : TTextMessageStore(TTextMessage::StoreID("TraceStreamTest", ExplicitInit)) {}
        TString GetMsg(long, long, int) override {
            ++count;
            return TString();
        }
        int count = 0;
    } store;
    TTracedText traced;
    traced.trace.SetLevel(TTrace::warning);
    TTextMessage const message(TTextMessage::StoreID("TraceStreamTest", ExplicitInit), 1, 2, "default");
    TTrace::WriteEntry(TTrace::error, fsCategory, message);
    EXPECT_EQ(store.count, 0);
}

TEST(TraceRecord, MessageWithoutTextGivesAnEmptyOne) {
    TTracedText traced;
    TTrace::WriteEntry(TTrace::error, fsCategory, TTextMessage());
    EXPECT_EQ(traced.Take(), "E [????.???:0] \n");
}

// Streams

TEST(TTraceStream, WithoutAStreamNothingIsWritten) {
    TTraceStream trace;
    auto const &destination = static_cast<TTraceStreamBase const &>(*trace.QueryPointer());
    EXPECT_EQ(trace.QueryLevel(), 0x1000Fu);
    EXPECT_FALSE(destination.IsOpen());
    EXPECT_EQ(destination.QueryOpenError(), 0u);
    Entry(TTrace::error, "f", 1, "lost");
    TTracePoint::Write(TTrace::error, fsCategory, {"f", 1}, "%s", "lost");
    std::ostringstream out;
    trace.SetStream(out);
    trace.SetDisplayPrefix(0);
    EXPECT_TRUE(destination.IsOpen());
    EXPECT_EQ(destination.QueryOpenError(), 0u);
    Entry(TTrace::error, "f", 1, "kept");
    EXPECT_EQ(out.str(), "E [f:1] kept\n");
}

TEST(TTraceStream, AReferencedStreamIsBorrowed) {
    int destroyed = 0;
    TMortalStream out(destroyed);
    { TTraceStream const trace(out); }
    EXPECT_EQ(destroyed, 0);
    {
        TTraceStream trace;
        trace.SetStream(out);
        std::ostringstream other;
        trace.SetStream(other);
    }
    EXPECT_EQ(destroyed, 0);
}

TEST(TTraceStream, APointedToStreamIsOwned) {
    int destroyed = 0;
    { TTraceStream const trace(new TMortalStream(destroyed)); }
    EXPECT_EQ(destroyed, 1);
    {
        TTraceStream trace;
        trace.SetStream(new TMortalStream(destroyed));
        trace.SetStream(new TMortalStream(destroyed));
        EXPECT_EQ(destroyed, 2);
        std::ostringstream out;
        trace.SetStream(out);
        EXPECT_EQ(destroyed, 3);
    }
    EXPECT_EQ(destroyed, 3);
}

TEST(TTraceStream, TheSameStreamMayBeGivenAgain) {
    int destroyed = 0;
    {
        TTraceStream trace;
        auto *const stream = new TMortalStream(destroyed);
        trace.SetStream(stream);
        trace.SetStream(stream);
        EXPECT_EQ(destroyed, 0);
        Entry(TTrace::error, "f", 1, "text");
        trace.SetStream(*stream); // from now on it is ours again
        EXPECT_EQ(destroyed, 0);
        trace.SetStream(stream);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(TTraceStream, AnOwnedStreamEndsOutsideTheLocks) {
    struct TWaiting : std::ostringstream {
        ~TWaiting() override {
            std::thread([] { Entry(TTrace::error, "f", 1, "text"); }).join();
        }
    };
    {
        TTraceStream trace(new TWaiting);
        trace.SetStream(new TWaiting);
    }
    EXPECT_EQ(TTrace::Base::fsAnchor, nullptr);
}

TEST(TTraceStream, IsABaseForDestinationsOfOnesOwn) {
    class TMarking : public TTraceStreamBase {
    public:
        void Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) override {
            out << '!';
            TTraceStreamBase::Write(level, category, message);
        }
        void Begin() { SetStream(out); }
        std::ostringstream out;
        ~TMarking() override { Unlink(); }
    };
    auto *const destination = new TMarking;
    TTrace trace;
    trace.QueryPointer() = TTrace::Pointer(destination);
    trace.SetDisplayPrefix(0);
    destination->Begin();
    Entry(TTrace::error, "f", 1, "text");
    EXPECT_EQ(destination->out.str(), "!E [f:1] text\n");
}

TEST(TTraceStream, IsABaseForDestinationsThatJoinLater) {
    class TMarked : public TTraceStreamBase {
    public:
        TMarked(std::ostream &out, std::string mark)
            : TTraceStreamBase(joinsLater, out), fOut(out), fMark(std::move(mark)) {
            SetDisplayPrefix(0);
            Entry(TTrace::error, "file", 1, "half made");
        }
        ~TMarked() override { Entry(TTrace::error, "file", 1, "half gone"); }
        void Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) override {
            fOut << fMark;
            TTraceStreamBase::Write(level, category, message);
        }

    private:
        std::ostream &fOut;
        std::string fMark;
    };
    std::ostringstream out;
    {
        TTrace const trace = TTrace::Make<TMarked>(out, "mark ");
        Entry(TTrace::error, "file", 1, "whole");
    }
    EXPECT_EQ(out.str(), "mark E [file:1] whole\n");
}

TEST(TTraceStream, SelectionsAreApplied) {
    std::ostringstream out;
    TTraceStream const borrowing(out, "er,Game,0");
    EXPECT_EQ(borrowing.QueryLevel(), 4u);
    EXPECT_EQ(borrowing.QueryComponent(), 4u);
    EXPECT_EQ(borrowing.QueryDefaultTracing(), 0);
    TTraceStream const owning(new std::ostringstream, "wa,,1");
    EXPECT_EQ(owning.QueryLevel(), 8u);
    EXPECT_EQ(owning.QueryComponent(), 0xFFFFFFFFu);
    EXPECT_EQ(owning.QueryDefaultTracing(), 1);
}

TEST(TTraceStream, AFaultySelectionLeavesNoDestinationBehind) {
    int destroyed = 0;
    ExpectThrows<TInvalidRequest>({.text = "Unknown level specified", .file = "src/utility/TRACEP"},
                                  [&] { TTraceStream trace(new TMortalStream(destroyed), "zz"); });
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 0u);
}

TEST(TTraceStream, CopiesShareTheDestination) {
    TTracedText traced;
    TTraceStream copy(traced.trace);
    copy.SetLevel(TTrace::error);
    EXPECT_EQ(traced.trace.QueryLevel(), 4u);
    Entry(TTrace::error, "f", 1, "once");
    EXPECT_EQ(traced.Take(), "E [f:1] once\n");
    std::ostringstream other;
    copy.SetStream(other);
    Entry(TTrace::error, "f", 1, "there");
    EXPECT_EQ(traced.Take(), "");
    EXPECT_EQ(other.str(), "E [f:1] there\n");
}

TEST(TTraceStream, EveryRecordIsFlushed) {
    struct TCounting : std::stringbuf {
        int sync() override {
            ++flushes;
            return 0;
        }
        int flushes = 0;
    } buffer;
    std::ostream out(&buffer);
    TTraceStream trace(out);
    trace.SetDisplayPrefix(0);
    Entry(TTrace::error, "f", 1, "one");
    Entry(TTrace::error, "f", 2, "two");
    EXPECT_EQ(buffer.flushes, 2);
    EXPECT_EQ(buffer.str(), "E [f:1] one\nE [f:2] two\n");
}

TEST(TTraceStream, ARecordIsHandedOverInOnePiece) {
    struct TPieces : std::streambuf {
        std::streamsize xsputn(char const *text, std::streamsize count) override {
            pieces.emplace_back(text, static_cast<std::size_t>(count));
            return count;
        }
        std::vector<std::string> pieces;
    } buffer;
    std::ostream out(&buffer);
    TTraceStream trace(out);
    trace.SetDisplayPrefix(0);
    Entry(TTrace::error, "f", 1, "several\nlines");
    EXPECT_EQ(buffer.pieces, std::vector<std::string>{"E [f:1] several\nlines\n"});
}

TEST(TTraceStream, AfterAFailureTheNextRecordIsTriedAfresh) {
    struct TRefusing : std::stringbuf {
        std::streamsize xsputn(char const *text, std::streamsize count) override {
            return refuses ? 0 : std::stringbuf::xsputn(text, count);
        }
        bool refuses = true;
    } buffer;
    std::ostream out(&buffer);
    TTraceStream trace(out);
    trace.SetDisplayPrefix(0);
    Entry(TTrace::error, "f", 1, "lost");
    EXPECT_TRUE(out.bad());
    buffer.refuses = false;
    Entry(TTrace::error, "f", 2, "kept");
    EXPECT_TRUE(out.good());
    EXPECT_EQ(buffer.str(), "E [f:2] kept\n");
}

TEST(TTraceStream, AfterAFailureTheStreamIsBad) {
    struct TFailing : std::stringbuf {
        std::streamsize xsputn(char const *text, std::streamsize count) override {
            if (throws)
                throw 17;
            return std::stringbuf::xsputn(text, count);
        }
        int sync() override { return ++syncs, failsToSync ? -1 : 0; }
        bool throws = true;
        bool failsToSync = false;
        int syncs = 0;
    } buffer;
    std::ostream out(&buffer);
    TTraceStream trace(out);
    trace.SetDisplayPrefix(0);
    Entry(TTrace::error, "f", 1, "lost");
    EXPECT_TRUE(out.bad());
    EXPECT_EQ(buffer.syncs, 0);
    buffer.throws = false;
    buffer.failsToSync = true;
    Entry(TTrace::error, "f", 2, "not flushed");
    EXPECT_TRUE(out.bad());
    EXPECT_EQ(buffer.syncs, 1);
    buffer.failsToSync = false;
    Entry(TTrace::error, "f", 3, "kept");
    EXPECT_TRUE(out.good());
    EXPECT_EQ(buffer.str(), "E [f:2] not flushed\nE [f:3] kept\n");
    out.rdbuf(nullptr);
    Entry(TTrace::error, "f", 4, "nowhere");
    EXPECT_TRUE(out.bad());
}

TEST(TTraceStream, TheTieAndTheFlagsOfAStreamAreHeeded) {
    struct TSyncs : std::stringbuf {
        int sync() override { return ++count, 0; }
        int count = 0;
    } tied, buffer;
    std::ostream tie(&tied);
    std::ostream out(&buffer);
    TTraceStream trace(out);
    trace.SetDisplayPrefix(0);
    out.tie(&tie);
    Entry(TTrace::error, "f", 1, "tied");
    EXPECT_GE(tied.count, 1);
    out.tie(nullptr);
    buffer.count = 0;
    out << std::unitbuf;
    Entry(TTrace::error, "f", 2, "unit");
    EXPECT_GE(buffer.count, 2) << "after the record, and by the flush";
    EXPECT_EQ(buffer.str(), "E [f:1] tied\nE [f:2] unit\n");
}

TEST(TTraceStream, AStreamThatThrowsHarmsNobody) {
    struct TThrowing : std::streambuf {
        std::streamsize xsputn(char const *, std::streamsize) override { throw 17; }
    } buffer;
    std::ostream out(&buffer);
    out.exceptions(std::ios_base::badbit);
    TTraceStream const throwing(out);
    TTracedText behind;
    Entry(TTrace::error, "f", 1, "text");
    EXPECT_EQ(behind.Take(), "E [f:1] text\n");
    Entry(TTrace::error, "f", 2, "again"); // no lock was left behind
    EXPECT_EQ(behind.Take(), "E [f:2] again\n");
    bool isFree = false;
    std::thread([&] {
        TMutexSemaphoreEntry const entry(TTraceStreamBase::fsFileMutex, 0);
        isFree = entry.State() == TMutexSemaphore::Locked;
    }).join();
    EXPECT_TRUE(isFree);
}

TEST(TTraceStream, LinesOfThreadsAndDestinationsAreWhole) {
    std::ostringstream out; // both write to it: the lock is the same
    TTraceStream first(out), second(out);
    first.SetDisplayPrefix(0);
    second.SetDisplayPrefix(0);
    constexpr int threads = 4, records = 200;
    std::vector<std::thread> writers;
    for (int i = 0; i < threads; ++i)
        writers.emplace_back([=] {
            for (int j = 0; j < records; ++j)
                Entry(TTrace::error, "f", static_cast<unsigned long>(i),
                      std::string(100, static_cast<char>('a' + i)).c_str());
        });
    for (std::thread &writer : writers)
        writer.join();
    std::array<int, threads> seen{};
    std::istringstream in(out.str());
    for (std::string line; std::getline(in, line);) {
        ASSERT_EQ(line.size(), 108u);
        int const writer = line[5] - '0';
        ASSERT_TRUE(writer >= 0 && writer < threads);
        ASSERT_EQ(line, "E [f:" + std::to_string(writer) + "] " + std::string(100, static_cast<char>('a' + writer)));
        ++seen[static_cast<std::size_t>(writer)];
    }
    for (int count : seen)
        EXPECT_EQ(count, 2 * records);
}

TEST(TTraceStream, StreamsMayBeReplacedWhileOthersWrite) {
    TTraceStream trace;
    trace.SetDisplayPrefix(0);
    std::thread writer([] {
        for (int i = 0; i < 500; ++i)
            Entry(TTrace::error, "f", 1, "text");
    });
    int destroyed = 0;
    for (int i = 0; i < 200; ++i)
        trace.SetStream(new TMortalStream(destroyed));
    writer.join();
    EXPECT_EQ(destroyed, 199);
}

// Files

TEST(TraceFile, IsBegunAnewAndWrittenAtOnce) {
    TTempFolder const folder;
    folder.AddFile("trace.log", "what was there\n");
    TTraceStream trace(folder.Name("trace.log").c_str());
    EXPECT_EQ(Content(folder.Native("trace.log")), "");
    trace.SetDisplayPrefix(0);
    Entry(TTrace::error, "f", 1, "one");
    EXPECT_EQ(Content(folder.Native("trace.log")), "E [f:1] one\n");
    Entry(TTrace::warning, "f", 2, std::string(20000, 'x').c_str());
    EXPECT_EQ(Content(folder.Native("trace.log")), "E [f:1] one\nW [f:2] " + std::string(20000, 'x') + "\n");
}

TEST(TraceFile, ItsDirectoriesAreMade) {
    TTempFolder const folder;
    TTraceStream trace(folder.Name("a\\b\\c\\trace.log").c_str());
    trace.SetDisplayPrefix(0);
    Entry(TTrace::error, "f", 1, "one");
    EXPECT_EQ(Content(folder.Native("a\\b\\c\\trace.log")), "E [f:1] one\n");
}

TEST(TraceFile, MayBeAPathOfAnyCharactersWhoseDirectoriesAreMade) {
    TTempFolder folder;
#if defined(_WIN32)
    std::filesystem::path const path = folder.Native("") / u"new" / u"\u65E5\u672C" / u"trace.log";
#else
    std::filesystem::path const path = folder.Native("") / u"new" / u"\u65E5\\\u672C" / u"trace\\.log";
#endif
    for (char const *const text : {"first", "second"}) {
        TTraceStream trace(path);
        trace.SetDisplayPrefix(0);
        EXPECT_TRUE(static_cast<TTraceStreamBase &>(*trace.QueryPointer()).IsOpen());
        Entry(TTrace::error, "file", 1, text);
    }
    EXPECT_EQ(Content(path), "E [file:1] second\n");
}

TEST(TraceFile, OfAPathWithoutAFolderIsInTheCurrentFolder) {
    TTempFolder const folder;
    std::filesystem::path const before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Native(""));
    {
        TTraceStream trace(std::filesystem::path("trace.log"));
        trace.SetDisplayPrefix(0);
        Entry(TTrace::error, "f", 1, "here");
    }
    std::filesystem::current_path(before);
    EXPECT_EQ(Content(folder.Native("trace.log")), "E [f:1] here\n");
}

TEST(TraceFile, GivesItsPathBack) {
    TTempFolder const folder;
    std::filesystem::path const path = folder.Native("") / u"\u65E5.log";
    TTraceStream named(folder.Name("a\\trace.log").c_str());
    TTraceStream const native(path);
    EXPECT_EQ(named.QueryPath(), folder.Native("a\\trace.log"));
    EXPECT_EQ(native.QueryPath(), path);
    std::ostringstream out;
    named.SetStream(out);
    EXPECT_EQ(named.QueryPath(), std::filesystem::path());
    EXPECT_EQ(TTraceStream(out).QueryPath(), std::filesystem::path());
    EXPECT_EQ(TTraceStream().QueryPath(), std::filesystem::path());
}

TEST(TraceFile, OfAPathThatIsADirectoryCannotBeOpened) {
    TTempFolder folder;
    TTraceStream trace(folder.Native(""));
    EXPECT_NE(static_cast<TTraceStreamBase &>(*trace.QueryPointer()).QueryOpenError(), 0u);
    TTraceStream within(folder.Native("") / "file" / "x.log");
    EXPECT_TRUE(static_cast<TTraceStreamBase &>(*within.QueryPointer()).IsOpen());
    TTraceStream below(folder.Native("") / "file" / "x.log" / "y.log");
    EXPECT_FALSE(static_cast<TTraceStreamBase &>(*below.QueryPointer()).IsOpen());
}

TEST(TraceFile, WithoutItsDirectoryNothingIsWrittenAndNothingRaised) {
    TTempFolder const folder;
    folder.AddFile("blocked");
    TTraceStream trace(folder.Name("blocked\\below\\trace.log").c_str());
    trace.SetDisplayPrefix(0);
    Entry(TTrace::error, "f", 1, "lost");
    EXPECT_TRUE(std::filesystem::is_regular_file(folder.Native("blocked")));
    EXPECT_NE(static_cast<TTraceStreamBase &>(*trace.QueryPointer()).QueryOpenError(), 0u);
    EXPECT_FALSE(static_cast<TTraceStreamBase &>(*trace.QueryPointer()).IsOpen());
    std::ostringstream out; // the destination as such is whole
    trace.SetStream(out);
    Entry(TTrace::error, "f", 2, "kept");
    EXPECT_EQ(out.str(), "E [f:2] kept\n");
}

TEST(TraceFile, ThatCannotBeOpenedIsNoError) {
    TTempFolder const folder;
    folder.AddFolder("trace.log");
    TTraceStream const trace(folder.Name("trace.log").c_str());
    Entry(TTrace::error, "f", 1, "lost");
    TTraceStream const nameless(static_cast<char const *>(nullptr));
    TTraceStream const empty("");
    Entry(TTrace::error, "f", 1, "lost");
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 0x1000Fu);
}

TEST(TraceFile, WhatIsTracedWhileItsDirectoryIsMadeIsNotWrittenToIt) {
    TTempFolder const folder;
    TCapture capture;
    TTraceStream const trace(folder.Name("new\\trace.log").c_str());
    EXPECT_FALSE(capture.Entries().empty()); // the directory was traced
    EXPECT_EQ(Content(folder.Native("new\\trace.log")), "");
}

// The debugger's channel

namespace {

std::vector<std::string> fsOutputs;

struct TDebuggerOutputs {
    TDebuggerOutputs() {
        fsOutputs.clear();
        former = TTraceWindowsDebugBase::SetOutput([](char const *line) { fsOutputs.emplace_back(line); });
    }
    ~TDebuggerOutputs() { TTraceWindowsDebugBase::SetOutput(former); }
    TTraceWindowsDebugBase::TOutput former;
};

} // namespace

TEST(TTraceWindowsDebug, GetsWholeLines) {
    TDebuggerOutputs const outputs;
    EXPECT_EQ(outputs.former, nullptr);
    TTraceWindowsDebug trace;
    trace.SetDisplayPrefix(0);
    Entry(TTrace::error, "src/utility/THREAD", 89, "text");
    EXPECT_EQ(fsOutputs, std::vector<std::string>{"E [THREAD:89] text\n"});
    trace.SetDisplayPrefix(1);
    Entry(TTrace::error, "src/utility/THREAD", 89, "text");
    ASSERT_EQ(fsOutputs.size(), 2u);
    EXPECT_TRUE(std::regex_match(fsOutputs[1], std::regex(std::string(fsLongPrefix) + "E \\[THREAD:89\\] text\n")));
}

TEST(TTraceWindowsDebug, CopiesShareTheDestination) {
    TDebuggerOutputs const outputs;
    TTraceWindowsDebug trace;
    TTraceWindowsDebug const copy(trace);
    trace.SetLevel(TTrace::warning);
    EXPECT_EQ(copy.QueryLevel(), 8u);
    Entry(TTrace::warning, "f", 1, "text");
    EXPECT_EQ(fsOutputs.size(), 1u);
}

// Subclasses

namespace {

// Joins when it is complete, and counts the entries.
class TCountingTrace : public TTraceStreamBase {
public:
    template <typename... Arguments>
    explicit TCountingTrace(int &count, Arguments &&...arguments)
        : TTraceStreamBase(joinsLater, std::forward<Arguments>(arguments)...), fCount(count) {
        SetDisplayPrefix(0);
    }
    void Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) override {
        ++fCount;
        TTraceStreamBase::Write(level, category, message);
    }

private:
    int &fCount;
};

} // namespace

TEST(TraceStreamSubclass, JoinsWithEveryKindOfStream) {
    TTempFolder const folder;
    std::string const name = folder.Name("sub.log");
    std::ostringstream borrowed;
    int count = 0;
    int destroyed = 0;
    {
        TTrace const none = TTrace::Make<TCountingTrace>(count);
        TTrace const first = TTrace::Make<TCountingTrace>(count, borrowed);
        TTrace const second =
            TTrace::Make<TCountingTrace>(count, static_cast<std::ostream *>(new TMortalStream(destroyed)));
        TTrace const third = TTrace::Make<TCountingTrace>(count, name.c_str());
        Entry(TTrace::error, "f", 1, "text");
        EXPECT_EQ(count, 4);
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(borrowed.str(), "E [f:1] text\n");
    EXPECT_EQ(Content(folder.Native("sub.log")), "E [f:1] text\n");
}

TEST(TTraceStream, WhoseDestinationWasReplacedTakesNoStream) {
    std::ostringstream first, second;
    int destroyed = 0;
    TTraceStream trace(first);
    trace.SetDisplayPrefix(0);
    static_cast<TTrace &>(trace) = TTrace();
    trace.SetStream(second);
    trace.SetStream(new TMortalStream(destroyed));
    EXPECT_EQ(destroyed, 1); // nobody else would delete it
    Entry(TTrace::error, "f", 1, "text");
    EXPECT_EQ(first.str(), "");
    EXPECT_EQ(second.str(), "");
}
