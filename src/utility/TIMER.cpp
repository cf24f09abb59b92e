#include "tuzutil/TIMER.h"

#include "platform/platform.h"
#include "tuzutil/TRACEP.h"
#include "utility/LAUNCH.h"
#include "utility/MASTTIMR.h"

#include <algorithm>
#include <new>
#include <utility>

namespace {

// While anything is armed the master looks at the calendar every second: a clock that is set is noticed.
constexpr long fsLongestSleep = 1000;

constexpr std::int64_t fsLastSecond = UINT32_MAX;

// 0 stands for "not armed"; a time that 32 bits do not hold becomes the nearest that they do.
std::uint32_t PostTime(std::int64_t now, long seconds) noexcept {
    std::int64_t const distance = std::clamp<std::int64_t>(seconds, -fsLastSecond, fsLastSecond);
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(now + distance, 1, fsLastSecond));
}

// Holds the lock; when it is released, reports a thread that was not to be had.
class TEntry {
public:
    TEntry() noexcept { TMasterTimer::fsLock.Lock(TMutexSemaphore::fsInfinite); }
    TEntry(TEntry const &) = delete;
    TEntry &operator=(TEntry const &) = delete;
    ~TEntry() {
        TMasterTimer::fsLock.Unlock();
        if (!fIsServed)
            TTracePoint::Write(TTrace::error, TUtilityTraceCategory::Utility, "src/utility/THREAD",
                               "Unable to start thread");
    }

    void Expect(bool isServed) noexcept { fIsServed = isServed; }

private:
    bool fIsServed = true;
};

} // namespace

TTimer::TTimer(TReference<TSemaphore> semaphore) : fSemaphore(std::move(semaphore)) {
    TEntry entry;
    entry.Expect(TMasterTimer::Add());
}

TTimer::TTimer(TTimer const &other) : TTimer(other.fSemaphore) {
    fPostTime = other.fPostTime.load();
}

TTimer &TTimer::operator=(TTimer const &other) {
    if (this == &other)
        return *this;
    TReference<TSemaphore> semaphore(other.fSemaphore);
    TEntry const entry; // goes before the old event does, whose destructor may be anybody's
    TMasterTimer::Disarm(fLink);
    fPostTime = other.fPostTime.load();
    std::swap(fSemaphore, semaphore);
    return *this;
}

TTimer::~TTimer() {
    TEntry const entry;
    TMasterTimer::Disarm(fLink);
    fPostTime = 0;
    TMasterTimer::Remove();
}

// Cleared under the lock: an expiry of the time set before is not taken for one of the new time.
void TTimer::Set(long seconds) {
    TEntry entry;
    if (fSemaphore)
        fSemaphore->Clear();
    TMasterTimer::Disarm(fLink);
    std::int64_t const now = platform::CurrentTime();
    fPostTime = fLink.second = PostTime(now, seconds);
    entry.Expect(TMasterTimer::Arm(fLink, now));
}

void TTimer::Cancel() {
    TEntry const entry;
    TMasterTimer::Disarm(fLink);
    fPostTime = 0;
}

long TTimer::QueryTimeLeft() const noexcept {
    std::int64_t const postTime = fPostTime;
    if (postTime == 0)
        return 0;
    return static_cast<long>(std::clamp<std::int64_t>(postTime - platform::CurrentTime(), 0, INT32_MAX));
}

void TTimer::Post() {
    fPostTime = 0;
    if (fSemaphore)
        fSemaphore->Post();
}

bool TMasterTimer::Add() noexcept {
    ++fsCount;
    return Ensure();
}

void TMasterTimer::Remove() noexcept {
    if (--fsCount == 0)
        Stop();
}

// The master need not be woken for a time to come: it looks every second, but for when nothing was armed before.
bool TMasterTimer::Arm(TTimerLink &link, std::int64_t now) noexcept {
    bool const sleeps = fsArmed.IsEmpty();
    fsArmed.Add(link);
    bool const isServed = Ensure();
    if (fsOnly && (sleeps || link.second <= now))
        fsOnly->fWake.Post();
    return isServed;
}

// Started without waiting until it runs: a static timer of a library is made while the system loads that library, and
// no thread can begin before that is done.
bool TMasterTimer::Ensure() noexcept {
    if (fsOnly || fsIsOver)
        return true;
    try {
        TReference<TMasterTimer> const master(new TMasterTimer);
        master->AddRef(); // the thread's
        if (master->fWake.Wait(0) < 0 || !TThreadLaunch::StartUnannounced(*master)) {
            master->RemoveRef();
            return false;
        }
        master->AddRef(); // that of fsOnly
        fsOnly = master.Pointer();
        return true;
    } catch (std::bad_alloc const &) {
        return false;
    }
}

void TMasterTimer::Stop() noexcept {
    TMasterTimer *const master = std::exchange(fsOnly, nullptr);
    if (!master)
        return;
    master->fStop = true;
    master->fWake.Post();
    master->RemoveRef();
}

void TMasterTimer::Shutdown() noexcept {
    if (platform::threadsEndFirst)
        return;
    fsLock.Lock(TMutexSemaphore::fsInfinite);
    fsIsOver = true;
    TReference<TMasterTimer> const master(fsOnly);
    Stop();
    fsLock.Unlock();
    if (master)
        master->WaitForTermination(-1);
}

void TMasterTimer::LoseThread() noexcept {
    if (TMasterTimer *const lost = std::exchange(fsOnly, nullptr)) {
        TThreadLaunch::ForgetRun(*lost);
        lost->RemoveRef(); // the thread's
        lost->RemoveRef();
    }
}

int TMasterTimer::Run() {
    while (!fStop) {
        fWake.Wait(PostDue() ? fsLongestSleep : TMutexSemaphore::fsInfinite);
        fWake.Clear();
    }
    return 0;
}

// Whether any timer is left that is armed.
bool TMasterTimer::PostDue() {
    TMutexSemaphoreEntry const entry(fsLock, TMutexSemaphore::fsInfinite);
    std::int64_t const now = platform::CurrentTime();
    while (TTimerLink *const first = fsArmed.First()) {
        if (first->second > now)
            return true;
        fsArmed.Remove(*first);
        first->timer->Post();
    }
    return false;
}
