#include "tuzutil/TREFCNT.h"

#include "tuzutil/MUTEXSEM.h"
#include "utility/RAISE.h"

namespace {

constexpr std::uint32_t fsNullReferenceLine = 203;

} // namespace

TRefCounted::~TRefCounted() = default;

TRefCounted::TRefCounted(TRefCounted const &other) noexcept : fCount(other.fCount.load()) {}

TRefCounted &TRefCounted::operator=(TRefCounted const &other) noexcept {
    fCount = other.fCount.load();
    return *this;
}

void TRefCounted::AddRef() {
    fCount.fetch_add(1, std::memory_order_relaxed);
}

void TRefCounted::RemoveRef() {
    if (fCount.fetch_sub(1, std::memory_order_acq_rel) == 1)
        Unreachable();
}

void TRefCounted::Unreachable() {
    delete this;
}

unsigned long TRefCounted::QueryReferenceCount() const {
    return fCount;
}

void TRefCounted::ThrowNullReference() {
    Raise<TInvalidRequest>(
        {TUtilityTraceCategory::Utility, "src/utility/TREFCNT", "TReference null", "", fsNullReferenceLine});
}

TWeakRefCounted::~TWeakRefCounted() = default;

TWeakRefCounted::TWeakRefCounted(TWeakRefCounted const &other) noexcept : fCount(other.fCount.load()) {}

TWeakRefCounted &TWeakRefCounted::operator=(TWeakRefCounted const &other) noexcept {
    fCount = other.fCount.load();
    return *this;
}

// The count changes under the lock and is atomic besides: it is read without the lock, and stays right where the lock
// could not be had.
void TWeakRefCounted::AddRef() {
    TWeakReferenceLock const lock;
    ++fCount;
}

void TWeakRefCounted::RemoveRef() {
    bool last;
    {
        TWeakReferenceLock const lock;
        last = fCount-- == 1;
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

TWeakReferenceLock::TWeakReferenceLock() : fState(fsSem.Lock(TMutexSemaphore::fsInfinite)), fMutex(&fsSem) {}

TWeakReferenceLock::~TWeakReferenceLock() {
    if (fState == TMutexSemaphore::Locked)
        fMutex->Unlock();
}
