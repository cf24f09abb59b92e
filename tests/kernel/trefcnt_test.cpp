#include "tuzutil/TREFCNT.h"

#include "support/Expect.h"
#include "tuzutil/MUTEXSEM.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

class Counted : public TRefCounted {
public:
    explicit Counted(int *ends = nullptr) : fEnds(ends) {}
    Counted(Counted const &) = default;
    Counted &operator=(Counted const &) = default;
    ~Counted() override {
        if (fEnds)
            ++*fEnds;
    }
    int Number() const { return 42; }

private:
    int *fEnds;
};

// Keeps what the base class would delete.
class Kept : public TRefCounted {
public:
    int unreachable = 0;
    void Unreachable() override { ++unreachable; }
};

bool OthersCanLockWeakReferences() {
    bool locked = false;
    std::thread([&] {
        TMutexSemaphoreEntry const entry(TWeakReferenceLock::fsSem, 0);
        locked = entry.State() == TMutexSemaphore::Locked;
    }).join();
    return locked;
}

class Weak : public TWeakRefCounted {
public:
    explicit Weak(std::vector<std::string> *events) : fEvents(events) {}
    Weak(Weak const &) = default;
    Weak &operator=(Weak const &) = default;
    ~Weak() override { fEvents->push_back("destroyed"); }

private:
    void ZeroWeakReference() override {
        fEvents->push_back("zero, count " + std::to_string(QueryReferenceCount()));
        fEvents->push_back(OthersCanLockWeakReferences() ? "lock free" : "lock held");
    }
    void Unreachable() override {
        fEvents->push_back(OthersCanLockWeakReferences() ? "unreachable, lock free" : "unreachable, lock held");
        delete this;
    }

    std::vector<std::string> *fEvents;
};

class PlainWeak : public TWeakRefCounted {
public:
    explicit PlainWeak(int *ends) : fEnds(ends) {}
    ~PlainWeak() override { ++*fEnds; }

private:
    int *fEnds;
};

} // namespace

TEST(Reference, Example) {
    TReference<TSemaphore> posted(new TSemaphore);
    TReference<TSemaphore> same = posted;
    EXPECT_EQ(posted->QueryReferenceCount(), 2u);
    same = nullptr;
    EXPECT_EQ(posted->QueryReferenceCount(), 1u);
    posted->Post();
    EXPECT_EQ(posted->Wait(0), 0);
}

TEST(RefCounted, NewObjectHasCountZeroAndOneReferenceDeletesIt) {
    int ends = 0;
    auto *const object = new Counted(&ends);
    EXPECT_EQ(object->QueryReferenceCount(), 0u);
    object->AddRef();
    EXPECT_EQ(object->QueryReferenceCount(), 1u);
    EXPECT_EQ(ends, 0);
    object->RemoveRef();
    EXPECT_EQ(ends, 1);
}

TEST(RefCounted, UnreachableIsCalledOnceWhenTheCountBecomesZero) {
    Kept object;
    object.AddRef();
    object.AddRef();
    object.RemoveRef();
    EXPECT_EQ(object.unreachable, 0);
    object.RemoveRef();
    EXPECT_EQ(object.unreachable, 1);
}

// A build without NDEBUG stops in an assertion instead.
TEST(RefCounted, AReleaseWithoutAReferenceMakesTheLargestCountAndNothingUnreachable) {
    Kept object;
    std::vector<std::string> events;
    Weak weak(&events);
#if defined(NDEBUG)
    object.RemoveRef();
    weak.RemoveRef();
    EXPECT_EQ(object.QueryReferenceCount(), 4294967295u);
    EXPECT_EQ(weak.QueryReferenceCount(), 4294967295u);
#else
    EXPECT_DEATH_IF_SUPPORTED(object.RemoveRef(), "before != 0");
    EXPECT_DEATH_IF_SUPPORTED(weak.RemoveRef(), "before != 0");
#endif
    EXPECT_EQ(object.unreachable, 0);
    EXPECT_EQ(events, std::vector<std::string>());
}

TEST(RefCounted, CopyAndAssignmentTakeTheCountOfTheSource) {
    Kept source;
    source.AddRef();
    source.AddRef();
    Kept const copy(source);
    EXPECT_EQ(copy.QueryReferenceCount(), 2u);
    Kept target;
    target = source;
    EXPECT_EQ(target.QueryReferenceCount(), 2u);
}

TEST(Reference, TextOfTheNullReference) {
    TExpectedFailure const expected = {"TReference null", "src/utility/TREFCNT", 1, 1, "", 203};
    TReference<Counted> const null;
    ExpectThrows<TInvalidRequest>(expected, [&] { null->Number(); });
    ExpectThrows<TInvalidRequest>(expected, [&] { (*null).Number(); });
    ExpectThrows<TInvalidRequest>(expected, [] { TRefCounted::ThrowNullReference(); });
}

TEST(Reference, NullCanBeAskedForWithoutAThrow) {
    TReference<Counted> const null;
    EXPECT_FALSE(static_cast<bool>(null));
    EXPECT_TRUE(!null);
    EXPECT_EQ(null.Pointer(), nullptr);
    TReference<Counted> const object(new Counted);
    EXPECT_TRUE(static_cast<bool>(object));
    EXPECT_FALSE(!object);
    EXPECT_EQ(object->Number(), 42);
    EXPECT_EQ((*object).Number(), 42);
}

TEST(Reference, CopiesCountMovesDoNot) {
    int ends = 0;
    {
        TReference<Counted> a(new Counted(&ends));
        TReference<Counted> b(a);
        EXPECT_EQ(a->QueryReferenceCount(), 2u);
        TReference<Counted> c(std::move(b));
        EXPECT_EQ(a->QueryReferenceCount(), 2u);
        EXPECT_EQ(b.Pointer(), nullptr);
        b = std::move(c);
        EXPECT_EQ(a->QueryReferenceCount(), 2u);
        EXPECT_EQ(c.Pointer(), nullptr);
        c = a;
        EXPECT_EQ(a->QueryReferenceCount(), 3u);
        EXPECT_TRUE(a == b);
        EXPECT_FALSE(a != c);
        EXPECT_TRUE(a != TReference<Counted>());
    }
    EXPECT_EQ(ends, 1);
}

TEST(Reference, AssignmentToItselfKeepsTheObject) {
    int ends = 0;
    TReference<Counted> a(new Counted(&ends));
    TReference<Counted> &same = a;
    a = same;
    EXPECT_EQ(ends, 0);
    a = std::move(same);
    EXPECT_EQ(ends, 0);
    a = a.Pointer();
    EXPECT_EQ(ends, 0);
    EXPECT_EQ(a->QueryReferenceCount(), 1u);
    a = nullptr;
    EXPECT_EQ(ends, 1);
}

TEST(Reference, ANewTargetMayBeReachedThroughTheOldOne) {
    struct Link : TRefCounted {
        TReference<Link> next;
        int number = 0;
    };
    TReference<Link> head(new Link);
    head->next = new Link;
    head->next->number = 1;
    head->next->next = new Link;
    head->next->next->number = 2;
    head = head->next;
    EXPECT_EQ(head->number, 1);
    head = std::move(head->next);
    EXPECT_EQ(head->number, 2);
    EXPECT_EQ(head->QueryReferenceCount(), 1u);
}

TEST(RefCounted, ReferencesMayComeAndGoOnAnyThread) {
    int ends = 0;
    {
        TReference<Counted> const object(new Counted(&ends));
        std::vector<std::thread> threads;
        for (int count = 0; count < 4; ++count) {
            threads.emplace_back([object] {
                for (int round = 0; round < 10000; ++round) {
                    TReference<Counted> const copy(object);
                    EXPECT_EQ(copy->Number(), 42);
                }
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        threads.clear();
        EXPECT_EQ(object->QueryReferenceCount(), 1u);
    }
    EXPECT_EQ(ends, 1);
}

TEST(WeakRefCounted, ZeroWeakReferenceComesOnceUnderTheLockAndBeforeUnreachable) {
    std::vector<std::string> events;
    auto *const object = new Weak(&events);
    EXPECT_EQ(object->QueryReferenceCount(), 0u);
    object->AddRef();
    object->AddRef();
    EXPECT_EQ(object->QueryReferenceCount(), 2u);
    object->RemoveRef();
    EXPECT_TRUE(events.empty());
    object->RemoveRef();
    EXPECT_EQ(events, (std::vector<std::string>{"zero, count 0", "lock held", "unreachable, lock free", "destroyed"}));
}

TEST(WeakRefCounted, UnreachableDeletesByDefault) {
    int ends = 0;
    {
        TReference<PlainWeak> const object(new PlainWeak(&ends));
        EXPECT_EQ(ends, 0);
    }
    EXPECT_EQ(ends, 1);
}

TEST(WeakRefCounted, CopyAndAssignmentTakeTheCountOfTheSource) {
    std::vector<std::string> events;
    {
        Weak source(&events);
        source.AddRef();
        source.AddRef();
        Weak const copy(source);
        EXPECT_EQ(copy.QueryReferenceCount(), 2u);
        Weak target(&events);
        target = source;
        EXPECT_EQ(target.QueryReferenceCount(), 2u);
    }
    EXPECT_EQ(events, (std::vector<std::string>(3, "destroyed")));
}

TEST(WeakReferenceLock, MayBeNestedAndIsReleasedByTheOutermost) {
    {
        TWeakReferenceLock const outer;
        {
            TWeakReferenceLock const inner;
            EXPECT_FALSE(OthersCanLockWeakReferences());
        }
        EXPECT_FALSE(OthersCanLockWeakReferences());
    }
    EXPECT_TRUE(OthersCanLockWeakReferences());
}

namespace {

// An object with one weak pointer, a global that it clears itself.
class Target : public TWeakRefCounted {
public:
    static Target *fsWeak;
    static std::atomic<int> fsLive;

    Target() { ++fsLive; }
    ~Target() override {
        alive = 0;
        --fsLive;
    }
    int alive = 1;

private:
    void ZeroWeakReference() override {
        if (fsWeak == this)
            fsWeak = nullptr;
    }
};

Target *Target::fsWeak = nullptr;
std::atomic<int> Target::fsLive{0};

TReference<Target> StrongFromWeak() {
    TWeakReferenceLock const lock;
    return TReference<Target>(Target::fsWeak);
}

void PublishWeak(Target *target) {
    TWeakReferenceLock const lock;
    Target::fsWeak = target;
}

} // namespace

// Counts may change while the lock is held elsewhere, except from 0 and to 0.
TEST(WeakRefCounted, NoCountChangesWhileAnotherThreadHoldsTheLock) {
    int ends = 0;
    TReference<PlainWeak> const first(new PlainWeak(&ends));
    std::atomic<bool> isCopied{false};
    std::thread copying;
    {
        TWeakReferenceLock const lock;
        copying = std::thread([&] {
            TReference<PlainWeak> const copy(first.Pointer());
            isCopied = true;
        });
        for (int tries = 0; tries != 50; ++tries) {
            EXPECT_EQ(first->QueryReferenceCount(), 1u);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_FALSE(isCopied);
    }
    copying.join();
    EXPECT_TRUE(isCopied);
    EXPECT_EQ(first->QueryReferenceCount(), 1u);
}

TEST(WeakRefCounted, TheLastReferenceWaitsForTheLockAndAWeakPointerMayKeepTheObject) {
    TReference<Target> last(new Target);
    TReference<Target> kept;
    std::thread releasing;
    PublishWeak(last.Pointer());
    {
        TWeakReferenceLock const lock;
        releasing = std::thread([&last] { last = nullptr; });
        kept = Target::fsWeak;
        EXPECT_NE(kept.Pointer(), nullptr);
    }
    releasing.join();
    EXPECT_EQ(kept->alive, 1);
    EXPECT_EQ(kept->QueryReferenceCount(), 1u);
    EXPECT_EQ(Target::fsWeak, kept.Pointer());
    kept = nullptr;
    EXPECT_EQ(Target::fsWeak, nullptr);
    EXPECT_EQ(Target::fsLive, 0);
}

// Some threads copy their references freely, others find the object by the weak pointer.
TEST(WeakRefCounted, CopiesAndWeakPointersCompeteForTheSameObjects) {
    std::atomic<bool> stop{false};
    std::atomic<int> revived{0};
    std::vector<std::thread> threads;
    for (int count = 0; count < 2; ++count) {
        threads.emplace_back([&] {
            while (!stop) {
                if (TReference<Target> const strong = StrongFromWeak()) {
                    TReference<Target> const copy(strong);
                    EXPECT_EQ(copy->alive, 1);
                    ++revived;
                }
            }
        });
    }
    for (int round = 0; round < 200 || revived < 100; ++round) {
        TReference<Target> target(new Target);
        PublishWeak(target.Pointer());
        std::thread copying([target] {
            for (int copies = 0; copies < 10; ++copies) {
                TReference<Target> const copy(target);
                EXPECT_EQ(copy->alive, 1);
            }
        });
        target = nullptr;
        copying.join();
    }
    stop = true;
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(Target::fsLive, 0);
    EXPECT_EQ(Target::fsWeak, nullptr);
}

TEST(WeakRefCounted, NoWeakPointerRevivesAnObjectWhoseCountWasZero) {
    std::atomic<bool> stop{false};
    std::atomic<int> revived{0};
    std::vector<std::thread> readers;
    for (int count = 0; count < 3; ++count) {
        readers.emplace_back([&] {
            while (!stop) {
                if (TReference<Target> const strong = StrongFromWeak()) {
                    EXPECT_EQ(strong->alive, 1);
                    EXPECT_GE(strong->QueryReferenceCount(), 1u);
                    ++revived;
                }
            }
        });
    }
    for (int round = 0; round < 3000 || revived < 1000; ++round) {
        TReference<Target> const target(new Target);
        PublishWeak(target.Pointer());
    }
    stop = true;
    for (std::thread &reader : readers)
        reader.join();
    EXPECT_EQ(Target::fsLive, 0);
    EXPECT_EQ(Target::fsWeak, nullptr);
}
