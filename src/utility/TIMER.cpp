#include "tuzutil/TIMER.h"

#include "platform/platform.h"
#include "utility/kernel/insistent_lock.h"
#include "utility/threads/thread_launch.h"
#include "utility/threads/timer_thread.h"

#include <algorithm>
#include <new>
#include <optional>
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
    TEntry() noexcept : fLock(std::in_place, TMasterTimer::fsLock) {}
    TEntry(TEntry const &) = delete;
    TEntry &operator=(TEntry const &) = delete;
    ~TEntry() {
        fLock.reset();
        if (!fIsServed)
            TThreadLaunch::ReportNotStarted();
    }

    // False where there never was a lock: no timer is armed then, or will be.
    explicit operator bool() const noexcept { return bool{*fLock}; }

    // Sees to it that there is a thread. Lets the lock go for a while if there is none.
    void Serve() noexcept {
        if (!TMasterTimer::IsMissing())
            return;
        fLock.reset();
        fSpare = TMasterTimer::New();
        fLock.emplace(TMasterTimer::fsLock);
        fIsServed = !TMasterTimer::IsMissing() || (fSpare && TMasterTimer::Start(*fSpare));
    }

private:
    TReference<TMasterTimer> fSpare; // goes after the lock did
    std::optional<TInsistentEntry> fLock;
    bool fIsServed = true;
};

} // namespace

TTimer::TTimer(TReference<TSemaphore> semaphore) : fSemaphore(std::move(semaphore)) {
    TEntry entry;
    if (!entry)
        return;
    entry.Serve();
    TMasterTimer::Add();
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
    if (!entry)
        return;
    TMasterTimer::Disarm(fLink);
    fPostTime = 0;
    TMasterTimer::Remove();
}

// Cleared under the lock: an expiry of the time set before is not taken for one of the new time. Not so an event that
// there is not: that is traced.
void TTimer::Set(long seconds) {
    if (LacksEvent())
        fSemaphore->Clear();
    TEntry entry;
    if (!entry)
        return;
    entry.Serve();
    if (HasEvent())
        fSemaphore->Clear();
    TMasterTimer::Disarm(fLink);
    std::int64_t const now = platform::CurrentTime();
    fPostTime = fLink.second = PostTime(now, seconds);
    TMasterTimer::Arm(fLink, now);
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

void TTimer::Post() noexcept {
    fPostTime = 0;
    if (HasEvent())
        fSemaphore->Post();
}

void TMasterTimer::Remove() noexcept {
    if (--fsCount == 0)
        Stop();
}

// The master need not be woken for a time to come: it looks every second, but for when nothing was armed before.
void TMasterTimer::Arm(TTimerLink &link, std::int64_t now) noexcept {
    bool const sleeps = fsArmed.IsEmpty();
    fsArmed.Add(link);
    if (fsOnly && (sleeps || link.second <= now))
        fsOnly->fWake.Post();
}

TReference<TMasterTimer> TMasterTimer::New() noexcept {
    try {
        TReference<TMasterTimer> const master(new TMasterTimer);
        if (master->fWake.Wait(0) >= 0 && TThreadLaunch::HasAll(*master))
            return master;
    } catch (std::bad_alloc const &) {
        // As without an event.
    }
    return nullptr;
}

// Without waiting until it runs: a static timer of a library is made while the system loads that library, and no thread
// can begin before that is done.
bool TMasterTimer::Start(TMasterTimer &master) noexcept {
    master.AddRef(); // the thread's
    if (!TThreadLaunch::StartUnannounced(master)) {
        master.RemoveRef();
        return false;
    }
    master.AddRef(); // that of fsOnly
    fsOnly = &master;
    return true;
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
    TReference<TMasterTimer> master;
    {
        TEntry const entry;
        fsIsOver = true;
        master = TReference<TMasterTimer>(fsOnly);
        Stop();
    }
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

// Up to a timer whose event could not be made: that event, or null. Whether any timer is left that is armed.
TReference<TSemaphore> TMasterTimer::PostUntilOneFails(bool &isAnyLeft) noexcept {
    TEntry const entry;
    std::int64_t const now = platform::CurrentTime();
    TTimerLink *first;
    while ((first = fsArmed.First()) && first->second <= now) {
        fsArmed.Remove(*first);
        first->timer->Post();
        if (first->timer->LacksEvent())
            return first->timer->fSemaphore;
    }
    isAnyLeft = first != nullptr;
    return nullptr;
}

// Whether any timer is left that is armed.
bool TMasterTimer::PostDue() {
    bool isAnyLeft = false;
    while (TReference<TSemaphore> const missing = PostUntilOneFails(isAnyLeft))
        missing->Post(); // says so
    return isAnyLeft;
}
