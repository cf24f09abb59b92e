// Locks and events over a system whose calls fail: this program has its own copy of the classes, above functions that
// the tests direct.

#include "utility/MUTEXSEM.cpp"

#include "support/CaptureTrace.h"
#include "support/Notes.h"
#include "utility/kernel/insistent_lock.h"

#include <chrono>
#include <limits>
#include <mutex>
#include <new>
#include <thread>

namespace {

// What the calls answer, and what they were asked.
struct System {
    TWaitResult wait = TWaitResult::done;
    bool success = true;
    std::uint32_t milliseconds = 0;
    int waits = 0;
    std::chrono::milliseconds delay{0}; // of each wait for a lock
    int unlocked = 0;
    int deleted = 0;
    std::uint32_t error = 5;
};

System fsSystem;

class LockFailure : public testing::Test {
protected:
    LockFailure() { fsSystem = System(); }
};

int fsObject; // what every handle leads to

template <typename Handle>
Handle *Made() noexcept {
    return fsSystem.success ? reinterpret_cast<Handle *>(&fsObject) : nullptr;
}

} // namespace

std::uint32_t platform::LastError() noexcept {
    return fsSystem.error;
}
void platform::SetLastError(std::uint32_t error) noexcept {
    fsSystem.error = error;
}
bool platform::WasAbandoned(Mutex const *) noexcept {
    return fsSystem.wait == TWaitResult::abandoned;
}
platform::Mutex *platform::NewMutex(char const *) noexcept {
    return Made<Mutex>();
}
bool platform::DeleteMutex(Mutex *) noexcept {
    ++fsSystem.deleted;
    return fsSystem.success;
}
TWaitResult platform::LockMutex(Mutex *, std::uint32_t milliseconds) noexcept {
    fsSystem.milliseconds = milliseconds;
    ++fsSystem.waits;
    if (fsSystem.delay.count() != 0)
        std::this_thread::sleep_for(fsSystem.delay);
    return fsSystem.wait;
}
bool platform::UnlockMutex(Mutex *) noexcept {
    ++fsSystem.unlocked;
    return fsSystem.success;
}
std::atomic<std::uint32_t> const *platform::HeldWord(Mutex const *) noexcept {
    return nullptr;
}

bool platform::HoldsMutex(Mutex const *) noexcept {
    return false;
}
std::uintptr_t platform::SystemHandle(Mutex *mutex) noexcept {
    return reinterpret_cast<std::uintptr_t>(mutex);
}
platform::Event *platform::NewEvent(bool) noexcept {
    return Made<Event>();
}
platform::Event *platform::ShareEvent(Event *event) noexcept {
    return event;
}
void platform::DeleteEvent(Event *) noexcept {
    ++fsSystem.deleted;
}
TWaitResult platform::WaitEvent(Event *, std::uint32_t milliseconds) noexcept {
    fsSystem.milliseconds = milliseconds;
    ++fsSystem.waits;
    return fsSystem.wait;
}
bool platform::ClearEvent(Event *) noexcept {
    return fsSystem.success;
}
bool platform::PostEvent(Event *) noexcept {
    return fsSystem.success;
}

TEST_F(LockFailure, ResultsOfTheSystemMapToStates) {
    struct Row {
        TWaitResult result;
        TMutexSemaphore::EState state;
        int event;
    };
    Row const rows[] = {
        {TWaitResult::done, TMutexSemaphore::Locked, 0},
        {TWaitResult::abandoned, TMutexSemaphore::Locked, -1},
        {TWaitResult::timedOut, TMutexSemaphore::TimedOut, 1},
        {TWaitResult::failed, TMutexSemaphore::Error, -1},
        {static_cast<TWaitResult>(1), TMutexSemaphore::Error, -1},
        {static_cast<TWaitResult>(0xC0), TMutexSemaphore::Error, -1},
    };
    for (Row const &row : rows) {
        fsSystem = System();
        fsSystem.wait = row.result;
        TMutexSemaphore mutex;
        {
            TMutexSemaphoreEntry const entry(mutex, 7);
            EXPECT_EQ(entry.State(), row.state);
        }
        EXPECT_EQ(fsSystem.unlocked, row.state == TMutexSemaphore::Locked ? 1 : 0);
        TSemaphore event;
        EXPECT_EQ(event.Wait(7), row.event);
    }
}

TEST_F(LockFailure, EventThatCannotBeMadeIsStillAnObject) {
    fsSystem.success = false;
    fsSystem.wait = TWaitResult::failed;
    TSemaphore event(1);
    EXPECT_EQ(event.Wait(0), -1);
    EXPECT_EQ(event.Clear(), 1);
    EXPECT_EQ(event.Post(), 1);
    EXPECT_EQ(event.ClearAndWait(), -1);
}

TEST_F(LockFailure, MutexThatCannotBeMadeIsStillAnObject) {
    fsSystem.success = false;
    fsSystem.wait = TWaitResult::failed;
    {
        TMutexSemaphore mutex("name");
        EXPECT_EQ(mutex.GetHandle(), nullptr);
        EXPECT_EQ(TMutexSemaphoreEntry(mutex, -1).State(), TMutexSemaphore::Error);
    }
    EXPECT_EQ(fsSystem.unlocked, 0);
    EXPECT_EQ(fsSystem.deleted, 1);
}

TEST_F(LockFailure, ClearAndWaitWaitsAlsoAfterClearFailed) {
    TSemaphore event;
    fsSystem.success = false;
    EXPECT_EQ(event.ClearAndWait(), 0);
    EXPECT_EQ(fsSystem.milliseconds, 0xFFFFFFFFu);
}

TEST_F(LockFailure, WaitOfTheGuardTakesTheLockAgainWhateverTheEventDid) {
    TMutexSemaphoreWithEvent monitor(new TSemaphore);
    TMutexSemaphoreWithEventEntry entry(monitor, 5);
    fsSystem.wait = TWaitResult::failed;
    EXPECT_EQ(entry.Wait(3), -1);
    EXPECT_EQ(entry.State(), TMutexSemaphore::Error);
    EXPECT_EQ(fsSystem.unlocked, 1);
    EXPECT_EQ(fsSystem.milliseconds, 0xFFFFFFFFu);
}

TEST_F(LockFailure, TimesAreUnsignedMillisecondsAndMinusOneIsForEver) {
    TMutexSemaphore mutex;
    struct Row {
        long timeout;
        std::uint32_t milliseconds;
    };
    Row const rows[] = {{0, 0},           {1, 1},           {2147483647, 2147483647},
                        {-1, 0xFFFFFFFF}, {-2, 0xFFFFFFFE}, {-2147483647, 0x80000001}};
    for (Row const &row : rows) {
        TMutexSemaphoreEntry const entry(mutex, row.timeout);
        EXPECT_EQ(fsSystem.milliseconds, row.milliseconds) << row.timeout;
    }
    if constexpr (sizeof(long) == 8) {
        for (long long const timeout : {0x100000000LL, 0xFFFFFFFFLL, -0x100000000LL}) {
            TMutexSemaphoreEntry const entry(mutex, static_cast<long>(timeout));
            EXPECT_EQ(fsSystem.milliseconds, 0xFFFFFFFEu) << timeout;
        }
    }
}

TEST_F(LockFailure, FailuresOfEventsAreTraced) {
    TCapture capture(TTrace::error, 1);
    char const *const file = "src/utility/THREAD";
    fsSystem.success = false;
    TSemaphore event;
    ASSERT_EQ(capture.Entries().size(), 1u);
    EXPECT_EQ(capture.Entries()[0].line, 89u);
    capture.ExpectOne(4, "Utility", "Unable to create semaphore, error=x00000005", file);
    event.Clear();
    capture.ExpectOne(4, "Utility", "Unable to reset semaphore, error=x00000005", file);
    event.Post();
    capture.ExpectOne(4, "Utility", "Unable to post semaphore, error=x00000005", file);
    fsSystem.wait = TWaitResult::abandoned;
    event.Wait(1);
    capture.ExpectOne(4, "Utility", "Wait for semaphore abandoned", file);
    fsSystem.wait = TWaitResult::failed;
    event.Wait(1);
    capture.ExpectOne(4, "Utility", "Unable to wait for semaphore, return=xFFFFFFFF, error=x00000005", file);
    fsSystem.wait = TWaitResult::timedOut;
    event.Wait(1);
    capture.ExpectNone();
}

TEST_F(LockFailure, BothFailuresOfClearAndWaitAreTraced) {
    TSemaphore event(1);
    TCapture capture(TTrace::error, 1);
    fsSystem.success = false;
    fsSystem.wait = TWaitResult::failed;
    EXPECT_EQ(event.ClearAndWait(), -1);
    ASSERT_EQ(capture.Entries().size(), 2u);
    EXPECT_EQ(capture.Entries()[0].text, "Unable to reset semaphore, error=x00000005");
    EXPECT_EQ(capture.Entries()[1].text, "Unable to wait for semaphore, return=xFFFFFFFF, error=x00000005");
    for (TSeenEntry const &entry : capture.Entries()) {
        EXPECT_EQ(entry.level, 4u);
        EXPECT_EQ(entry.category, "Utility");
        EXPECT_EQ(entry.file, "src/utility/THREAD");
    }
}

TEST_F(LockFailure, ReportsHaveLinesOfTheirOwn) {
    TNotes notes;
    fsSystem.success = false;
    TSemaphore event;
    event.Clear();
    event.Post();
    for (TWaitResult const result : {TWaitResult::abandoned, TWaitResult::failed}) {
        fsSystem.wait = result;
        event.Wait(1);
    }
    EXPECT_EQ(notes.Count("src/utility/THREAD"), 5u);
    { TMutexSemaphore const mutex("name"); }
    EXPECT_EQ(notes.Count("src/utility/MUTEXSEM"), 2u);
}

TEST_F(LockFailure, FailuresOfLocksAreTraced) {
    TCapture capture(TTrace::error, 1);
    char const *const file = "src/utility/MUTEXSEM";
    fsSystem.success = false;
    {
        TMutexSemaphore mutex("name");
        ASSERT_EQ(capture.Entries().size(), 1u);
        EXPECT_EQ(capture.Entries()[0].line, 100u);
        capture.ExpectOne(4, "Utility", "Error 5 from CreateMutex(name)", file);
        fsSystem.wait = TWaitResult::failed;
        EXPECT_EQ(TMutexSemaphoreEntry(mutex, 1).State(), TMutexSemaphore::Error);
        capture.ExpectNone();
    }
    capture.ExpectOne(4, "Utility", "Error 5 from CloseHandle(name)", file);
    { TMutexSemaphore mutex; }
    ASSERT_EQ(capture.Entries().size(), 2u);
    EXPECT_EQ(capture.Entries()[0].text, "Error 5 from CreateMutex(unnamed)");
    EXPECT_EQ(capture.Entries()[1].text, "Error 5 from CloseHandle(unnamed)");
}

// A destination whose work changes the system's error code, as that of a file may.
class TErrorChanger : public TTrace::Base {
public:
    ~TErrorChanger() override { Unlink(); }
    void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {
        fsSystem.error = 77;
        ++written;
    }
    int written = 0;
};

TEST_F(LockFailure, ErrorCodesOutlastTheTraceEntries) {
    TTrace trace;
    auto *const destination = new TErrorChanger;
    trace.QueryPointer() = TTrace::Pointer(destination);
    fsSystem.success = false;
    fsSystem.wait = TWaitResult::failed;
    TSemaphore event;
    EXPECT_EQ(TMutexSemaphore::QueryError(), 5);
    event.Clear();
    EXPECT_EQ(TMutexSemaphore::QueryError(), 5);
    event.Post();
    EXPECT_EQ(TMutexSemaphore::QueryError(), 5);
    EXPECT_EQ(event.Wait(1), -1);
    EXPECT_EQ(TMutexSemaphore::QueryError(), 5);
    TMutexSemaphore const mutex("name");
    EXPECT_EQ(TMutexSemaphore::QueryError(), 5);
    EXPECT_EQ(destination->written, 5);
}

TEST_F(LockFailure, FunctionsOfStandardLocksThrowTheErrorCode) {
    fsSystem.success = false;
    fsSystem.wait = TWaitResult::failed;
    TMutexSemaphore mutex;
    auto const codeOf = [](auto call) {
        try {
            call();
        } catch (std::system_error const &failure) {
            return failure.code();
        }
        return std::error_code();
    };
    std::error_code const expected(5, std::system_category());
    EXPECT_EQ(codeOf([&] { mutex.lock(); }), expected);
    EXPECT_EQ(codeOf([&] { static_cast<void>(mutex.try_lock()); }), expected);
    EXPECT_EQ(codeOf([&] { static_cast<void>(mutex.try_lock_for(std::chrono::seconds(1))); }), expected);
    auto const later = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    EXPECT_EQ(codeOf([&] { static_cast<void>(mutex.try_lock_until(later)); }), expected);
    EXPECT_EQ(codeOf([&] { std::lock_guard<TMutexSemaphore> const guard(mutex); }), expected);
    EXPECT_EQ(fsSystem.unlocked, 0);
}

TEST_F(LockFailure, DurationsBecomeMillisecondsRoundedUp) {
    using namespace std::chrono;
    TMutexSemaphore mutex;
    TSemaphore event;
    auto const expect = [&](auto duration, std::uint32_t milliseconds) {
        fsSystem.milliseconds = 4711;
        EXPECT_TRUE(mutex.try_lock_for(duration));
        EXPECT_EQ(fsSystem.milliseconds, milliseconds);
        fsSystem.milliseconds = 4711;
        EXPECT_EQ(event.Wait(duration), 0);
        EXPECT_EQ(fsSystem.milliseconds, milliseconds);
        fsSystem.milliseconds = 4711;
        EXPECT_EQ(TMutexSemaphoreEntry(mutex, duration).State(), TMutexSemaphore::Locked);
        EXPECT_EQ(fsSystem.milliseconds, milliseconds);
    };
    expect(milliseconds(0), 0);
    expect(milliseconds(7), 7);
    expect(seconds(2), 2000);
    expect(nanoseconds(1), 1);
    expect(microseconds(20000), 20);
    expect(microseconds(20001), 21);
    expect(duration<double>(0.25), 250);
    expect(milliseconds(-1), 0);
    expect(hours(-1), 0);
    expect(hours::min(), 0);
    expect(milliseconds(2147483647), 2147483647);
    expect(hours(24 * 365), 2147483647); // in pieces
    expect(hours::max(), 2147483647);
    expect(duration<double>(std::numeric_limits<double>::infinity()), 2147483647);
    expect(duration<double>(std::numeric_limits<double>::quiet_NaN()), 0);
}

TEST_F(LockFailure, LongDurationsAreWaitedForInPieces) {
    fsSystem.wait = TWaitResult::timedOut;
    TMutexSemaphore mutex;
    EXPECT_FALSE(mutex.try_lock_for(std::chrono::milliseconds(3 * 2147483647LL + 5)));
    EXPECT_EQ(fsSystem.milliseconds, 5u); // the rest
    EXPECT_EQ(fsSystem.waits, 4);
}

// A clock that a test sets. It goes on by a second at each look.
struct TTestClock {
    using duration = std::chrono::milliseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<TTestClock>;
    static constexpr bool is_steady = false;
    static time_point now() {
        fsNow += std::chrono::seconds(1);
        return fsNow;
    }
    static inline time_point fsNow{};
};

TEST_F(LockFailure, ClocksThatAreNotSteadyAreReadEverySecond) {
    fsSystem.wait = TWaitResult::timedOut;
    TMutexSemaphore mutex;
    TSemaphore event;
    TTestClock::fsNow = {};
    EXPECT_FALSE(mutex.try_lock_until(TTestClock::time_point(std::chrono::milliseconds(4500))));
    EXPECT_EQ(fsSystem.waits, 5); // at 1, 2, 3 and 4 seconds, and a last time without waiting
    EXPECT_EQ(fsSystem.milliseconds, 0u);
    EXPECT_EQ(event.Wait(TTestClock::time_point::min()), 1);
    EXPECT_EQ(fsSystem.waits, 6);
    fsSystem.wait = TWaitResult::done;
    EXPECT_EQ(event.Wait(TTestClock::time_point::max()), 0);
    EXPECT_EQ(fsSystem.milliseconds, 1000u);
    EXPECT_EQ(fsSystem.waits, 7);
}

TEST_F(LockFailure, AnInsistentEntryTriesTenTimesMoreHoweverLongTheyTake) {
    TMutexSemaphore mutex;
    fsSystem.wait = TWaitResult::failed;
    fsSystem.delay = fsLongestAttempt / 4;
    EXPECT_FALSE(TInsistentEntry::Insist(mutex));
    EXPECT_EQ(fsSystem.waits, 11); // the first attempt, and ten more, of which the last ones are too late
}

TEST_F(LockFailure, AnInsistentEntryTakesTheLockAtTheFirstChance) {
    TMutexSemaphore mutex;
    EXPECT_TRUE(TInsistentEntry::Insist(mutex));
    EXPECT_EQ(fsSystem.waits, 1);
    fsSystem.success = false;
    fsSystem.wait = TWaitResult::failed;
    TMutexSemaphore missing;
    fsSystem.waits = 0;
    EXPECT_FALSE(TInsistentEntry::Insist(missing));
    EXPECT_LE(fsSystem.waits, 1); // without a lock, there is nothing to wait for
}

TEST_F(LockFailure, FailuresThatNobodyListensToAreNotFormatted) {
    TCapture capture(TTrace::warning, 1);
    fsSystem.success = false;
    TSemaphore event;
    event.Post();
    TMutexSemaphore mutex;
    capture.ExpectNone();
}
