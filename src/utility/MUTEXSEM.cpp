// Locks, events and their guards: TSemaphore, TMutexSemaphore, TMutexSemaphoreWithEvent. The platform provides the
// events and locks. This source converts the results of the platform and traces failures. Lock() and Unlock() must not
// trace, because tracing takes locks. Trace entries about events name THREAD as their source file.

#include "tuzutil/MUTEXSEM.h"

#include "platform/platform.h"
#include "utility/kernel/debug_check.h"
#include "utility/kernel/kept_code.h"
#include "utility/kernel/reporter.h"

#include <cstdlib>
#include <cstring>

namespace {

using platform::TWaitResult;

// Converts milliseconds to the 32 bits that the platform takes. A time of -1 (all bits set) means "for ever". A time
// that does not fit becomes the longest limited time.
std::uint32_t Milliseconds(long timeout) noexcept {
    if constexpr (sizeof(long) > sizeof(std::int32_t)) {
        if (timeout > 0xFFFFFFFE || timeout < INT32_MIN)
            return platform::waitForEver - 1;
    }
    return static_cast<std::uint32_t>(timeout);
}

char *CopyOf(char const *name) noexcept {
    if (!name)
        return nullptr;
    std::size_t const size = std::strlen(name) + 1;
    auto *const copy = static_cast<char *>(std::malloc(size));
    return copy ? static_cast<char *>(std::memcpy(copy, name, size)) : nullptr;
}

TReporter const fsEventReports(TUtilityTraceCategory::Utility, "src/utility/THREAD");
TReporter const fsMutexReports(TUtilityTraceCategory::Utility, "src/utility/MUTEXSEM");
// The line numbers in the trace entries of failed creations.
constexpr std::uint32_t fsEventCreated = 89;
constexpr std::uint32_t fsMutexCreated = 100;

// The public header declares the handles as `void *`. Only these two functions cast them to the platform's types.
platform::Event *EventOf(void *handle) noexcept {
    return static_cast<platform::Event *>(handle);
}

platform::Mutex *MutexOf(void *handle) noexcept {
    return static_cast<platform::Mutex *>(handle);
}

} // namespace

// Events

TSemaphore::TSemaphore(int posted) : fHandle(platform::NewEvent(posted != 0)) {
    if (fHandle)
        return;
    TKeptCode const kept;
    fsEventReports.Error({"Unable to create semaphore, error=x%08X", fsEventCreated}, kept.code);
}

TSemaphore::TSemaphore(TSemaphore const &other)
    : TRefCounted(other), fHandle(platform::ShareEvent(EventOf(other.fHandle))) {}

TSemaphore &TSemaphore::operator=(TSemaphore const &other) {
    TRefCounted::operator=(other);
    platform::Event *const old = EventOf(fHandle);
    fHandle = platform::ShareEvent(EventOf(other.fHandle));
    platform::DeleteEvent(old);
    return *this;
}

TSemaphore::~TSemaphore() {
    platform::DeleteEvent(EventOf(fHandle));
}

int TSemaphore::Wait(long timeout) {
    TWaitResult const result = platform::WaitEvent(EventOf(fHandle), Milliseconds(timeout));
    if (result == TWaitResult::done)
        return 0;
    if (result == TWaitResult::timedOut)
        return 1;
    TKeptCode const kept;
    if (result == TWaitResult::abandoned)
        fsEventReports.Error("Wait for semaphore abandoned");
    else
        fsEventReports.Error("Unable to wait for semaphore, return=x%08X, error=x%08X",
                             static_cast<std::uint32_t>(result), kept.code);
    return -1;
}

int TSemaphore::Clear() {
    if (platform::ClearEvent(EventOf(fHandle)))
        return 0;
    TKeptCode const kept;
    fsEventReports.Error("Unable to reset semaphore, error=x%08X", kept.code);
    return 1;
}

int TSemaphore::Post() {
    if (platform::PostEvent(EventOf(fHandle)))
        return 0;
    TKeptCode const kept;
    fsEventReports.Error("Unable to post semaphore, error=x%08X", kept.code);
    return 1;
}

int TSemaphore::ClearAndWait() {
    Clear();
    return Wait(TMutexSemaphore::fsInfinite);
}

// Locks

// On some systems, a program that is not optimized imports an inline constant of an exported class if it takes the
// address of the constant. Therefore the library defines this constant.
constexpr long TMutexSemaphore::fsInfinite;

TMutexSemaphore::TMutexSemaphore(char const *name) : fHandle(platform::NewMutex(name)), fName(nullptr) {
    TKeptCode const kept; // malloc() and the trace entry may change the error code
    if (!fHandle)
        fsMutexReports.Error({"Error %d from CreateMutex(%s)", fsMutexCreated}, static_cast<int>(kept.code),
                             name ? name : "unnamed");
    fName = CopyOf(name);
}

TMutexSemaphore::~TMutexSemaphore() {
    if (!platform::DeleteMutex(MutexOf(fHandle)))
        fsMutexReports.Error("Error %d from CloseHandle(%s)", static_cast<int>(platform::LastError()),
                             fName ? fName : "unnamed");
    std::free(fName);
}

void *TMutexSemaphore::GetHandle() const noexcept {
    return reinterpret_cast<void *>(platform::SystemHandle(MutexOf(fHandle)));
}

TMutexSemaphore::EState TMutexSemaphore::Lock(long timeout) {
    switch (platform::LockMutex(MutexOf(fHandle), Milliseconds(timeout))) {
    case TWaitResult::done:
    case TWaitResult::abandoned: return Locked;
    case TWaitResult::timedOut: return TimedOut;
    default: return Error;
    }
}

void TMutexSemaphore::Unlock() {
    platform::UnlockMutex(MutexOf(fHandle));
}

bool TMutexSemaphore::WasAbandoned() const noexcept {
    return platform::WasAbandoned(MutexOf(fHandle));
}

int TMutexSemaphore::QueryError() noexcept {
    return static_cast<int>(platform::LastError());
}

bool TMutexSemaphore::IsHeld() const noexcept {
    return platform::HoldsMutex(MutexOf(fHandle));
}

bool TMutexSemaphore::IsFree() const noexcept {
    std::atomic<std::uint32_t> const *const held = HeldWord();
    return held && held->load(std::memory_order_acquire) == 0;
}

std::atomic<std::uint32_t> const *TMutexSemaphore::HeldWord() const noexcept {
    return platform::HeldWord(MutexOf(fHandle));
}

TMutexSemaphoreWithEvent::TMutexSemaphoreWithEvent(TReference<TSemaphore> event, char const *name)
    : TMutexSemaphore(name), fEvent(event) {}

TMutexSemaphoreWithEvent::~TMutexSemaphoreWithEvent() = default;

// Guards

TMutexSemaphoreEntry::TMutexSemaphoreEntry(TMutexSemaphore &mutex, long timeout)
    : fState(mutex.Lock(timeout)), fMutex(mutex) {}

TMutexSemaphoreEntry::~TMutexSemaphoreEntry() {
    if (fState == TMutexSemaphore::Locked)
        fMutex.Unlock();
}

TMutexSemaphoreWithEventEntry::TMutexSemaphoreWithEventEntry(TMutexSemaphoreWithEvent &mutex, long timeout)
    : fState(static_cast<TMutexSemaphore &>(mutex).Lock(timeout)), fMutex(mutex), fOwner(mutex) {}

TMutexSemaphoreWithEventEntry::~TMutexSemaphoreWithEventEntry() {
    if (fState == TMutexSemaphore::Locked)
        fMutex.Unlock();
}

int TMutexSemaphoreWithEventEntry::Clear() {
    return fOwner.fEvent->Clear();
}

int TMutexSemaphoreWithEventEntry::Post() {
    return fOwner.fEvent->Post();
}

int TMutexSemaphoreWithEventEntry::Wait(long timeout) {
    if (fState == TMutexSemaphore::Locked) {
        fMutex.Unlock();
        fState = TMutexSemaphore::Unlocked;
        if (debugcheck::isOn && fMutex.IsHeld())
            fsMutexReports.Warning("Wait with a lock that another guard holds too");
    }
    int const result = fOwner.fEvent->Wait(timeout);
    fState = fMutex.Lock(TMutexSemaphore::fsInfinite);
    return result;
}
