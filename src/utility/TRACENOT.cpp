// TTraceNotify: observers, which are called when the global trace level or the global component changes. The thread
// that calls them holds two locks, which it takes in this order: the trace lock, TTrace::Base::fsMutex, and
// TTraceObservers::fsMutex. While an observer is called, it may add and remove observers (also itself), write trace
// entries, and change which entries are traced. An exception of an observer is dropped.

#include "tuzutil/TRACENOT.h"

#include "tuzutil/PURETRAP.h"
#include "tuzutil/TRACE.h"
#include "utility/kernel/drop_exceptions.h"
#include "utility/kernel/lock.h"
#include "utility/kernel/trace_observers.h"

#include <memory>

namespace {

// A walk over the observers that were registered when the walk began. REQUIRES: the thread holds
// TTraceObservers::fsMutex. A walk allocates nothing, because a lack of memory must not keep observers from being
// called. Observers may leave during the walk, and new ones are added at the end of the set. Invariant: the observers
// at places before fNext were called, and those at fEnd and after it were added during the walk.
class TObserverWalk {
public:
    TObserverWalk() noexcept : fEnd(TTraceObservers::fsSet.GetNumberElements()), fOuter(fsInnermost) {
        fsInnermost = this;
    }
    ~TObserverWalk() { fsInnermost = fOuter; }
    TObserverWalk(TObserverWalk const &) = delete;
    TObserverWalk &operator=(TObserverWalk const &) = delete;

    TTraceNotify *Next() noexcept { return fNext < fEnd ? TTraceObservers::fsSet.Find(fNext++)->Pointer() : nullptr; }

    static void Leave(TElemPointer<TTraceNotify> const *gone) noexcept {
        unsigned long place = 0;
        while (TTraceObservers::fsSet.Find(place) != gone)
            ++place;
        for (TObserverWalk *walk = fsInnermost; walk; walk = walk->fOuter) {
            walk->fNext -= place < walk->fNext;
            walk->fEnd -= place < walk->fEnd;
        }
    }

private:
    static TObserverWalk *fsInnermost; // guarded by TTraceObservers::fsMutex

    unsigned long fNext = 0;
    unsigned long fEnd;
    TObserverWalk *fOuter;
};

constinit TObserverWalk *TObserverWalk::fsInnermost = nullptr;

} // namespace

TTraceNotify::TTraceNotify() {
    Join();
}

void TTraceNotify::Join() {
    TLock const lock(TTraceObservers::fsMutex);
    if (!TTraceObservers::Find(this))
        TTraceObservers::fsSet.Add(std::make_unique<TElemPointer<TTraceNotify>>(this));
}

TTraceNotify::~TTraceNotify() {
    Leave();
}

void TTraceNotify::Leave() noexcept {
    TLock const lock(TTraceObservers::fsMutex);
    if (auto *const entry = TTraceObservers::Find(this)) {
        TObserverWalk::Leave(entry);
        TTraceObservers::fsSet.Remove(entry);
        delete entry;
    }
}

void TTraceNotify::Notify() {
    TPureCall::Trap(*this, "TTraceNotify::Notify()");
}

void TTraceNotify::NotifyAll() noexcept {
    TNoCancel const noCancel;
    // The trace lock is taken first, because an observer may write an entry, which takes that lock. In the other order,
    // two threads could wait for each other.
    TLock const trace(TTrace::Base::fsMutex);
    TLock const lock(TTraceObservers::fsMutex);
    TObserverWalk walk;
    while (TTraceNotify *const observer = walk.Next()) {
        DropExceptions([&] { observer->Notify(); }); // the other observers are called even if this one throws
    }
}

TElemPointer<TTraceNotify> *TTraceObservers::Find(TTraceNotify const *observer) {
    for (TSetOfCopy<TElemPointer<TTraceNotify>>::Cursor cursor(fsSet); auto *const entry = cursor.Element();
         cursor.Next()) {
        if (entry->Pointer() == observer)
            return entry;
    }
    return nullptr;
}
