// Every operation below meets a lack of memory at each of its allocations: once at that one alone, and once at it and
// all that follow. Whatever happens then, it is told, nothing leaks, and the next try succeeds.

#include "support/FailingMemory.h"
#include "support/Languages.h"
#include "support/TempFolder.h"
#include "tuzutil/tuzutil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

// What an operation says of itself. `wrong`: it claims success, and the result is not right.
enum TOutcome { done, reported, wrong };

// A stream buffer on memory of its own, which takes and gives bytes without allocating.
class TFixedBuf : public std::streambuf {
public:
    explicit TFixedBuf(std::string_view content = {}) noexcept {
        std::copy(content.begin(), content.end(), fIn);
        setg(fIn, fIn, fIn + content.size());
        setp(fOut, std::end(fOut));
    }
    std::string_view Written() const noexcept { return {pbase(), static_cast<std::size_t>(pptr() - pbase())}; }
    void Forget() noexcept { setp(fOut, std::end(fOut)); }

private:
    char fIn[4096];
    char fOut[4096];
};

std::string_view View(TString const &text) noexcept {
    char const *const bytes = text;
    return {bytes ? bytes : "(null)", bytes ? text.length() : 6};
}

// A value whose text found no memory has none, and prints so.
TOutcome Is(TString const &text, std::string_view expected) noexcept {
    if (View(text) == expected)
        return done;
    return View(text).find("(null)") != std::string_view::npos ? reported : wrong;
}

// Everything read from a stream. Bytes that are missing are told by the state "bad" or by an exception.
TOutcome Reads(std::istream &in, std::string_view expected) {
    char bytes[512];
    in.read(bytes, sizeof bytes);
    std::string_view const seen(bytes, static_cast<std::size_t>(in.gcount()));
    if (seen == expected)
        return done;
    return seen == expected.substr(0, seen.size()) && in.bad() ? reported : wrong;
}

// What was written to a stream, with the state of the stream.
TOutcome Wrote(std::ostream const &out, std::string_view seen, std::string_view expected) {
    if (seen == expected)
        return out.good() ? done : reported;
    return seen == expected.substr(0, seen.size()) && !out.good() ? reported : wrong;
}

char const fsLongText[] = "a text that is longer than what any class keeps in itself, so that it needs memory";

// Strings

TOutcome MakesStrings() {
    TString text(fsLongText);
    TString copy(text);
    copy.MakeUnique();
    copy.change("text", "phrase");
    copy.remove(1, 2);
    if (View(copy).substr(0, 20) != "phrase that is longe" || View(text) != fsLongText)
        return wrong;
    TString const number(1234567L);
    TString const wide(u"wide");
    TString const sum = number + wide.subString(1, 1) + ".";
    return Is(sum, "1234567w.");
}

TOutcome AppendsToStrings() {
    TString text("begin");
    try {
        for (int i = 0; i < 40; ++i) {
            unsigned int const before = text.length();
            TString const former(text);
            try {
                text += "0123456789";
            } catch (TOutOfMemory const &) {
                if (text.length() != before || View(text) != View(former))
                    return wrong; // what it held is lost
                throw;
            }
        }
        text[text.length() + 3] = '!';
    } catch (TOutOfMemory const &problem) {
        return problem.text(0) && std::strcmp(problem.text(0), "Out of memory") == 0 ? reported : wrong;
    }
    return text.length() == 408 && text[408] == '!' ? done : wrong;
}

TOutcome EncodesAndDigests() {
    TString const bytes(fsLongText);
    TOutcome const decoded = Is(TBase64::Decode(TBase64::Encode(bytes)), fsLongText);
    TString const name(u"Entw\u00fcrfe");
    if (decoded != done || View(TModifiedUTF7::Decode(TModifiedUTF7::Encode(name))) != View(name))
        return wrong;
    return Is(CalculateCramMD5::Calc("tanstaaftanstaaf", "<1896.697170952@postoffice.reston.mci.net>"),
              "b913a602c7eda7a495b4e6e7334d3890");
}

// Exceptions

TOutcome RaisesAnException() {
    try {
        TString("abc").subString(0);
    } catch (TInvalidRequest &problem) {
        problem.appendText("in a test");
        TInvalidRequest const copy(problem);
        if (copy.textCount() != 2 || copy.locationCount() != 1)
            return wrong;
        return copy.text(0) && copy.text(1) ? done : reported; // a text without memory is null
    }
    return wrong;
}

TOutcome DescribesAnException() {
    TException problem("first", 7, TException::recoverable);
    problem.appendText("second").setErrorCodeGroup("tests").addLocation({"file", "function", 5});
    if (!problem.text(0) || !problem.text(1))
        return reported;
    return Is(TTraceException::FormatException(problem),
              "Exception TException, group tests, error ID: 7 (x7), recoverable\n"
              "with the following text:\n  second\n  first\n"
              "at location:\n  [file, 5] function");
}

TOutcome AnswersWhat() {
    TException problem("first", 7, TException::recoverable);
    problem.addLocation({"file", "function", 5});
    std::string_view const what(problem.what());
    if (what == "first (TException, ID 7, file:5)")
        return done;
    // Without memory for the description there is still the text, and without that the name.
    return what == (problem.text(0) ? "first" : "TException") || what == "(TException, ID 7, file:5)" ? reported
                                                                                                      : wrong;
}

// Values, messages, records

TOutcome HoldsValues() {
    TagVar const value(fsLongText);
    TagVar copy(value);
    if (!value.QueryString() || !copy.QueryString())
        return reported; // a value without memory for its text has none
    TagVar const more(TString(" twice"));
    if (!more.QueryString())
        return reported;
    copy += more;
    return Is(*copy.QueryString(), std::string(fsLongText) + " twice");
}

TOutcome FormatsAMessage() {
    TTextMessage message("%2$s has %1$d of %3$s and %4$.2f", 5, "inbox", fsLongText, 1.5);
    TTextMessage const copy(message);
    TString const expected = TString("inbox has 5 of ") + fsLongText + " and 1.50";
    if (!message[1].QueryString() || !message[2].QueryString())
        return reported; // a value without memory for its text has none
    return View(message.QueryMessage()) == View(expected) ? Is(copy.QueryMessage(), View(expected)) : wrong;
}

TOutcome WritesARecord() {
    static TFixedBuf out;
    out.Forget();
    std::ostream stream(&out);
    {
        TTraceStream trace(stream);
        trace.SetDisplayPrefix(0);
        trace.SetLevel(TTrace::error);
        trace.AddCategory(TUtilityTraceCategory::Message, 0);
        TTracePoint::Write(TTrace::error, TUtilityTraceCategory::Utility, {"src/test.cpp", 7}, "%s and %s", "one",
                           fsLongText);
    }
    std::string_view const seen = out.Written();
    if (seen.empty())
        return reported; // a record that cannot be built is lost, as a whole
    if (seen == "E [test.cpp:7] one and ?\n" || seen == TString("E [test.cpp:7] ? and ") + fsLongText + "\n")
        return reported; // an argument of which no value can be made is shown as that
    TString const expected = TString("E [test.cpp:7] one and ") + fsLongText + "\n";
    return Is(TString(seen.data(), static_cast<unsigned int>(seen.size()), ' '), View(expected));
}

TOutcome TellsAnObserver() {
    class TCounter : public TTraceNotify {
    public:
        ~TCounter() override { Leave(); }
        void Notify() override { ++count; }
        int count = 0;
    } counter;
    TTraceNotify::NotifyAll();
    return counter.count > 0 ? done : wrong;
}

TOutcome TracesToAFile(bool isShared) {
    static TTempFolder const folder;
    TString const name = TString(folder.Name().c_str()) + (isShared ? "\\shared.log" : "\\own.log");
    TTrace const trace = isShared ? TTrace(TTraceSharedFile(name)) : TTrace(TTraceStream(name));
    TTracePoint::Write(TTrace::error, TUtilityTraceCategory::Utility, {"src/test.cpp", 7}, "%s", "a record");
    return done;
}

TOutcome TracesToItsOwnFile() {
    return TracesToAFile(false);
}

TOutcome TracesToASharedFile() {
    return TracesToAFile(true);
}

TOutcome IsConfigured() {
    static TTempFolder const folder;
    TString const configuration = TString("file(") + TString(folder.Name().c_str()) + "\\configured.log),erwa,Utility";
    TTrace trace{static_cast<char const *>(configuration)};
    return trace.QueryLevel() == (TTrace::error | TTrace::warning) ? done : wrong;
}

// Streams

TOutcome ReadsLines() {
    TFixedBuf bytes("one\r\ntwo\n");
    std::istream source(&bytes);
    TiLineStream lines(&source);
    return Reads(lines, "one\r\ntwo\n");
}

TOutcome ReadsALine() {
    TFixedBuf bytes("a text that is longer than what any class keeps in itself, so that it needs memory\r\n");
    std::istream source(&bytes);
    TiLineStream lines(&source);
    std::string line;
    TLineRead const read = lines.ReadLine(line, 512);
    if (read == TLineRead::line)
        return line == fsLongText ? done : wrong;
    return read == TLineRead::end && lines.bad() ? reported : wrong;
}

TOutcome DecodesStrictly() {
    TString decoded("before");
    try {
        if (!TBase64::DecodeStrict(TBase64::EncodeLine(fsLongText), decoded))
            return wrong;
    } catch (TOutOfMemory const &) {
        return decoded == "before" ? reported : wrong;
    }
    return Is(decoded, fsLongText);
}

TOutcome WritesLines() {
    TFixedBuf bytes;
    std::ostream sink(&bytes);
    ToLineStream lines(&sink);
    lines << "one\r\n" << std::flush;
    return Wrote(lines, bytes.Written(), "one\r\n");
}

TOutcome ReadsABody() {
    TFixedBuf bytes("one\r\n..two\r\n.\r\nnext");
    std::istream source(&bytes);
    TiDotByteStream body(source);
    return Reads(body, "one\r\n.two\r\n");
}

TOutcome WritesABody() {
    TFixedBuf bytes;
    std::ostream sink(&bytes);
    ToDotByteStream body(sink);
    body << "one\r\n.two\r\n";
    if (body.good() && body.WriteTermination() != 0)
        body.setstate(std::ios_base::badbit);
    return Wrote(body, bytes.Written(), "one\r\n..two\r\n.\r\n");
}

TOutcome EndsABodyAtItsLines() {
    TFixedBuf bytes;
    std::ostream sink(&bytes);
    ToDotByteStream body(sink, 1);
    try {
        body << "head\r\n\r\none\r\ntwo\r\n" << std::flush;
    } catch (TDotByteLinesException const &) {
        return bytes.Written() == "head\r\n\r\none\r\n.\r\n" ? done : wrong;
    }
    return body.good() ? wrong : reported;
}

TOutcome JoinsStreams() {
    TFixedBuf first("one\n");
    TFixedBuf second("two\n");
    std::istream one(&first);
    std::istream two(&second);
    TiConcatStream both(1, one, two);
    return Reads(both, "one\r\ntwo\r\n");
}

TOutcome WritesToMemory() {
    TMemStream stream(16);
    stream << fsLongText;
    if (!stream)
        return reported;
    stream.seekg(0);
    return Reads(stream, fsLongText);
}

TOutcome WritesToATemporaryFile() {
    class TAtOnce : public TTempStreamTest {
    public:
        int Test(TTempStreamBuf *buffer) override { return buffer->QueryFirstBuffer() != nullptr; }
    };
    TTempStream stream(16, "test", new TAtOnce);
    stream << fsLongText << std::flush;
    if (!stream)
        return reported;
    stream.seekg(0);
    return Reads(stream, fsLongText);
}

TOutcome Serialises() {
    TFixedBuf bytes;
    {
        std::ostream sink(&bytes);
        ToBinaryStream out(sink, 1);
        out << 7 << TString("text");
        TagVar(TString("value")).WriteToBinaryStream(out);
        TTextMessage("%d of %s", 1, "two").WriteToBinaryStream(out);
        if (out.fail())
            return reported;
    }
    TFixedBuf copy(bytes.Written());
    std::istream source(&copy);
    TiBinaryStream in(source, 1);
    int number = 0;
    TString text;
    TagVar value;
    TTextMessage message;
    in >> number >> text;
    value.ReadFromBinaryStream(in);
    message.ReadFromBinaryStream(in);
    if (in.fail())
        return reported;
    if (!value.QueryString() || value.QueryString()->IsNull())
        return reported; // a value without memory for its text has none
    if (number != 7 || View(text) != "text" || View(*value.QueryString()) != "value")
        return wrong;
    return Is(message.QueryMessage(), "1 of two");
}

TOutcome PrintsToAStringStream() {
    oStringStream out;
    out << fsLongText << 5 << std::ends;
    if (!out.good())
        return reported;
    std::string_view const text(out.str());
    out.freeze(0);
    return text.substr(0, text.size() - 1) == fsLongText && text.back() == '5' ? done : wrong;
}

TOutcome WritesToNothing() {
    ToNulStream out;
    out << fsLongText;
    return out.good() ? done : wrong;
}

// Locks, threads, timers, memory

TOutcome Locks() {
    TMutexSemaphore mutex;
    TMutexSemaphoreEntry const entry(mutex, 0);
    if (entry.State() == TMutexSemaphore::Error)
        return reported;
    return entry.State() == TMutexSemaphore::Locked ? done : wrong;
}

TOutcome LocksByName() {
    TMutexSemaphore mutex("tuzutil.tests.outofmemory");
    TMutexSemaphoreEntry const entry(mutex, 0);
    if (entry.State() == TMutexSemaphore::Error)
        return reported;
    return entry.State() == TMutexSemaphore::Locked ? done : wrong;
}

TOutcome PostsAnEvent() {
    TReference<TSemaphore> const event(new TSemaphore);
    if (event->Post() != 0)
        return reported;
    return event->Wait(0) == 0 ? done : wrong;
}

TOutcome RunsAThread() {
    class TWork : public TThread {
    public:
        int Run() override { return 17; }
    };
    TReference<TWork> const work(new TWork);
    if (work->Start() != 0)
        return reported;
    work->WaitForTermination(-1);
    if (work->QueryResult() == -1)
        return reported; // as for a body that throws
    return work->QueryResult() == 17 ? done : wrong;
}

TOutcome ArmsATimer() {
    TReference<TSemaphore> const event(new TSemaphore);
    TTimer timer(event);
    timer.Set(1000);
    bool const isArmed = timer.QueryPostTime() != 0;
    timer.Cancel();
    return isArmed ? done : reported;
}

TOutcome FillsSharedMemory() {
    auto const memory = ipcSharedMemory::OpenOrCreate("tuzutil.tests.outofmemory.filled", 64,
                                                      [](void *block) { std::memset(block, 1, 64); });
    if (!memory)
        return memory.QueryError() != 0 ? reported : wrong;
    return memory.TrueSize() == 64 && static_cast<char const *>(memory.Pointer())[63] == 1 ? done : wrong;
}

TOutcome SharesMemory() {
    ipcSharedMemory const memory("tuzutil.tests.outofmemory.block", 64);
    if (!memory)
        return memory.Pointer() == nullptr && memory.TrueSize() == 0 && memory.QueryError() != 0 &&
                       (memory.Name() == nullptr || std::strstr(memory.Name(), "outofmemory.block"))
                   ? reported
                   : wrong;
    std::memset(memory.Pointer(), 1, 64);
    ipcSharedMemory const opened("tuzutil.tests.outofmemory.block");
    if (!opened)
        return reported;
    return *static_cast<char *>(opened.Pointer()) == 1 ? done : wrong;
}

// Names, directories, languages, the rest

TOutcome NamesFiles() {
    TFileName const name(TFileName("mail\\users"), TFileName("anna"));
    TFileName const wide(name.QueryNameUnicode());
    TFileName const joined(wide, TFileName("box")); // of two encodings
    return Is(joined.QueryNameLocal(), "mail\\users\\anna\\box");
}

TOutcome ListsADirectory() {
    static TTempFolder const folder;
    static bool const isFilled = (folder.AddFile("one"), folder.AddFile("two"), true);
    TDirectory directory(folder.Name().c_str());
    int count = 0;
    for (TString path = directory.FindFirst(); path; path = directory.FindNext())
        ++count;
    return isFilled && count == 2 ? done : wrong;
}

TOutcome MakesDirectories() {
    static TTempFolder const folder;
    TString const path = TDirectory::Combine(folder.Name().c_str(), "a\\b\\c");
    return TDirectory::MakeTree(path) == 0 ? done : wrong;
}

TOutcome FindsTexts() {
    TTextMessage::StoreID const mail(TString("Mail"), ExplicitInit);
    TTextMessageStorePM store(mail, "mail.dll");
    TString const text = TTextMessage(mail, 1, 17, "default %d %s", 5, "Anna").QueryMessage();
    if (View(text) == "default 5 Anna")
        return reported; // a text that cannot be looked up is not there
    return Is(text, "Anna hat 5 Nachrichten");
}

TOutcome LoadsALibrary() {
    TDll const library(LanguageLibrary("German\\mail.dll").c_str());
    return library.loadMessage(17, 1).length() != 0 ? done : wrong;
}

TOutcome CollectsElements() {
    TSetOf<TString> set;
    for (char const *each : {"a", "b", "c"})
        set.Add(std::make_unique<TString>(each));
    TSparseArrayOf<TString> array;
    auto value = std::make_unique<TString>("x");
    array.Set(1000, value.get());
    value.release();
    return array.Find(1000) && View(*array.Find(1000)) == "x" && View(*set.Find(2)) == "c" ? done : wrong;
}

TOutcome WeaklyRefers() {
    class TObject : public TWeakRefCounted {};
    TReference<TObject> const object(new TObject);
    TReference<TObject> const copy(object);
    return copy->QueryReferenceCount() == 2 ? done : wrong;
}

TOutcome FormatsATime() {
    return Is(TDateTime(86400, 0).QueryString("%Y-%m-%d and some more of a format that is not short"),
              "1970-01-02 and some more of a format that is not short");
}

TOutcome TellsItsVersion() {
    TVersion const version(3, 7);
    return std::strncmp(version.QueryVersion(), "3.7.", 4) == 0 ? done : wrong;
}

struct TOperation {
    char const *name;
    TOutcome (*run)();
};

#define OPERATION(name)                                                                                                \
    { #name, name }
TOperation const fsOperations[] = {
    OPERATION(MakesStrings),         OPERATION(AppendsToStrings),
    OPERATION(EncodesAndDigests),    OPERATION(RaisesAnException),
    OPERATION(DescribesAnException), OPERATION(HoldsValues),
    OPERATION(FormatsAMessage),      OPERATION(WritesARecord),
    OPERATION(TellsAnObserver),      OPERATION(TracesToItsOwnFile),
    OPERATION(TracesToASharedFile),  OPERATION(IsConfigured),
    OPERATION(ReadsLines),           OPERATION(WritesLines),
    OPERATION(ReadsALine),           OPERATION(DecodesStrictly),
    OPERATION(ReadsABody),           OPERATION(WritesABody),
    OPERATION(EndsABodyAtItsLines),  OPERATION(JoinsStreams),
    OPERATION(WritesToMemory),       OPERATION(WritesToATemporaryFile),
    OPERATION(Serialises),           OPERATION(PrintsToAStringStream),
    OPERATION(WritesToNothing),      OPERATION(Locks),
    OPERATION(LocksByName),          OPERATION(PostsAnEvent),
    OPERATION(RunsAThread),          OPERATION(ArmsATimer),
    OPERATION(SharesMemory),         OPERATION(FillsSharedMemory),
    OPERATION(NamesFiles),           OPERATION(ListsADirectory),
    OPERATION(MakesDirectories),     OPERATION(FindsTexts),
    OPERATION(LoadsALibrary),        OPERATION(CollectsElements),
    OPERATION(WeaklyRefers),         OPERATION(FormatsATime),
    OPERATION(TellsItsVersion),      OPERATION(AnswersWhat),
};
#undef OPERATION

std::ostream &operator<<(std::ostream &out, TOperation const &operation) {
    return out << operation.name;
}

class OutOfMemory : public testing::TestWithParam<TOperation> {
protected:
    static void SetUpTestSuite() {
        TSearchNLSPath::fsNLSpath = LanguageLibrary("%L\\%N").c_str();
        TSearchNLSPath::SetLang("German");
        KeepThreadsMemory();
        // The first exception of a process leaves tables of the runtime's.
        EXPECT_THROW(TString().subString(0), TInvalidRequest);
        EXPECT_THROW(throw std::bad_alloc(), std::bad_alloc);
        memory::FailFrom(1);
        EXPECT_THROW(TString("x"), TOutOfMemory);
        memory::Stop();
    }

    // The system keeps the memory of threads that have ended for later ones, and locks that were waited for leave what
    // others wait with. From here on there is enough for some threads at once, as for one that is ending and its
    // successor.
    static void KeepThreadsMemory() {
        std::atomic<int> missing{4};
        TMutexSemaphore mutexes[4];
        std::vector<std::unique_ptr<TMutexSemaphoreEntry>> held;
        std::vector<std::thread> threads;
        for (TMutexSemaphore &mutex : mutexes) {
            held.push_back(std::make_unique<TMutexSemaphoreEntry>(mutex, TMutexSemaphore::fsInfinite));
            threads.emplace_back([&missing, &mutex] {
                for (--missing; missing != 0;)
                    std::this_thread::yield();
                EXPECT_EQ(TMutexSemaphoreEntry(mutex, 100).State(), TMutexSemaphore::TimedOut);
            });
        }
        for (std::thread &thread : threads)
            thread.join();
    }

    // Runs the operation; exceptions for a lack of memory are reports.
    TOutcome Run() {
        try {
            return GetParam().run();
        } catch (TException const &problem) {
            bool const isMemory = dynamic_cast<TResourceExhausted const *>(&problem) != nullptr;
            return isMemory && problem.text(0) ? reported : wrong;
        } catch (std::bad_alloc const &) {
            return reported;
        }
    }

    // A thread that has ended gives its memory back a little later.
    static long LiveBlocksOnceThreadsAreGone(long expected) {
        for (int tries = 0; tries != 5000 && memory::LiveBlocks() != expected; ++tries)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return memory::LiveBlocks();
    }

    // Fails the allocations of that kind from the first on, until the operation asks for fewer.
    void FailEach(void (*fail)(long) noexcept) {
        ASSERT_EQ(Run(), done);
        ASSERT_EQ(Run(), done); // what is kept for the life of the process is there now
        std::this_thread::sleep_for(std::chrono::milliseconds(20)); // its threads end, or the test waits for them below
        long const before = memory::LiveBlocks();
        for (long number = 1;; ++number) {
            fail(number);
            TOutcome const outcome = Run();
            long const asked = memory::Stop();
            ASSERT_NE(outcome, wrong) << "allocation " << number;
            ASSERT_EQ(Run(), done) << "after allocation " << number << " failed";
            ASSERT_EQ(LiveBlocksOnceThreadsAreGone(before), before) << "allocation " << number;
            if (asked < number) {
                ASSERT_EQ(outcome, done);
                RecordProperty("allocations", static_cast<int>(number - 1));
                return;
            }
        }
    }
};

TEST_P(OutOfMemory, IsToldWhenOneAllocationFails) {
    FailEach(memory::FailOnly);
}

TEST_P(OutOfMemory, IsToldWhenAllFromOneOnFail) {
    FailEach(memory::FailFrom);
}

INSTANTIATE_TEST_SUITE_P(Each, OutOfMemory, testing::ValuesIn(fsOperations),
                         [](auto const &each) { return std::string(each.param.name); });

} // namespace

// A conversion that goes on character by character must not move the whole text for each that is dropped.
TEST(OutOfMemorySeam, AFullTextTakesNoFurtherMemory) {
    TString const narrow(nullptr, 1000000, 'x');
    TString wide(nullptr, 1000000, 'y');
    wide.SetUnicode(1);
    TTextMessage const messages[] = {
        TTextMessage(u"%1$.65536f%1$.65536f%1$.65536f%1$.65536f", 1.0),
        TTextMessage(u"%1$hs%1$hs%1$hs%1$hs%1$hs%1$hs%1$hs%1$hs%1$hs%1$hs%1$hs%1$hs%1$hs%1$hs%1$hs%1$hs%1$hs", narrow),
        TTextMessage("%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s", wide)};
    for (TTextMessage const &message : messages) {
        memory::FailFrom(0); // none fails; they are counted
        unsigned int const length = message.QueryMessage().length();
        long const asked = memory::Stop();
        EXPECT_GT(length, 0u);
        EXPECT_LT(asked, 100);
    }
}

TEST(OutOfMemorySeam, ReachesStringsAndNew) {
    memory::FailFrom(1);
    bool stringFails = false;
    bool newFails = false;
    try {
        TString const text("x");
    } catch (TOutOfMemory const &) {
        stringFails = true;
    }
    try {
        TSemaphore *volatile event = new TSemaphore;
        delete event;
    } catch (std::bad_alloc const &) {
        newFails = true;
    }
    memory::Stop();
    EXPECT_TRUE(stringFails);
    EXPECT_TRUE(newFails);
}

// The table of open enumerations grows from time to time. An enumeration that finds no place in it is closed, and the
// others go on.
TEST(OutOfMemoryEnumerations, TheTableThatCannotGrowKeepsTheOthers) {
    TTempFolder const folder;
    folder.AddFile("one");
    folder.AddFile("two");
    TString const name(folder.Name().c_str());
    std::vector<std::unique_ptr<TDirectory>> open;
    long refused = 0;
    while (open.size() < 200) {
        for (long number = 1;; ++number) {
            auto listed = std::make_unique<TDirectory>(name);
            TString found;
            memory::FailOnly(number);
            try {
                found = listed->FindFirst();
            } catch (TOutOfMemory const &) {
                ++refused;
            }
            if (memory::Stop() < number) {
                EXPECT_TRUE(static_cast<bool>(found));
                open.push_back(std::move(listed));
                break;
            }
        }
    }
    EXPECT_GT(refused, 200); // also where only a text was lacking
    for (auto const &listed : open) {
        EXPECT_TRUE(static_cast<bool>(listed->FindNext()));
        EXPECT_FALSE(static_cast<bool>(listed->FindNext()));
    }
}

TEST(OutOfMemorySharedMemory, AnObjectWithoutAnyMemoryAnswersNothing) {
    char const *const name = "tuzutil.tests.outofmemory.nothing";
    memory::FailOnly(1);
    ipcSharedMemory const created(name, 64);
    memory::Stop();
    memory::FailOnly(1);
    ipcSharedMemory const opened(name);
    memory::Stop();
    for (ipcSharedMemory const *object : {&created, &opened}) {
        EXPECT_EQ(object->rdstate(), 1);
        EXPECT_NE(object->QueryError(), 0);
        EXPECT_EQ(object->Name(), nullptr);
        EXPECT_EQ(object->Pointer(), nullptr);
        EXPECT_EQ(object->Owner(), 0);
        EXPECT_EQ(object->TrueSize(), 0);
    }
    EXPECT_EQ(created.Size(), 64);
    EXPECT_EQ(opened.Size(), 0);
}
