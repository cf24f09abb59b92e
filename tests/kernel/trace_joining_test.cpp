// Destinations and observers that join when they are whole, and categories that go.

#include "support/CaptureTrace.h"
#include "tuzutil/TRACENOT.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TRACESET.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

TTrace::Category const fsCategory(8, "Joining");

void Entry(char const *text) {
    TTracePoint::Write(TTrace::error, fsCategory, "src/join", "%s", text);
}

// Its constructor says what it does.
class TLate final : public TTrace::Base {
public:
    explicit TLate(bool joins) : Base(joinsLater, TTrace::error, 8) {
        Entry("half made");
        if (joins)
            Join();
    }
    TLate() : Base(joinsLater) {}
    ~TLate() override { Unlink(); }

    void Write(unsigned long, TTrace::Category const &, TTextMessage const &message) override {
        texts.push_back(static_cast<char const *>(message));
    }

    std::vector<std::string> texts;
};

using TTexts = std::vector<std::string>;

bool IsListed(TTrace::Category const *wanted) {
    std::unique_ptr<TTraceSetKnownCursor> const cursor(TTrace::ListClasses());
    for (TTrace::Category const *category = cursor->Element(); category; category = cursor->Next()) {
        if (category == wanted)
            return true;
    }
    return false;
}

} // namespace

TEST(TTraceBase, ThatJoinsLaterIsHeardOfOnlyThen) {
    TTrace trace;
    auto *const late = new TLate(false);
    trace.QueryPointer() = TTrace::Pointer(late);
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 0u);
    EXPECT_EQ(TTrace::QueryGlobalComponent(), 0u);
    Entry("too early");
    late->SetLevel(TTrace::error | TTrace::warning);
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 0u);
    late->Join();
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 12u);
    EXPECT_EQ(TTrace::QueryGlobalComponent(), 8u);
    Entry("heard");
    late->Join(); // once is enough
    Entry("once");
    EXPECT_EQ(late->texts, (TTexts{"heard", "once"}));
}

TEST(TTraceBase, ThatJoinsAtTheEndOfItsConstructorHearsWhatComesAfter) {
    TCapture capture(TTrace::error, 8);
    TTrace trace;
    auto *const late = new TLate(true);
    trace.QueryPointer() = TTrace::Pointer(late);
    Entry("whole");
    EXPECT_EQ(late->texts, TTexts{"whole"});
    EXPECT_EQ(capture.Entries().size(), 2u);
}

TEST(TTraceBase, ThatJoinsLaterHasTheDefaultsOfEveryOther) {
    auto *const late = new TLate;
    TTrace trace;
    trace.QueryPointer() = TTrace::Pointer(late);
    EXPECT_EQ(late->QueryLevel(), 0x1000Fu);
    EXPECT_EQ(late->QueryComponent(), 0xFFFFFFFFu);
    EXPECT_EQ(late->QueryDefaultTracing(), 1);
    EXPECT_EQ(TTrace::Base::fsAnchor, nullptr);
}

// What a program writes: no Join(), no Unlink(). Its constructor and its destructor trace.
class TPlain : public TTrace::Base {
public:
    TPlain(TTexts &heard, char const *name) : Base(joinsLater, TTrace::error, 8), fHeard(heard), fName(name) {
        Entry("half made");
    }
    ~TPlain() override { Entry("half gone"); }

    void Write(unsigned long, TTrace::Category const &, TTextMessage const &message) override {
        fHeard.push_back(fName + static_cast<char const *>(message));
    }

private:
    TTexts &fHeard;
    std::string fName;
};

TEST(TTraceMake, HearsOfADestinationOnlyWhileItIsWhole) {
    TTexts heard;
    {
        TTrace const trace = TTrace::Make<TPlain>(heard, "a ");
        Entry("whole");
        TTrace const copy = trace;
        EXPECT_EQ(copy.QueryLevel(), 4u);
        EXPECT_EQ(copy.QueryComponent(), 8u);
    }
    Entry("gone");
    EXPECT_EQ(heard, TTexts{"a whole"});
    EXPECT_EQ(TTrace::Base::fsAnchor, nullptr);
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 0u);
}

// While the constructor or the destructor of a class in between runs, the object is not yet, or no longer, of the class
// that overrides Write(). Nobody forgot to override it then.
TEST(TTraceBase, MayBeWrittenToWhileAClassInBetweenIsUnderConstruction) {
    struct TBetween : TTrace::Base {
        TBetween() : Base(TTrace::error, 8) { Entry("under construction"); }
        ~TBetween() override {
            Entry("under destruction");
            Unlink();
        }
    };
    struct TWhole : TBetween {
        void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override { ++written; }
        int written = 0;
    };
    TTrace trace;
    auto *const whole = new TWhole;
    trace.QueryPointer() = TTrace::Pointer(whole);
    Entry("whole");
    EXPECT_EQ(whole->written, 1);
}

TEST(TTraceMake, TakesFinalClassesAndThoseThatJoinThemselves) {
    TTrace final = TTrace::Make<TLate>(false);
    TTrace own = TTrace::Make<TCaptureDestination>(4u, 8u);
    Entry("heard");
    EXPECT_EQ(static_cast<TLate &>(*final.QueryPointer()).texts, TTexts{"heard"});
    EXPECT_EQ(static_cast<TCaptureDestination &>(*own.QueryPointer()).entries.size(), 1u);
}

TEST(TTraceMake, LeavesNothingBehindIfTheConstructorThrows) {
    struct TThrowing : TTrace::Base {
        TThrowing() : Base(joinsLater) { throw 17; }
    };
    EXPECT_THROW(static_cast<void>(TTrace::Make<TThrowing>()), int);
    EXPECT_EQ(TTrace::Base::fsAnchor, nullptr);
}

TEST(TTraceMake, OtherThreadsNeverMeetHalfADestination) {
    struct TChecking : TTrace::Base {
        TChecking() : Base(joinsLater, TTrace::error, 8), values(10, 7) {}
        void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {
            if (values != std::vector<int>(10, 7))
                ++Broken();
        }
        static std::atomic<int> &Broken() {
            static std::atomic<int> broken{0};
            return broken;
        }
        std::vector<int> values;
    };
    std::atomic<bool> done{false};
    std::atomic<int> written{0};
    std::thread writer([&] {
        while (!done) {
            Entry("any");
            ++written;
        }
    });
    for (int i = 0; i < 5000 || written < 1000; ++i)
        TTrace const trace = TTrace::Make<TChecking>();
    done = true;
    writer.join();
    EXPECT_EQ(TChecking::Broken(), 0);
}

TEST(TTraceNotify, ThatJoinsLaterIsToldOnlyThen) {
    struct TObserver final : TTraceNotify {
        TObserver() : TTraceNotify(joinsLater) {}
        using TTraceNotify::Join;
        using TTraceNotify::Leave;
        void Notify() override { ++count; }
        int count = 0;
    };
    TObserver observer;
    TTraceNotify::NotifyAll();
    EXPECT_EQ(observer.count, 0);
    observer.Join();
    observer.Join();
    TTraceNotify::NotifyAll();
    EXPECT_EQ(observer.count, 1);
    observer.Leave();
    TTraceNotify::NotifyAll();
    EXPECT_EQ(observer.count, 1);
}

TEST(TTraceNotify, ThatJoinsLaterIsWholeWheneverAnotherThreadTellsIt) {
    struct TObserver final : TTraceNotify {
        TObserver() : TTraceNotify(joinsLater), values(10, 7) { Join(); }
        ~TObserver() override { Leave(); }
        void Notify() override { sum += values.at(9); }
        std::vector<int> values;
        long sum = 0;
    };
    std::atomic<bool> done{false};
    std::atomic<int> told{0};
    std::thread teller([&] {
        while (!done) {
            TTraceNotify::NotifyAll();
            ++told;
        }
    });
    for (int i = 0; i < 5000 || told < 1000; ++i)
        TObserver const observer;
    done = true;
    teller.join();
}

TEST(TTraceCategory, ThatDiesLeavesTheRegistry) {
    unsigned long const before = TTrace::Base::fsKnownCategories.GetNumberElements();
    TTrace::Category const *gone;
    {
        auto const category = std::make_unique<TTrace::Category>(8, "Dies");
        gone = category.get();
        EXPECT_TRUE(IsListed(gone));
        EXPECT_EQ(TTrace::FindCategory("dies"), gone);
        TTrace::Register(*category);            // and once more
        TTrace::Category const copy(*category); // which is not there, and takes nothing with it
    }
    EXPECT_EQ(TTrace::FindCategory("dies"), nullptr);
    EXPECT_FALSE(IsListed(gone));
    EXPECT_EQ(TTrace::Base::fsKnownCategories.GetNumberElements(), before);
}

TEST(TTraceCategory, ThatDiesUnderACursorIsPassedOver) {
    auto first = std::make_unique<TTrace::Category>(8, "First");
    auto second = std::make_unique<TTrace::Category>(8, "Second");
    TTrace::Category const *const last = second.get();
    std::unique_ptr<TTraceSetKnownCursor> const cursor(TTrace::ListClasses());
    while (cursor->Element() && cursor->Element() != first.get())
        cursor->Next();
    ASSERT_EQ(cursor->Element(), first.get());
    first.reset();
    EXPECT_EQ(cursor->Element(), last);
    second.reset();
    EXPECT_EQ(cursor->Element(), nullptr);
    EXPECT_EQ(cursor->Next(), nullptr);
}

TEST(TTraceCategory, ThatTakesThePlaceOfADeadOneIsListedOnce) {
    auto first = std::make_unique<TTrace::Category>(8, "First");
    TTrace::Category const second(8, "Second");
    unsigned long const count = TTrace::Base::fsKnownCategories.GetNumberElements();
    for (int i = 0; i < 100; ++i) {
        first.reset();
        EXPECT_EQ(TTrace::Base::fsKnownCategories.GetNumberElements(), count - 1);
        first = std::make_unique<TTrace::Category>(8, "Next");
        EXPECT_EQ(TTrace::Base::fsKnownCategories.GetNumberElements(), count);
        EXPECT_EQ(TTrace::FindCategory("next"), first.get());
        EXPECT_EQ(TTrace::FindCategory("second"), &second);
    }
}

TEST(TTraceCategory, MayComeAndGoWhileOthersAreLookedFor) {
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&done, i] {
            std::string const name = "of thread " + std::to_string(i);
            while (!done) {
                auto const category = std::make_unique<TTrace::Category>(8, name.c_str());
                if (TTrace::FindCategory(name.c_str()) != category.get())
                    ADD_FAILURE() << name;
            }
        });
    }
    for (int i = 0; i < 3000; ++i)
        EXPECT_EQ(TTrace::FindCategory("none of them"), nullptr);
    done = true;
    for (std::thread &thread : threads)
        thread.join();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(TTrace::FindCategory(("of thread " + std::to_string(i)).c_str()), nullptr);
}
