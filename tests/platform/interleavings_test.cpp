// Locks and events in every interleaving of a few threads, on a model of the system.

#include TUZUTIL_MODEL_SYSTEM

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace {

using interleavings::TResult;
using interleavings::TScenario;
using platform::TFastMutex;
using platform::TThreadRecord;
using platform::TWaitResult;

constexpr int fsPreemptions = 3;

// The lock, the threads that use it, and what they may do to each other.
struct TLocked {
    TFastMutex lock;
    model::TRecords records;
    int inside = 0; // threads that hold the lock
    int entered = 0;
    std::string fault;

    TLocked() = default;
    TLocked(TLocked const &) = delete;
    TLocked &operator=(TLocked const &) = delete;
    ~TLocked() { model::Forget(lock); }

    void Enter() {
        if (++inside != 1)
            fault = "two threads hold the lock";
        interleavings::TScheduler::Step();
        ++entered;
    }
    void Leave() { --inside; }
    TThreadRecord &Record() { return records.of[interleavings::TScheduler::Self()]; }

    void LockAndUnlock(std::uint32_t milliseconds = platform::waitForEver) {
        if (lock.Lock(Record(), milliseconds) != TWaitResult::done)
            return;
        Enter();
        Leave();
        if (!lock.Unlock(Record()))
            fault = "the owner cannot unlock";
    }
};

std::string FaultOf(TLocked &locked, int leastEntered) {
    if (!locked.fault.empty())
        return locked.fault;
    if (locked.entered < leastEntered)
        return "only " + std::to_string(locked.entered) + " threads had the lock";
    return locked.lock.IsHeld() ? "the lock is held at the end" : "";
}

// If threads are killed, others may notice this late.
void ExpectNoFault(TResult const &result, long leastRuns, bool areKilled = false) {
    EXPECT_EQ(result.fault, "");
    EXPECT_GE(result.runs, leastRuns); // if there are fewer, the threads have lost their steps
    EXPECT_TRUE(areKilled || result.late == 0) << "wakes were lost";
}

} // namespace

TEST(Interleavings, OfThreeThreadsNeverHaveTwoOwnersOfALock) {
    ExpectNoFault(interleavings::TScheduler::Explore(
                      [] {
                          auto const locked = std::make_shared<TLocked>();
                          auto const body = [locked] { locked->LockAndUnlock(); };
                          return TScenario{{body, body, body}, [locked] { return FaultOf(*locked, 3); }};
                      },
                      fsPreemptions),
                  10000);
}

TEST(Interleavings, OfWaitsThatTimeOutLoseNoWake) {
    ExpectNoFault(interleavings::TScheduler::Explore(
                      [] {
                          auto const locked = std::make_shared<TLocked>();
                          auto const patient = [locked] { locked->LockAndUnlock(); };
                          auto const hasty = [locked] { locked->LockAndUnlock(10); };
                          return TScenario{{patient, hasty, patient}, [locked] { return FaultOf(*locked, 2); }};
                      },
                      fsPreemptions),
                  10000);
}

// A thread that takes the lock twice, one that does not wait, and one that waits.
TEST(Interleavings, OfAnOwnerThatLocksTwiceLetNobodyInBetween) {
    ExpectNoFault(interleavings::TScheduler::Explore(
                      [] {
                          auto const locked = std::make_shared<TLocked>();
                          auto const twice = [locked] {
                              TThreadRecord &record = locked->Record();
                              locked->lock.Lock(record, platform::waitForEver);
                              locked->Enter();
                              if (locked->lock.Lock(record, 0) != TWaitResult::done || !locked->lock.Unlock(record))
                                  locked->fault = "the owner cannot lock again";
                              interleavings::TScheduler::Step();
                              locked->Leave();
                              locked->lock.Unlock(record);
                          };
                          auto const never = [locked] { locked->LockAndUnlock(0); };
                          auto const patient = [locked] { locked->LockAndUnlock(); };
                          return TScenario{{twice, never, patient}, [locked] { return FaultOf(*locked, 2); }};
                      },
                      fsPreemptions),
                  1000);
}

TEST(Interleavings, OfAnOwnerThatEndsGiveItsLockToOneWaiterAsAbandoned) {
    ExpectNoFault(interleavings::TScheduler::Explore(
                      [] {
                          auto const locked = std::make_shared<TLocked>();
                          auto const abandoned = std::make_shared<int>(0);
                          auto const ends = [locked] {
                              locked->lock.Lock(locked->Record(), platform::waitForEver);
                              locked->Enter();
                              locked->Leave();
                              locked->Record().AbandonAll();
                          };
                          auto const other = [locked, abandoned] {
                              TWaitResult const result = locked->lock.Lock(locked->Record(), platform::waitForEver);
                              *abandoned += result == TWaitResult::abandoned;
                              locked->Enter();
                              locked->Leave();
                              locked->lock.Unlock(locked->Record());
                          };
                          return TScenario{{ends, other, other}, [locked, abandoned] {
                                               std::string const fault = FaultOf(*locked, 3);
                                               if (fault.empty() && *abandoned > 1)
                                                   return std::string("two threads took over the lock");
                                               return fault;
                                           }};
                      },
                      fsPreemptions),
                  10000);
}

#ifdef _WIN32 // on other systems, a thread cannot be killed alone
// Each thread that is killed while it holds the lock leaves it to one other thread as abandoned.
TEST(Interleavings, OfKilledOwnersGiveTheLockToOneWaiterAsAbandoned) {
    for (std::size_t const killed : {std::size_t{1}, std::size_t{2}}) {
        ExpectNoFault(interleavings::TScheduler::Explore(
                          [killed] {
                              struct TShared : TLocked {
                                  bool wasKilled = false; // whether the last owner was killed
                              };
                              auto const shared = std::make_shared<TShared>();
                              auto const use = [shared](bool isKilled) {
                                  TThreadRecord &record = shared->Record();
                                  TWaitResult const result = shared->lock.Lock(record, platform::waitForEver);
                                  shared->Enter();
                                  shared->Leave();
                                  if (result != (shared->wasKilled ? TWaitResult::abandoned : TWaitResult::done))
                                      shared->fault = "a wrong result of Lock()";
                                  shared->wasKilled = isKilled;
                                  if (!isKilled)
                                      shared->lock.Unlock(record);
                              };
                              TScenario scenario{{}, [shared] {
                                                     if (shared->wasKilled != shared->lock.IsHeld())
                                                         return std::string("a wrong state at the end");
                                                     shared->fault +=
                                                         shared->entered == 3 ? "" : "a thread was not inside";
                                                     return shared->fault;
                                                 }};
                              for (std::size_t i = 0; i < 3; ++i)
                                  scenario.threads.push_back([use, isKilled = i < killed] { use(isKilled); });
                              return scenario;
                          },
                          fsPreemptions),
                      1000, true);
    }
}
#endif

TEST(Interleavings, OfAPostAndAClearReleaseWhoeverWaitedBefore) {
    ExpectNoFault(interleavings::TScheduler::Explore(
                      [] {
                          struct TShared {
                              platform::Event *event = platform::NewEvent(false);
                              bool began = false;
                              ~TShared() { platform::DeleteEvent(event); }
                          };
                          auto const shared = std::make_shared<TShared>();
                          auto const waiter = [shared] { platform::WaitEvent(shared->event, platform::waitForEver); };
                          // Two posts with a clear between them, and a last post for whoever begins to wait after it.
                          auto const poster = [shared] {
                              platform::PostEvent(shared->event);
                              platform::ClearEvent(shared->event);
                              platform::PostEvent(shared->event);
                          };
                          return TScenario{{waiter, poster, waiter}, [] { return std::string(); }};
                      },
                      fsPreemptions),
                  1000);
}

// A wait that begins after a post does not time out, and a wait that times out takes nothing from others.
TEST(Interleavings, OfWaitsForAnEventThatTimeOutLoseNoPost) {
    for (std::uint32_t const limit : {0u, 10u}) {
        ExpectNoFault(interleavings::TScheduler::Explore(
                          [limit] {
                              struct TShared {
                                  platform::Event *event = platform::NewEvent(false);
                                  bool isPosted = false;
                                  std::string fault;
                                  ~TShared() { platform::DeleteEvent(event); }
                              };
                              auto const shared = std::make_shared<TShared>();
                              auto const waiter = [shared] {
                                  if (platform::WaitEvent(shared->event, platform::waitForEver) != TWaitResult::done)
                                      shared->fault = "a wait without a limit failed";
                              };
                              auto const hasty = [shared, limit] {
                                  bool const wasPosted = shared->isPosted;
                                  TWaitResult const result = platform::WaitEvent(shared->event, limit);
                                  if (result != TWaitResult::done && (wasPosted || result != TWaitResult::timedOut))
                                      shared->fault = "a wait for a posted event failed";
                              };
                              auto const poster = [shared] {
                                  platform::PostEvent(shared->event);
                                  shared->isPosted = true;
                              };
                              return TScenario{{waiter, hasty, poster}, [shared] { return shared->fault; }};
                          },
                          fsPreemptions),
                      100);
    }
}

// If Clear() could undo a post that comes after it, or a waiter that is blocked were not woken by a post that is
// cleared at once, a waiter would wait for ever.
TEST(Interleavings, OfAWaiterThatIsBlockedAndAPostThatIsClearedAtOnceEndTheWait) {
    ExpectNoFault(interleavings::TScheduler::Explore(
                      [] {
                          struct TShared {
                              platform::Event *event = platform::NewEvent(false);
                              platform::Event *ready = platform::NewEvent(false);
                              ~TShared() {
                                  platform::DeleteEvent(event);
                                  platform::DeleteEvent(ready);
                              }
                          };
                          auto const shared = std::make_shared<TShared>();
                          auto const waiter = [shared] {
                              // The poster begins when the waiter has announced itself in the word of the event.
                              std::uint32_t const begun = platform::event_word::Begin(shared->event->state);
                              platform::PostEvent(shared->ready);
                              for (std::uint32_t seen = begun; !platform::event_word::IsReleased(begun, seen);
                                   seen = shared->event->state.load())
                                  model::WaitForWord(shared->event->state, seen);
                          };
                          auto const poster = [shared] {
                              platform::WaitEvent(shared->ready, platform::waitForEver);
                              platform::PostEvent(shared->event);
                              platform::ClearEvent(shared->event);
                          };
                          auto const clearer = [shared] { platform::ClearEvent(shared->event); };
                          return TScenario{{waiter, poster, clearer}, [] { return std::string(); }};
                      },
                      fsPreemptions),
                  1000);
}

// Whoever is released may delete the event at once, so a post must not touch the event after it.
TEST(Interleavings, OfTheLastWaiterAndThePosterTouchNoDeletedEvent) {
    ExpectNoFault(interleavings::TScheduler::Explore(
                      [] {
                          auto *const event = platform::NewEvent(false);
                          auto const waiter = [event] {
                              platform::WaitEvent(event, platform::waitForEver);
                              platform::DeleteEvent(event);
                          };
                          auto const poster = [event] { platform::PostEvent(event); };
                          return TScenario{{waiter, poster}, [] { return std::string(); }};
                      },
                      fsPreemptions + 2),
                  20);
}
