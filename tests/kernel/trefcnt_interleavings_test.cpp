// References to weak-counted objects in every interleaving of a few threads. TREFCNT.cpp is included here, with model
// atomics in place of the standard ones, and with a model of the lock of the weak references.

#include "support/interleavings.h"
#include "support/model_locks.h"
#include "support/model_reporter.h"

#include <atomic>
#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "tuzutil/EXPORT.h"
#include "utility/kernel/debug_check.h"

namespace std {
using interleavings::TModelAtomic;
} // namespace std
#define atomic TModelAtomic

namespace modelled {

#include "utility/TREFCNT.cpp"

static TMutexSemaphore fsLock;
TMutexSemaphore &TWeakReferenceLock::fsSem = fsLock;

} // namespace modelled
#undef atomic

namespace {

using interleavings::TResult;
using interleavings::TScenario;
using interleavings::TScheduler;
using modelled::TReference;
using modelled::TWeakReferenceLock;

constexpr int fsPreemptions = 3;

// An object to which a weak pointer exists, and what happened to the object.
struct TShared {
    class TTarget : public modelled::TWeakRefCounted {
    public:
        explicit TTarget(TShared &shared) : fShared(shared) {}
        ~TTarget() override {
            if (fShared.weak)
                fShared.fault = "the object is destroyed while the weak pointer points to it";
            ++fShared.destroyed;
        }

    private:
        void ZeroWeakReference() override {
            TScheduler::Step();
            fShared.weak = nullptr;
        }

        TShared &fShared;
    };

    TTarget *weak = new TTarget(*this);
    int destroyed = 0;
    std::string fault;

    // Makes a reference from the weak pointer, and uses the object.
    void Revive() {
        TReference<TTarget> target;
        {
            TWeakReferenceLock const lock;
            target = weak;
        }
        Use(target);
    }

    void Use(TReference<TTarget> const &target) {
        TScheduler::Step();
        if (target && destroyed != 0)
            fault = "an object with a reference was destroyed";
    }
};

std::string FaultOf(TShared const &shared) {
    if (!shared.fault.empty())
        return shared.fault;
    return shared.destroyed == 1 ? "" : "the object was destroyed " + std::to_string(shared.destroyed) + " times";
}

// Explores a scenario. The second reference makes the library look up the word of the lock, which it keeps, so all runs
// have the same steps.
void ExpectNoFault(std::function<TScenario()> const &make, int preemptions, long leastRuns) {
    {
        TShared shared;
        TReference<TShared::TTarget> const first = shared.weak;
        TReference<TShared::TTarget> const second = first;
    }
    TResult const result = TScheduler::Explore(make, preemptions);
    EXPECT_EQ(result.fault, "");
    EXPECT_GE(result.runs, leastRuns); // if there are fewer, the threads have lost their steps
}

} // namespace

TEST(Interleavings, OfTheLastReleaseAndANewReferenceDestroyTheObjectOnceAndUnseen) {
    ExpectNoFault(
        [] {
            auto const shared = std::make_shared<TShared>();
            auto const last = std::make_shared<TReference<TShared::TTarget>>(shared->weak);
            auto const release = [last] { *last = nullptr; };
            auto const revive = [shared] { shared->Revive(); };
            return TScenario{{release, revive, revive}, [shared] { return FaultOf(*shared); }};
        },
        fsPreemptions, 5000);
}

TEST(Interleavings, OfCopiesAndReleasesWithoutTheLockLoseNoReference) {
    ExpectNoFault(
        [] {
            using TTarget = TShared::TTarget;
            auto const shared = std::make_shared<TShared>();
            auto const first = std::make_shared<TReference<TTarget>>(shared->weak);
            auto const second = std::make_shared<TReference<TTarget>>(shared->weak);
            auto const copyAndRelease = [shared](auto const &own) {
                return [shared, own] {
                    TReference<TTarget> const copy = *own;
                    *own = nullptr;
                    shared->Use(copy);
                };
            };
            auto const revive = [shared] { shared->Revive(); };
            return TScenario{{copyAndRelease(first), copyAndRelease(second), revive},
                             [shared] { return FaultOf(*shared); }};
        },
        fsPreemptions, 20000);
}

// While a thread holds the lock, another thread can at most finish the change that it has begun.
TEST(Interleavings, OfAHolderOfTheLockShowItAtMostOneChangeOfAnotherThread) {
    ExpectNoFault(
        [] {
            using TTarget = TShared::TTarget;
            auto const shared = std::make_shared<TShared>();
            auto const own = std::make_shared<TReference<TTarget>>(shared->weak);
            auto const changes = [own] {
                {
                    TReference<TTarget> const second = *own;
                    TReference<TTarget> const third = second;
                }
                *own = nullptr;
            };
            auto const holder = [shared] {
                TWeakReferenceLock const lock;
                if (!shared->weak)
                    return;
                auto const before = static_cast<long>(shared->weak->QueryReferenceCount());
                TScheduler::Step();
                auto const after = static_cast<long>(shared->weak->QueryReferenceCount());
                if (before < 1 || after < 1 || std::abs(after - before) > 1)
                    shared->fault = "the count changes under the lock";
            };
            return TScenario{{changes, holder}, [shared] { return FaultOf(*shared); }};
        },
        fsPreemptions + 1, 500);
}

TEST(Interleavings, OfAHolderOfTheLockNeverShowItTheFirstReference) {
    ExpectNoFault(
        [] {
            using TTarget = TShared::TTarget;
            auto const shared = std::make_shared<TShared>();
            auto const first = [shared] { TReference<TTarget> const reference = shared->weak; };
            auto const holder = [shared] {
                TWeakReferenceLock const lock;
                if (!shared->weak)
                    return;
                unsigned long const before = shared->weak->QueryReferenceCount();
                TScheduler::Step();
                if (before == 0 && shared->weak->QueryReferenceCount() != 0)
                    shared->fault = "the first reference is made under another thread's lock";
            };
            return TScenario{{first, holder}, [shared] { return FaultOf(*shared); }};
        },
        fsPreemptions + 1, 100);
}
