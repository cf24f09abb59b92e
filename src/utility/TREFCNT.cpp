// TRefCounted and TWeakRefCounted: objects that count the references to them. The first reference to a TWeakRefCounted
// is made, and the last one is released, under TWeakReferenceLock. When the count becomes 0, RemoveRef() also calls
// ZeroWeakReference() under that lock, because a weak pointer must not find an object that is being destroyed. The
// object is destroyed after the lock is released.

#include "tuzutil/TREFCNT.h"

#include "tuzutil/MUTEXSEM.h"
#include "utility/kernel/debug_check.h"
#include "utility/kernel/reporter.h"

#include <cassert>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Utility, "src/utility/TREFCNT");
constexpr std::uint32_t fsNullReferenceLine = 203;

// Returns the count that a new or assigned object takes over from the original. If a new copy starts with a count other
// than 0, the count does not become 0 when the references to the copy are released. The copy is then never destroyed.
// In an assignment, the target loses its own count.
std::uint32_t CopiedCount(std::atomic<std::uint32_t> const &other) noexcept {
    std::uint32_t const count = other;
    if (debugcheck::isOn && count != 0)
        fsReports.Warning("Copy of an object that has %u references", count);
    return count;
}

} // namespace

TRefCounted::~TRefCounted() = default;

TRefCounted::TRefCounted(TRefCounted const &other) noexcept : fCount(CopiedCount(other.fCount)) {}

TRefCounted &TRefCounted::operator=(TRefCounted const &other) noexcept {
    fCount = CopiedCount(other.fCount);
    return *this;
}

void TRefCounted::AddRef() {
    fCount.fetch_add(1, std::memory_order_relaxed);
}

void TRefCounted::RemoveRef() {
    std::uint32_t const before = fCount.fetch_sub(1, std::memory_order_acq_rel);
    assert(before != 0);
    if (before == 1)
        Unreachable();
}

void TRefCounted::Unreachable() {
    delete this;
}

unsigned long TRefCounted::QueryReferenceCount() const {
    return fCount;
}

void TRefCounted::ThrowNullReference() {
    fsReports.Raise<TInvalidRequest>({"TReference null", fsNullReferenceLine});
}

TWeakRefCounted::~TWeakRefCounted() = default;

TWeakRefCounted::TWeakRefCounted(TWeakRefCounted const &other) noexcept : fCount(CopiedCount(other.fCount)) {}

TWeakRefCounted &TWeakRefCounted::operator=(TWeakRefCounted const &other) noexcept {
    fCount = CopiedCount(other.fCount);
    return *this;
}

// If the lock is free and the count is not 0, the count changes without the lock. If another thread takes the lock at
// the same moment, the count may grow by this reference although that thread holds the lock. This does no harm: the
// count stays above 0 meanwhile, because the caller owns a reference.
void TWeakRefCounted::AddRef() {
    if (fCount.load(std::memory_order_relaxed) != 0 && TWeakReferenceLock::IsFree()) {
        fCount.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    TWeakReferenceLock const lock;
    ++fCount;
}

// If the lock is free and the reference is not the last one, the reference is released without the lock. If the
// reference may be the last one, the lock is taken before the count changes, because a thread that holds the lock at
// that time may still make another reference.
void TWeakRefCounted::RemoveRef() {
    std::uint32_t count = fCount.load(std::memory_order_relaxed);
    while (count > 1 && TWeakReferenceLock::IsFree()) {
        if (fCount.compare_exchange_weak(count, count - 1, std::memory_order_release, std::memory_order_relaxed))
            return;
    }
    bool last;
    {
        TWeakReferenceLock const lock;
        std::uint32_t const before = fCount--;
        assert(before != 0);
        last = before == 1;
        if (last)
            ZeroWeakReference();
    }
    if (last)
        Unreachable();
}

void TWeakRefCounted::ZeroWeakReference() {}

void TWeakRefCounted::Unreachable() {
    delete this;
}

TWeakReferenceLock::TWeakReferenceLock() : fState(fsSem.Lock(TMutexSemaphore::fsInfinite)), fMutex(&fsSem) {
    if (fState != TMutexSemaphore::Locked)
        fsReports.Error("Unable to lock weak references, state=%d", fState);
}

// A lock has a word in memory that is 0 while no thread holds the lock. This lock is never destroyed, so the address of
// its word is kept. This function is called for each reference, and looking the address up would cost more than the
// rest.
bool TWeakReferenceLock::IsFree() noexcept {
    static constinit std::atomic<std::atomic<std::uint32_t> const *> known{nullptr};
    std::atomic<std::uint32_t> const *held = known.load(std::memory_order_acquire);
    if (!held) {
        held = fsSem.HeldWord();
        known.store(held, std::memory_order_release);
    }
    return held && held->load(std::memory_order_acquire) == 0;
}

TWeakReferenceLock::~TWeakReferenceLock() {
    if (fState == TMutexSemaphore::Locked)
        fMutex->Unlock();
}
