// TTimer: posts an event (a TSemaphore) when the time of the timer has come. A function that changes a timer takes
// TMasterTimer::fsLock. While a thread holds this lock, it traces nothing and destroys no event, because both may run
// code that sets timers. The thread that serves all timers is in threads/timer_thread.cpp.

#include "tuzutil/TIMER.h"

#include "platform/platform.h"
#include "utility/kernel/insistent_lock.h"
#include "utility/threads/thread_launch.h"
#include "utility/threads/timer_thread.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace {

constexpr std::int64_t fsLastSecond = UINT32_MAX;
constexpr std::int64_t fsLastMillisecond = (std::int64_t{1} << TTimerQueue::fsBits) - 1;

// Returns the second at which a timer is due, at least 1, because 0 means "not armed". A time that does not fit in 32
// bits becomes the nearest time that fits.
std::uint32_t PostTime(std::int64_t now, std::int64_t seconds) noexcept {
    std::int64_t const distance = std::clamp<std::int64_t>(seconds, -fsLastSecond, fsLastSecond);
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(now + distance, 1, fsLastSecond));
}

// Holds the lock of the timers. If the thread of the timers could not be started, the destructor reports that after it
// has released the lock, because a trace destination may set timers.
class TTimerEntry {
public:
    TTimerEntry() noexcept : fLock(TMasterTimer::fsLock) {}
    TTimerEntry(TTimerEntry const &) = delete;
    TTimerEntry &operator=(TTimerEntry const &) = delete;
    ~TTimerEntry() {
        fLock.Release();
        if (!fIsServed)
            TThreadLaunch::ReportNotStarted();
    }

    // Returns whether the lock is held. If the lock could not be created, it is not held, and no timer is ever armed.
    explicit operator bool() const noexcept { return bool{fLock}; }

    // Returns whether the caller may change a timer that may be armed. The caller may do so if the lock is held. If the
    // lock could not be created, the caller may do so without the lock, because no timer is armed then.
    // No test gets here: the lock of the timers would have to be missing or to fail.
    bool MayChange() const noexcept { return bool{fLock} || !TMasterTimer::fsLock.GetHandle(); }

    // Starts the thread of the timers if there is none. Releases the lock while the object of the thread is made.
    void Serve() noexcept {
        if (!TMasterTimer::IsMissing())
            return;
        fLock.Release();
        fSpare = TMasterTimer::New();
        fLock.Take();
        fIsServed = !TMasterTimer::IsMissing() || (fSpare && TMasterTimer::Start(*fSpare));
    }

private:
    TReference<TMasterTimer> fSpare; // comes before fLock, so it is destroyed after the lock is released
    TInsistentEntry fLock;
    bool fIsServed = true;
};

} // namespace

TTimer::TTimer(TReference<TSemaphore> semaphore) : fSemaphore(std::move(semaphore)) {
    TTimerEntry entry;
    if (!entry)
        return;
    entry.Serve();
    TMasterTimer::Add(fLink);
}

TTimer::TTimer(TTimer const &other) : TTimer(other.fSemaphore) {
    CopyTime(other);
}

TTimer &TTimer::operator=(TTimer const &other) {
    if (this == &other)
        return *this;
    TReference<TSemaphore> semaphore(other.fSemaphore);
    TTimerEntry const entry; // destroyed before `semaphore`, because the destructor of the old event may run any code
    // No test gets here: the lock of the timers would have to fail.
    if (!entry.MayChange())
        return *this;
    TMasterTimer::Disarm(fLink);
    CopyTime(other);
    std::swap(fSemaphore, semaphore);
    return *this;
}

// An armed timer must leave its queue before it is destroyed. Therefore, if the destructor cannot get the lock, it
// tries again until it gets the lock.
TTimer::~TTimer() {
    std::optional<TTimerEntry> entry(std::in_place);
    // No test gets here: the lock of the timers would have to fail.
    while (!entry->MayChange())
        entry.emplace();
    // No test gets here: the lock of the timers would have to be missing.
    if (!*entry)
        return;
    TMasterTimer::Disarm(fLink);
    fPostTime.store(0, std::memory_order_release);
    TMasterTimer::Remove(fLink);
}

void TTimer::Set(long seconds) {
    Arm(false, seconds);
}

void TTimer::SetMilliseconds(long long fromNow) {
    Arm(true, fromNow);
}

// The event is cleared while the lock is held. Otherwise the event could be posted for the former time after it was
// cleared. The program would take this post for one at the new time. But if the event could not be created, Clear()
// traces a failure, so it is called before the lock is taken. Times of the steady clock are rounded up, because a timer
// must not expire early.
void TTimer::Arm(bool isSteady, long long fromNow) {
    if (LacksEvent())
        fSemaphore->Clear();
    TTimerEntry entry;
    // No test gets here: the lock of the timers would have to be missing.
    if (!entry)
        return;
    entry.Serve();
    TMasterTimer::Add(fLink);
    if (HasEvent())
        fSemaphore->Clear();
    std::int64_t const today = platform::CurrentTime();
    std::uint32_t const second = PostTime(today, isSteady ? (fromNow + 999) / 1000 : fromNow);
    std::uint64_t due = second;
    if (isSteady) {
        std::int64_t const now =
            (platform::SteadyTime() + TMasterTimer::fsNanoseconds - 1) / TMasterTimer::fsNanoseconds;
        due = static_cast<std::uint64_t>(std::min<std::int64_t>(now + fromNow, fsLastMillisecond));
    }
    fPostTime.store(second, std::memory_order_release);
    TMasterTimer::Arm(fLink, isSteady, due, today);
}

void TTimer::Cancel() {
    TTimerEntry const entry;
    // No test gets here: the lock of the timers would have to fail.
    if (!entry.MayChange())
        return;
    TMasterTimer::Disarm(fLink);
    fPostTime.store(0, std::memory_order_release);
}

long TTimer::QueryTimeLeft() const noexcept {
    return static_cast<long>(std::min<std::int64_t>((MillisecondsLeft() + 999) / 1000, INT32_MAX));
}

long long TTimer::MillisecondsLeft() const noexcept {
    std::int64_t const postTime = fPostTime;
    if (postTime == 0)
        return 0;
    if (!fLink.isSteady)
        return std::max<std::int64_t>(postTime - platform::CurrentTime(), 0) * 1000;
    std::int64_t const left =
        static_cast<std::int64_t>(fLink.due) * TMasterTimer::fsNanoseconds - platform::SteadyTime();
    return left > 0 ? std::max<std::int64_t>(left / TMasterTimer::fsNanoseconds, 1) : 0;
}

// Copies the time for which another timer is set, without arming this one. REQUIRES: this timer is not armed.
void TTimer::CopyTime(TTimer const &other) noexcept {
    fLink.due = other.fLink.due;
    fLink.isSteady = other.fLink.isSteady;
    fPostTime = other.fPostTime.load();
}

void TTimer::Post() noexcept {
    fPostTime.store(0, std::memory_order_release);
    if (HasEvent())
        fSemaphore->Post();
}
