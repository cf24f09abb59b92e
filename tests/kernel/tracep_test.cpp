#include "tuzutil/TRACEP.h"

#include "support/CaptureTrace.h"
#include "support/PureCall.h"
#include "tuzutil/EXCEPTN.h"
#include "tuzutil/PURETRAP.h"
#include "tuzutil/TRACENOT.h"

#include <memory>
#include <string>

namespace {

TTrace::Category const fsSession(8, "Session");

int fsEvaluations = 0;

char const fsNamedFile[] = "src/named.cpp";
extern char const fsFileOfUnknownSize[];

} // namespace

TEST(TTracePoint, Example) {
    TCapture capture;
    auto const fetch = [](int number) {
        TTracePoint::Write(TTrace::functionEntry, fsSession, "Fetch(%d)", number);
        TTraceExit exit(fsSession);
        exit.SetFormatMsg("Fetch, rc=%d");
        exit.SetArgs(TagVar(0));
        exit.SetDebugging("src/session.cpp", 12);
        exit.SetRC(17);
        return 17;
    };
    EXPECT_EQ(fetch(3), 17);
    ASSERT_EQ(capture.Entries().size(), 2u);
    EXPECT_EQ(capture.Entries()[0].level, 0x1000u);
    EXPECT_EQ(capture.Entries()[0].text, "Fetch(3)");
    EXPECT_EQ(capture.Entries()[1], (TSeenEntry{0x2000, "Session", "Fetch, rc=17", "src/session.cpp", 12}));
}

TEST(TTracePoint, BuildsNothingWhileNobodyListens) {
    struct TCounted {
        operator TagVar() const {
            ++fsEvaluations;
            return TagVar(1);
        }
    };
    fsEvaluations = 0;
    TTracePoint::Write(TTrace::error, fsSession, "file", "%d", TCounted());
    TCapture capture(8, 8);
    TTracePoint::Write(TTrace::error, fsSession, "file", "%d", TCounted());
    EXPECT_EQ(fsEvaluations, 0);
    TTracePoint::Write(TTrace::warning, fsSession, "file", "%d", TCounted());
    EXPECT_EQ(fsEvaluations, 1);
    capture.ExpectOne(8, "Session", "1", "file");
}

TEST(TTracePoint, TakesWhateverATagVarCanBeMadeFrom) {
    TCapture capture;
    TTracePoint::Write(TTrace::error, fsSession, "file", "%s %s %d %u %.1f", "text", TString("string"), -1, 2u, 0.5);
    capture.ExpectOne(4, "Session", "text string -1 2 0.5", "file");
    TTracePoint::Write(TTrace::error, fsSession, "file", "no argument");
    capture.ExpectOne(4, "Session", "no argument", "file");
}

TEST(TTracePoint, TakesTheLineOfTheCall) {
    TCapture capture;
    unsigned long const line = __LINE__ + 1;
    TTracePoint::Write(TTrace::error, fsSession, "file", "text");
    ASSERT_EQ(capture.Entries().size(), 1u);
    EXPECT_EQ(capture.Entries()[0].line, line);
}

TEST(TTracePoint, AFormatAloneTakesTheFileAndTheLineOfTheCall) {
    TCapture capture;
    std::string const user = "joe";
    char const *const name = "jim";
    unsigned long const line = __LINE__ + 1;
    TTracePoint::Write(TTrace::error, fsSession, "user %s logged in", user);
    TTracePoint::Write(TTrace::error, fsSession, "user %s logged in", name);
    TTracePoint::Write(TTrace::error, fsSession, "user %s logged in", "jane");
    TTracePoint::Write(TTrace::error, fsSession, "user %2$s has %1$zu", user.size(), TString("jack"));
    TTracePoint::Write(TTrace::error, fsSession, "nobody");
    char const *const texts[] = {"user joe logged in", "user jim logged in", "user jane logged in", "user jack has 3",
                                 "nobody"};
    ASSERT_EQ(capture.Entries().size(), 5u);
    for (unsigned long i = 0; i < 5; ++i)
        EXPECT_EQ(capture.Entries()[i], (TSeenEntry{4, "Session", texts[i], __FILE__, line + i}));
}

TEST(TTracePoint, ATextBeforeAFormatIsTheNameOfAFile) {
    TCapture capture;
    char const *const file = "src/pointer.cpp";
    char array[] = "src/array.cpp";
    TString const format("%d messages");
    unsigned long const line = __LINE__ + 1;
    TTracePoint::Write(TTrace::error, fsSession, "src/literal.cpp", "%d messages", 5);
    TTracePoint::Write(TTrace::error, fsSession, "src/literal.cpp", format, 5);
    TTracePoint::Write(TTrace::error, fsSession, file, "%d messages", 5);
    TTracePoint::Write(TTrace::error, fsSession, array, "%d messages", 5);
    TTracePoint::Write(TTrace::error, fsSession, {file, line + 4}, format, 5);
    TTracePoint::Write(TTrace::error, fsSession, {"src/literal.cpp", line + 5}, "%d messages", 5);
    TTracePoint::Write(TTrace::error, fsSession, TTracePlace(file, line + 6), "%d messages", 5);
    char const *const files[] = {"src/literal.cpp", "src/literal.cpp", file, array, file, "src/literal.cpp", file};
    ASSERT_EQ(capture.Entries().size(), 7u);
    for (unsigned long i = 0; i < 7; ++i)
        EXPECT_EQ(capture.Entries()[i], (TSeenEntry{4, "Session", "5 messages", files[i], line + i}));
}

TEST(TTracePoint, EveryStaticArrayMayNameTheFile) {
    TCapture capture;
    unsigned long const line = __LINE__ + 1;
    TTracePoint::Write(TTrace::error, fsSession, fsNamedFile, "%d messages", 5);
    TTracePoint::Write(TTrace::error, fsSession, fsFileOfUnknownSize, "%d messages", 5);
    TTracePoint::Write(TTrace::error, fsSession, nullptr, "%d messages", 5);
    char const *const files[] = {"src/named.cpp", "src/unknown.cpp", "(null)"};
    ASSERT_EQ(capture.Entries().size(), 3u);
    for (unsigned long i = 0; i < 3; ++i)
        EXPECT_EQ(capture.Entries()[i], (TSeenEntry{4, "Session", "5 messages", files[i], line + i}));
}

#if defined(__cpp_lib_format)
TEST(TTracePoint, FormatsOfTheStandardLibrary) {
    TCapture capture;
    unsigned long const line = __LINE__ + 1;
    TTracePoint::Format(TTrace::error, fsSession, "user {} has {:02}", TString("joe"), 5);
    ASSERT_EQ(capture.Entries().size(), 1u);
    EXPECT_EQ(capture.Entries()[0], (TSeenEntry{4, "Session", "user joe has 05", __FILE__, line}));
}
#endif

TEST(TTraceExit, WithoutAMessageNothingIsWritten) {
    TCapture capture;
    {
        TTraceExit exit(fsSession);
        exit.SetArgs(TagVar(1));
        exit.SetRC(TagVar(1));
        exit.SetDebugging("file", 1);
        exit[3] = TagVar(17);
        EXPECT_TRUE(exit[3].IsNil());
    }
    capture.ExpectNone();
}

TEST(TTraceExit, IsWrittenOnlyWhereTheExitLevelIsTraced) {
    TCapture capture(0x1000);
    {
        TTraceExit exit(fsSession);
        exit.SetFormatMsg("left");
    }
    capture.ExpectNone();
    capture.trace.SetLevel(0x2000);
    {
        TTraceExit exit(fsSession);
        exit.SetFormatMsg("left");
        exit.SetDebugging("file", 1);
    }
    capture.ExpectOne(0x2000, "Session", "left", "file");
}

TEST(TTraceExit, TakesArgumentsInEveryForm) {
    TCapture capture(0x2000);
    TagVar const one(1), two(2), none(TagVar::endOfArgs);
    TagVar const *list[] = {&one, &two, nullptr};
    auto const text = [&](auto set) {
        {
            TTraceExit exit(fsSession);
            exit.SetFormatMsg("%d %d %d %d %d %d");
            set(exit);
        }
        std::string const result = capture.Entries().back().text;
        capture.Entries().clear();
        return result;
    };
    EXPECT_EQ(text([&](TTraceExit &exit) { exit.SetArgs(one, two, one, two, one, two); }), "1 2 1 2 1 2");
    capture.trace.SetLevel(0x2000);
    EXPECT_EQ(text([&](TTraceExit &exit) { exit.SetArgs(&one, &two, &none, nullptr); }), "1 2 0 0 0 0");
    EXPECT_EQ(text([&](TTraceExit &exit) { exit.SetArgs(&one, nullptr); }), "1 0 0 0 0 0");
    EXPECT_EQ(text([&](TTraceExit &exit) { exit.SetArgs(list); }), "1 2 0 0 0 0");
    EXPECT_EQ(text([&](TTraceExit &exit) {
                  exit.SetArgs(one);
                  exit.SetArgs();
              }),
              "0 0 0 0 0 0");
    EXPECT_EQ(text([&](TTraceExit &exit) {
                  exit.SetArgs(one, two);
                  exit[1] = TagVar(9);
              }),
              "1 9 0 0 0 0");
}

TEST(TTraceExit, AReturnCodeNeedsAnArgument) {
    TCapture capture(0x2000);
    TTraceExit exit(fsSession);
    exit.SetFormatMsg("rc=%d");
    EXPECT_THROW(exit.SetRC(TagVar(1)), TInvalidParameter);
    EXPECT_THROW(exit[0], TInvalidParameter);
}

TEST(TTraceExit, CopiesShareOneMessage) {
    TCapture capture(0x2000);
    {
        TTraceExit exit(fsSession);
        exit.SetFormatMsg("rc=%d");
        exit.SetArgs(TagVar(1));
        TTraceExit const copy(exit);
        exit.SetRC(TagVar(2));
    }
    ASSERT_EQ(capture.Entries().size(), 2u);
    EXPECT_EQ(capture.Entries()[0].text, "rc=2");
    EXPECT_EQ(capture.Entries()[1].text, "rc=2");
}

TEST(TTraceExit, ALaterFormatTakesThePlaceOfTheFirst) {
    TCapture capture(0x2000);
    {
        TTraceExit exit(fsSession);
        exit.SetFormatMsg("first %d");
        exit.SetArgs(TagVar(1));
        TagVar &argument = exit[0];
        exit.SetFormatMsg("second");
        argument = TagVar(2); // still there
        exit.SetDebugging("file", 1);
    }
    capture.ExpectOne(0x2000, "Session", "second", "file");
}

TEST(TTraceExit, FormatsMayBeSetAnyNumberOfTimes) {
    TCapture capture(TTrace::functionExit);
    {
        TTraceExit exit(fsSession);
        exit.SetFormatMsg("first %d");
        exit.SetArgs(TagVar(1));
        TTraceExit const copy(exit);
        TagVar &first = exit[0];
        for (int i = 0; i < 100000; ++i)
            exit.SetFormatMsg("later");
        first = TagVar(2); // the message is still there
    }
    ASSERT_EQ(capture.Entries().size(), 2u);
    EXPECT_EQ(capture.Entries()[0].text, "first 2"); // of the copy, which ends before
    EXPECT_EQ(capture.Entries()[1].text, "later");
}

TEST(TTraceExit, ACopyKeepsEarlierMessagesIfTheOtherEndsFirst) {
    TCapture capture(TTrace::functionExit);
    TString text("kept");
    auto exit = std::make_unique<TTraceExit>(fsSession);
    exit->SetFormatMsg("%s");
    exit->SetArgs(text);
    exit->SetFormatMsg("second");
    auto copy = std::make_unique<TTraceExit>(*exit);
    exit->SetFormatMsg("third");
    exit = nullptr;
    char const *const shared = text.view().data();
    text.MakeUnique();
    EXPECT_NE(text.view().data(), shared); // the first message is still there and has the former buffer
    copy = nullptr;
    ASSERT_EQ(capture.Entries().size(), 2u);
    EXPECT_EQ(capture.Entries()[0].text, "third");
    EXPECT_EQ(capture.Entries()[1].text, "second");
}

TEST(TTraceObjects, NothingCanBeAdded) {
    TTraceObjects objects(5);
    char text[] = "x";
    EXPECT_EQ(objects.Add("stderr", 1, text), 0xFFFFFFFFu);
    EXPECT_EQ(TTraceObjects().Add("stderr", 1, text), 0xFFFFFFFFu);
    EXPECT_FALSE(objects[0].QueryPointer());
    EXPECT_FALSE(objects[7].QueryPointer());
    objects.Remove(0);
    objects.Remove(7);
}

TEST(TTraceNotify, IsToldOnceForEachWord) {
    class TCounter : public TTraceNotify {
    public:
        void Notify() override {
            ++count;
            levels.push_back(TTrace::QueryGlobalLevel());
            components.push_back(TTrace::QueryGlobalComponent());
        }
        int count = 0;
        std::vector<unsigned long> levels, components;
    };
    TCounter counter;
    {
        TCapture capture(4, 1);
        EXPECT_EQ(counter.levels, (std::vector<unsigned long>{4, 4}));
        EXPECT_EQ(counter.components, (std::vector<unsigned long>{0, 1}));
    }
    EXPECT_EQ(counter.count, 4);
    TTrace::SetGlobalLevel(0);
    EXPECT_EQ(counter.count, 5);
}

TEST(TTraceNotify, ObserversAreToldInOrderAndMayGoMeanwhile) {
    struct TObserver : TTraceNotify {
        TObserver(std::string &log, char mark) : fLog(log), fMark(mark) {}
        void Notify() override {
            fLog += fMark;
            std::unique_ptr<TObserver> const gone(std::move(ends));
            if (throws)
                throw 17;
        }
        std::unique_ptr<TObserver> ends;
        bool throws = false;

    private:
        std::string &fLog;
        char fMark;
    };
    std::string log;
    TObserver first(log, 'a');
    auto second = std::make_unique<TObserver>(log, 'b');
    TObserver third(log, 'c');
    TTraceNotify::NotifyAll();
    EXPECT_EQ(log, "abc");
    log.clear();
    first.ends = std::move(second);
    first.throws = true;
    TTraceNotify::NotifyAll();
    EXPECT_EQ(log, "ac");
}

TEST(TTraceNotify, AnObserverMayEndItself) {
    struct TShort : TTraceNotify {
        explicit TShort(int &count) : fCount(count) {}
        void Notify() override {
            ++fCount;
            delete this;
        }

    private:
        int &fCount;
    };
    int count = 0;
    new TShort(count);
    TTraceNotify::NotifyAll();
    TTraceNotify::NotifyAll();
    EXPECT_EQ(count, 1);
}

TEST(TPureCall, WritesAnEntryAndReturns) {
    TCapture capture(0x2, 1);
    EXPECT_EQ(TPureCall::Trap(), 0);
    EXPECT_EQ(capture.Entries(),
              (std::vector<TSeenEntry>{{0x2, "Trace", "Pure virtual function called", "src/utility/PURETRAP", 40}}));
}

TEST(TPureCall, ATrapWhileItsEntryIsWrittenReturnsAtOnce) {
    class TBare : public TTrace::Base {
    public:
        TBare() : Base(0x2, 1) {}
    };
    TTrace bare;
    bare.QueryPointer() = TTrace::Pointer(new TBare);
    TCapture capture(0x2, 1);
    CallPure("class .*TBare does not override TTrace::Base::Write", [&] {
        EXPECT_EQ(TPureCall::Trap(), 0);
        EXPECT_EQ(capture.Entries().size(), 1u);
    });
}

TEST(TTraceNotify, WithoutItsFunctionAnObserverTrapsAsAPureCall) {
    class TDeaf : public TTraceNotify {
    } deaf;
    CallPure("class .*TDeaf does not override TTraceNotify::Notify", [&] {
        TCapture capture(0x2, 1); // which notifies all observers
        EXPECT_EQ(TPureCall::Trap(), 0);
    });
}

TEST(TExceptionTrace, WritesNoRecord) {
    TCapture capture;
    TException problem("text", 1, TException::recoverable);
    problem.Trace(TUtilityTraceCategory::String);
    problem.TraceRethrow(TUtilityTraceCategory::String);
    capture.ExpectNone();
}

namespace {

char const fsFileOfUnknownSize[] = "src/unknown.cpp";

} // namespace
