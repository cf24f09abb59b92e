// Locks and events over a system whose calls fail: this program has its own copy of the classes, above functions that
// the tests direct.

#include "utility/MUTEXSEM.cpp"

#include "support/CaptureTrace.h"
#include "support/Notes.h"

#include <new>

namespace {

// What the calls answer, and what they were asked.
struct System {
    TWaitResult wait = TWaitResult::done;
    bool success = true;
    std::uint32_t milliseconds = 0;
    int unlocked = 0;
    int deleted = 0;
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
    return 5;
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
    return fsSystem.wait;
}
bool platform::UnlockMutex(Mutex *) noexcept {
    ++fsSystem.unlocked;
    return fsSystem.success;
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

TEST_F(LockFailure, FailuresThatNobodyListensToAreNotFormatted) {
    TCapture capture(TTrace::warning, 1);
    fsSystem.success = false;
    TSemaphore event;
    event.Post();
    TMutexSemaphore mutex;
    capture.ExpectNone();
}
