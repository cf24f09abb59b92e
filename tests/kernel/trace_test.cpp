#include "tuzutil/TRACE.h"

#include "support/CaptureTrace.h"
#include "support/Expect.h"
#include "support/PureCall.h"
#include "tuzutil/TRACEP.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

TTrace::Category const fsSession(8, "Session");
TTrace::Category const fsOther(1, "Other");

void Write(unsigned long level, TTrace::Category const &category, char const *text = "text") {
    TTextMessage message(text);
    TTrace::WriteEntry(level, category, message);
}

// Ends another destination when an entry comes.
class TEnding : public TTrace::Base {
public:
    explicit TEnding(TTrace &victim) : fVictim(victim) {}
    void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override { fVictim = TTrace(); }

private:
    TTrace &fVictim;
};

} // namespace

TEST(TTrace, Example) {
    class TCounter : public TTrace::Base {
    public:
        void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override { ++count; }
        int count = 0;
    };
    TTrace trace;
    auto *const counter = new TCounter;
    trace.QueryPointer() = TTrace::Pointer(counter);
    TTracePoint::Write(TTrace::error, fsSession, "src/session.cpp", "%d bytes lost", 17);
    EXPECT_EQ(counter->count, 1);
}

TEST(TTrace, WithoutDestinationNothingIsTraced) {
    EXPECT_EQ(TTrace::Base::fsAnchor, nullptr);
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 0u);
    EXPECT_EQ(TTrace::QueryGlobalComponent(), 0u);
    EXPECT_FALSE(TTrace::IsGlobalTracing(0xFFFFFFFF, 0xFFFFFFFF));
    Write(4, fsSession);
}

TEST(TTrace, ANewDestinationHasTheDefaultSettings) {
    TTrace trace;
    trace.QueryPointer() = TTrace::Pointer(new TCaptureDestination);
    EXPECT_EQ(trace.QueryLevel(), 0x1000Fu);
    EXPECT_EQ(trace.QueryComponent(), 0xFFFFFFFFu);
    EXPECT_EQ(trace.QueryDefaultTracing(), 1);
    EXPECT_EQ(trace.QueryDisplayPrefix(), 1);
    EXPECT_EQ(trace.QueryCountSaveState(), 0u);
    EXPECT_EQ(trace.QueryDisableRestore(), 0);
    EXPECT_EQ(trace.StillTracing(), 1);
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 0x1000Fu);
    EXPECT_EQ(TTrace::QueryGlobalComponent(), 0xFFFFFFFFu);
}

TEST(TTrace, TheGlobalWordsAreWhatAllDestinationsListenTo) {
    {
        TCapture errors(4, 1);
        TCapture warnings(8, 8);
        EXPECT_EQ(TTrace::QueryGlobalLevel(), 0xCu);
        EXPECT_EQ(TTrace::QueryGlobalComponent(), 9u);
        EXPECT_TRUE(TTrace::IsGlobalTracing(4, 8));
        EXPECT_FALSE(TTrace::IsGlobalTracing(4, 8, fsSession));
        EXPECT_TRUE(TTrace::IsGlobalTracing(8, 8, fsSession));
        Write(4, fsSession);
        errors.ExpectNone();
        warnings.ExpectNone();
        Write(8, fsSession);
        errors.ExpectNone();
        EXPECT_EQ(warnings.Entries().size(), 1u);
        errors.trace.SetLevel(0x10);
        warnings.trace.SetComponent(0x20);
        EXPECT_EQ(TTrace::QueryGlobalLevel(), 0x18u);
        EXPECT_EQ(TTrace::QueryGlobalComponent(), 0x21u);
    }
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 0u);
    EXPECT_EQ(TTrace::QueryGlobalComponent(), 0u);
}

TEST(TTrace, AnEntryReachesEachDestinationThatWantsItNewestFirst) {
    std::vector<int> order;
    class TOrder : public TTrace::Base {
    public:
        TOrder(std::vector<int> &seen, int number) : fSeen(seen), fNumber(number) {}
        void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override { fSeen.push_back(fNumber); }

    private:
        std::vector<int> &fSeen;
        int fNumber;
    };
    TTrace first, second, third;
    first.QueryPointer() = TTrace::Pointer(new TOrder(order, 1));
    second.QueryPointer() = TTrace::Pointer(new TOrder(order, 2));
    third.QueryPointer() = TTrace::Pointer(new TOrder(order, 3));
    second.SetLevel(8);
    Write(4, fsSession);
    EXPECT_EQ(order, (std::vector<int>{3, 1}));
}

TEST(TTrace, AnEntryCarriesLevelCategoryTextAndPlace) {
    TCapture capture;
    TTracePoint::Write(0x2, fsSession, {"src/x.cpp", 12}, "%s has %d", "inbox", 3);
    EXPECT_EQ(capture.Entries(), (std::vector<TSeenEntry>{{0x2, "Session", "inbox has 3", "src/x.cpp", 12}}));
}

TEST(TTrace, ProgramsMaySetTheWordsUntilTheNextChange) {
    TCapture capture(4, 1);
    TTrace::SetGlobalLevel(0xFF);
    TTrace::SetGlobalComponent(0xF0);
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 0xFFu);
    EXPECT_EQ(TTrace::QueryGlobalComponent(), 0xF0u);
    TTrace::SetGlobalTracing();
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 4u);
    EXPECT_EQ(TTrace::QueryGlobalComponent(), 1u);
}

TEST(TTrace, CategoriesSwitchSinglePartsOnAndOff) {
    TCapture capture;
    capture.trace.SetDefaultTracing(0);
    EXPECT_EQ(capture.trace.QueryCategory(TUtilityTraceCategory::TagVar), 0);
    EXPECT_EQ(capture.trace.UsesDefault(TUtilityTraceCategory::TagVar), 0);
    capture.trace.AddCategory(TUtilityTraceCategory::TagVar, 1);
    EXPECT_EQ(capture.trace.QueryCategory(TUtilityTraceCategory::TagVar), 1);
    EXPECT_EQ(capture.trace.UsesDefault(TUtilityTraceCategory::TagVar), 1);
    Write(4, TUtilityTraceCategory::TagVar);
    Write(4, TUtilityTraceCategory::Message);
    static TTrace::Category const twin(2, "TagVar");
    Write(4, twin);
    ASSERT_EQ(capture.Entries().size(), 1u);
    EXPECT_EQ(capture.Entries()[0].category, "TagVar");

    capture.trace.SetDefaultTracing(1);
    capture.trace.AddCategory(TUtilityTraceCategory::TagVar, 0);
    EXPECT_EQ(capture.trace.QueryCategory(TUtilityTraceCategory::TagVar), 0);
    EXPECT_FALSE(capture.trace.IsTracing(4, 1, TUtilityTraceCategory::TagVar));
    EXPECT_TRUE(capture.trace.IsTracing(4, 1));
    EXPECT_TRUE(capture.trace.IsTracing(4, 1, TUtilityTraceCategory::Message));
    capture.trace.RemoveCategory(TUtilityTraceCategory::TagVar);
    EXPECT_EQ(capture.trace.UsesDefault(TUtilityTraceCategory::TagVar), 0);
    EXPECT_EQ(capture.trace.QueryCategory(TUtilityTraceCategory::TagVar), 1);
}

TEST(TTrace, EachChangeOfTheSettingsIsToldOnce) {
    TCapture capture;
    struct TRow {
        char const *what;
        std::function<void(TTrace &)> change;
        int changes;
    };
    TRow const rows[] = {
        {"SetLevel", [](TTrace &t) { t.SetLevel(4); }, 1},
        {"SetLevel to the same", [](TTrace &t) { t.SetLevel(4); }, 1},
        {"SetComponent", [](TTrace &t) { t.SetComponent(1); }, 1},
        {"SetDefaultTracing", [](TTrace &t) { t.SetDefaultTracing(0); }, 1},
        {"SetDisplayPrefix", [](TTrace &t) { t.SetDisplayPrefix(0); }, 0},
        {"SetDisableRestore",
         [](TTrace &t) {
             t.SetDisableRestore(1);
             t.SetDisableRestore(0);
         },
         2},
        {"AddCategory", [](TTrace &t) { t.AddCategory(fsOther, 1); }, 1},
        {"AddCategory again", [](TTrace &t) { t.AddCategory(fsOther, 0); }, 1},
        {"RemoveCategory", [](TTrace &t) { t.RemoveCategory(fsOther); }, 1},
        {"RemoveCategory that is not there", [](TTrace &t) { t.RemoveCategory(fsOther); }, 0},
        {"SaveState", [](TTrace &t) { TTrace::SaveState const saved(t); }, 5},
        {"SaveState with a category", [](TTrace &t) { TTrace::SaveState const saved(t, 4, fsOther); }, 8},
        {"SaveState without restoring",
         [](TTrace &t) {
             TTrace::SaveState const saved(t);
             t.SetDisableRestore(1);
         },
         3},
        {"StopTracing", [](TTrace &t) { t.StopTracing(); }, 1},
        {"SetLevel when stopped",
         [](TTrace &t) {
             t.SetLevel(4);
             t.SetComponent(1);
         },
         0}};
    for (TRow const &row : rows) {
        capture->changes = 0;
        row.change(capture.trace);
        EXPECT_EQ(capture->changes, row.changes) << row.what;
    }
}

TEST(TTrace, MasksBeyond32BitsAreRefused) {
    TCapture capture(4, 8);
    struct TRow {
        char const *what;
        std::function<void(unsigned long)> set;
    };
    TRow const rows[] = {
        {"SetLevel", [&](unsigned long mask) { capture.trace.SetLevel(mask); }},
        {"SetComponent", [&](unsigned long mask) { capture.trace.SetComponent(mask); }},
        {"SetGlobalLevel", [&](unsigned long mask) { TTrace::SetGlobalLevel(mask); }},
        {"SetGlobalComponent", [&](unsigned long mask) { TTrace::SetGlobalComponent(mask); }},
        {"levels of a new destination", [&](unsigned long mask) { TCapture const other(mask, 8); }},
        {"components of a new destination", [&](unsigned long mask) { TCapture const other(4, mask); }},
        {"SaveState", [&](unsigned long mask) { TTrace::SaveState const saved(capture.trace, mask, fsSession); }},
    };
    unsigned long const bit32 = 0xFFFFFFFFul + 1; // 0 where there is no such bit
    for (TRow const &row : rows) {
        SCOPED_TRACE(row.what);
        row.set(~0ul);
        row.set(static_cast<unsigned long>(INT32_MIN));
        capture.trace.SetLevel(4);
        capture.trace.SetComponent(8);
        if (bit32 != 0) {
            ExpectThrows<TInvalidParameter>({"Mask beyond 32 bits", "src/utility/TRACEP"}, [&] { row.set(bit32 | 1); });
        }
        EXPECT_EQ(capture.trace.QueryLevel(), 4u);
        EXPECT_EQ(capture.trace.QueryComponent(), 8u);
        EXPECT_EQ(TTrace::QueryGlobalLevel(), 4u);
        EXPECT_EQ(TTrace::QueryGlobalComponent(), 8u);
        EXPECT_EQ(capture.trace.QueryCountSaveState(), 0u);
    }
    EXPECT_FALSE(capture.trace.IsTracing(bit32, bit32));
    EXPECT_TRUE(capture.trace.IsTracing(bit32 | 4, bit32 | 8));
    EXPECT_FALSE(TTrace::IsGlobalTracing(bit32, bit32));
}

TEST(TTrace, AllBitsOfAnyWidthAreAll32Bits) {
    TCapture capture;
    capture.trace.SetLevel(~0ul);
    EXPECT_EQ(capture.trace.QueryLevel(), 0xFFFFFFFFu);
    TTrace::SetGlobalComponent(static_cast<unsigned long>(INT32_MIN));
    EXPECT_EQ(TTrace::QueryGlobalComponent(), 0x80000000u);
}

TEST(TTrace, StoppingIsFinal) {
    TCapture capture;
    {
        TTrace::SaveState const saved(capture.trace);
        capture.trace.StopTracing();
        EXPECT_EQ(capture.trace.StillTracing(), 0);
        EXPECT_EQ(capture.trace.QueryLevel(), 0u);
        EXPECT_EQ(capture.trace.QueryComponent(), 0u);
        EXPECT_EQ(capture.trace.QueryDisableRestore(), 1);
        EXPECT_EQ(TTrace::QueryGlobalLevel(), 0u);
    }
    EXPECT_EQ(capture.trace.QueryLevel(), 0u);
    EXPECT_EQ(capture.trace.QueryCountSaveState(), 0u);
    capture.trace.SetLevel(4);
    capture.trace.SetComponent(4);
    EXPECT_EQ(capture.trace.QueryLevel(), 0u);
    EXPECT_EQ(capture.trace.QueryComponent(), 0u);
    capture.trace.SetDisableRestore(0);
    { TTrace::SaveState const saved(capture.trace, 4, fsSession); }
    EXPECT_EQ(capture.trace.QueryLevel(), 0u);
    Write(4, fsSession);
    capture.ExpectNone();
}

TEST(TTrace, AHandleWithoutDestinationAnswersNeutrally) {
    TTrace trace;
    EXPECT_EQ(trace.QueryLevel(), 0u);
    EXPECT_EQ(trace.QueryComponent(), 0u);
    EXPECT_EQ(trace.QueryDefaultTracing(), 0);
    EXPECT_EQ(trace.QueryDisplayPrefix(), 0);
    EXPECT_EQ(trace.QueryCountSaveState(), 0u);
    EXPECT_EQ(trace.QueryDisableRestore(), 1);
    EXPECT_EQ(trace.StillTracing(), 0);
    EXPECT_EQ(trace.IsTracing(0xFFFFFFFF, 0xFFFFFFFF), 0);
    EXPECT_EQ(trace.IsTracing(0xFFFFFFFF, 0xFFFFFFFF, fsOther), 0);
    EXPECT_EQ(trace.QueryCategory(fsOther), 0);
    EXPECT_EQ(trace.UsesDefault(fsOther), 1);
    trace.SetLevel(1);
    trace.SetComponent(1);
    trace.SetDefaultTracing(1);
    trace.SetDisplayPrefix(1);
    trace.SetDisableRestore(0);
    trace.StopTracing();
    trace.AddCategory(fsOther, 1);
    trace.RemoveCategory(fsOther);
    { TTrace::SaveState const saved(trace, 4, fsOther); }
    EXPECT_EQ(trace.QueryLevel(), 0u);
    EXPECT_FALSE(trace.QueryPointer());
}

TEST(TTrace, CopiesOfAHandleShareTheDestination) {
    TTrace copy;
    {
        TCapture capture(4, 1);
        copy = capture.trace;
        TTrace const another(copy);
        capture.trace.SetLevel(8);
    }
    EXPECT_EQ(copy.QueryLevel(), 8u);
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 8u);
    copy = TTrace();
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 0u);
}

TEST(TTraceSaveState, PutsTheSettingsBack) {
    TCapture capture(4, 1);
    capture.trace.AddCategory(fsSession, 0);
    {
        TTrace::SaveState const outer(capture.trace, 8, fsSession);
        EXPECT_EQ(capture.trace.QueryLevel(), 8u);
        EXPECT_EQ(capture.trace.QueryComponent(), 9u);
        EXPECT_EQ(capture.trace.QueryCategory(fsSession), 1);
        EXPECT_EQ(capture.trace.QueryCountSaveState(), 1u);
        {
            TTrace::SaveState const inner(capture.trace);
            capture.trace.SetLevel(0x10);
            capture.trace.SetDefaultTracing(0);
            EXPECT_EQ(capture.trace.QueryCountSaveState(), 2u);
        }
        EXPECT_EQ(capture.trace.QueryLevel(), 8u);
        EXPECT_EQ(capture.trace.QueryDefaultTracing(), 1);
    }
    EXPECT_EQ(capture.trace.QueryLevel(), 4u);
    EXPECT_EQ(capture.trace.QueryComponent(), 1u);
    EXPECT_EQ(capture.trace.QueryCountSaveState(), 0u);
    // The table itself was kept, with what has been changed in it.
    EXPECT_EQ(capture.trace.QueryCategory(fsSession), 1);
}

TEST(TTraceSaveState, RestoresNothingWhereThatIsDisabled) {
    TCapture capture(4, 1);
    {
        TTrace::SaveState const saved(capture.trace);
        capture.trace.SetLevel(8);
        capture.trace.SetDisableRestore(1);
    }
    EXPECT_EQ(capture.trace.QueryLevel(), 8u);
    EXPECT_EQ(capture.trace.QueryCountSaveState(), 0u);
}

TEST(TTraceSaveState, KeepsItsDestinationAlive) {
    auto saved = std::make_unique<TCapture>(4, 1);
    TTrace::SaveState *const state = new TTrace::SaveState(saved->trace);
    saved.reset();
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 4u);
    delete state;
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 0u);
}

TEST(TTraceSaveState, EveryCopyCountsDown) {
    TCapture capture(4, 1);
    {
        TTrace::SaveState const saved(capture.trace);
        TTrace::SaveState const copy(saved);
        EXPECT_EQ(capture.trace.QueryCountSaveState(), 1u);
    }
    EXPECT_EQ(capture.trace.QueryCountSaveState(), 0xFFFFFFFFu);
}

TEST(TTrace, ADestinationThatThrowsHarmsNobody) {
    class TThrowing : public TTrace::Base {
    public:
        void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override { throw 17; }
    };
    TCapture before;
    TTrace throwing;
    throwing.QueryPointer() = TTrace::Pointer(new TThrowing);
    TCapture after;
    Write(4, fsSession);
    EXPECT_EQ(before.Entries().size(), 1u);
    EXPECT_EQ(after.Entries().size(), 1u);
    // The lock is free again: another thread gets it.
    std::thread([] { Write(4, fsSession); }).join();
    EXPECT_EQ(after.Entries().size(), 2u);
}

TEST(TTrace, ADestinationMayEndAnotherWhileAnEntryIsWritten) {
    TCapture last;
    TTrace victim;
    victim.QueryPointer() = TTrace::Pointer(new TCaptureDestination);
    TTrace ending;
    ending.QueryPointer() = TTrace::Pointer(new TEnding(victim));
    Write(4, fsSession);
    EXPECT_EQ(last.Entries().size(), 1u);
    EXPECT_FALSE(victim.QueryPointer());
}

TEST(TTrace, ADestinationMayEndOneThatIsNotTheNextWhileAnEntryIsWritten) {
    TCapture last;
    TTrace victim;
    victim.QueryPointer() = TTrace::Pointer(new TCaptureDestination);
    TCapture next;
    TTrace ending;
    ending.QueryPointer() = TTrace::Pointer(new TEnding(victim));
    Write(4, fsSession);
    EXPECT_EQ(next.Entries().size(), 1u);
    EXPECT_EQ(last.Entries().size(), 1u);
    EXPECT_FALSE(victim.QueryPointer());
}

TEST(TTrace, AnEntryWrittenByADestinationDoesNotRecurseForEver) {
    class TChatty : public TTrace::Base {
    public:
        void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {
            ++count;
            ::Write(4, fsSession);
        }
        int count = 0;
    };
    TTrace chatty;
    auto *const destination = new TChatty;
    chatty.QueryPointer() = TTrace::Pointer(destination);
    Write(4, fsSession);
    EXPECT_EQ(destination->count, 8);
}

TEST(TTrace, ATracePointThatADestinationReachesDoesNotRecurseForEver) {
    class TChatty : public TTrace::Base {
    public:
        void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {
            ++count;
            TTracePoint::Write(TTrace::error, fsSession, "%d", count);
        }
        int count = 0;
    };
    TTrace chatty;
    auto *const destination = new TChatty;
    chatty.QueryPointer() = TTrace::Pointer(destination);
    TTracePoint::Write(TTrace::error, fsSession, "%d", 0);
    EXPECT_EQ(destination->count, 8);
}

TEST(TTrace, TheBaseItselfTakesEntriesAndDoesNothing) {
    class TBare : public TTrace::Base {};
    TTrace bare;
    bare.QueryPointer() = TTrace::Pointer(new TBare);
    CallPure("class .*TBare does not override TTrace::Base::Write", [] { Write(4, fsSession); });
    bare.SetLevel(8);
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 8u);
}

TEST(TTrace, DestinationsComeAndGoWhileEntriesAreWritten) {
    // Two stay, and must see each entry exactly once; others come and go in a thread of their own.
    TCapture first(4, 8);
    std::atomic<bool> stop{false};
    std::thread changer([&] {
        while (!stop) {
            TCapture passing(4, 8);
            passing.trace.AddCategory(fsSession, 1);
            passing.trace.SetLevel(0xC);
            { TTrace::SaveState const saved(passing.trace, 8, fsOther); }
            passing.trace.RemoveCategory(fsSession);
        }
    });
    constexpr int fsWriters = 3;
    constexpr int fsEntries = 300;
    std::vector<std::thread> writers;
    for (int writer = 0; writer < fsWriters; ++writer) {
        writers.emplace_back([writer] {
            for (int i = 0; i < fsEntries; ++i)
                TTracePoint::Write(TTrace::error, fsSession, "file", "%d.%d", writer, i);
        });
    }
    for (std::thread &writer : writers)
        writer.join();
    stop = true;
    changer.join();
    ASSERT_EQ(first.Entries().size(), static_cast<std::size_t>(fsWriters * fsEntries));
    std::vector<int> next(fsWriters, 0);
    for (TSeenEntry const &entry : first.Entries()) {
        int const writer = entry.text[0] - '0';
        EXPECT_EQ(entry.text, std::to_string(writer) + "." + std::to_string(next[static_cast<std::size_t>(writer)]++));
    }
}

TEST(TraceSaveState, AChangeThatThrowsAtTheEndOfTheScopeIsDropped) {
    struct TThrowing : TTrace::Base {
        ~TThrowing() override { Unlink(); }
        void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {}
        void Change() override {
            if (throws)
                throw std::runtime_error("change");
        }
        bool throws = false;
    };
    auto *const destination = new TThrowing;
    TTrace trace;
    trace.QueryPointer() = TTrace::Pointer(destination);
    unsigned long const level = trace.QueryLevel();
    {
        TTrace::SaveState const saved(trace);
        trace.SetLevel(2);
        destination->throws = true;
    }
    EXPECT_EQ(trace.QueryLevel(), level);
    EXPECT_EQ(trace.QueryCountSaveState(), 0u);
    destination->throws = false;
}
