// Locks and events in every interleaving of a few threads. The sources of the library are included here, with model
// atomics in place of the standard ones, and with functions of the scheduler in place of the futex calls.

#include "support/interleavings.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <pthread.h>
#include <string>
#include <vector>

namespace std {
using interleavings::TModelAtomic;
} // namespace std
#define atomic TModelAtomic

// Takes the place of platform/posix/futex.h. A word is compared and the thread blocked in one step, as the kernel does.
#define TUZUTIL_PLATFORM_POSIX_FUTEX
#include "platform/platform.h"
#include "platform/posix/deadline.h"

namespace platform {

using interleavings::TScheduler;

inline int WaitForWord(std::TModelAtomic<std::uint32_t> &word, std::uint32_t value,
                       TDeadline const &deadline) noexcept {
    TScheduler::Step();
    if (word.Now() != value)
        return 0;
    return TScheduler::Wait(&word, deadline.End() != nullptr) ? 0 : ETIMEDOUT;
}

inline void WakeWord(void *word, int threads) noexcept {
    TScheduler::Step();
    TScheduler::Wake(word, threads);
}

inline TWaitResult FailedWait(int error) noexcept {
    errno = error;
    return error == ETIMEDOUT ? TWaitResult::timedOut : TWaitResult::failed;
}

} // namespace platform

// Takes the place of platform/single_thread.h, because the C library does not know the threads of the scheduler.
#define TUZUTIL_SINGLE_THREAD
namespace platform {
inline constexpr char manyThreads = 0;
inline constexpr char const *singleThreadByte = &manyThreads;
} // namespace platform

#include "platform/fast_mutex.cpp"

// Takes the place of platform/posix/thread_record.h.
#define TUZUTIL_PLATFORM_POSIX_THREAD_RECORD
namespace platform {
inline TThreadRecord *ThisThread() noexcept {
    std::abort(); // the scenarios pass the records of their threads
}
} // namespace platform

#include "platform/posix/event.cpp"
#include "platform/posix/mutex.cpp"

#undef atomic

// What the included sources need and the scenarios do not use: named locks.
int platform::OpenObjectFolder() noexcept {
    std::abort();
}
bool platform::ObjectFileName(char const *, int, char const *, char (&)[objectFileSize]) noexcept {
    std::abort();
}

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
    TThreadRecord records[3] = {{1, 0}, {2, 0}, {3, 0}};
    int inside = 0; // threads that hold the lock
    int entered = 0;
    std::string fault;

    void Enter() {
        if (++inside != 1)
            fault = "two threads hold the lock";
        interleavings::TScheduler::Step();
        ++entered;
    }
    void Leave() { --inside; }
    TThreadRecord &Record() { return records[interleavings::TScheduler::Self()]; }

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

void ExpectNoFault(TResult const &result, long leastRuns) {
    EXPECT_EQ(result.fault, "");
    EXPECT_GE(result.runs, leastRuns); // if there are fewer, the threads have lost their steps
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
                                  platform::WaitForWord(shared->event->state, seen,
                                                        platform::TDeadline(platform::waitForEver));
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
