// TTraceNotify: observers of the global trace words. They are called under the trace lock and the observers' own, taken
// in this order; an observer may leave, join, trace or change what is traced. What it throws is dropped.

#include "tuzutil/TRACENOT.h"

#include "tuzutil/PURETRAP.h"
#include "tuzutil/TRACE.h"
#include "utility/kernel/drop_exceptions.h"
#include "utility/kernel/lock.h"
#include "utility/kernel/trace_observers.h"

#include <memory>

namespace {

// A walk over the observers that were registered when it began, under their mutex. It allocates nothing: if memory
// could end it, observers that were not called would keep values that are no longer true. Observers may leave
// meanwhile, and others join after the last. Invariant: those before fNext were called, those from fEnd on are new.
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
    static TObserverWalk *fsInnermost; // guarded by the mutex

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
    TPureCall::Trap();
}

void TTraceNotify::NotifyAll() noexcept {
    TNoCancel const noCancel;
    // In the order in which destinations take them: an observer may trace, or change what is traced.
    TLock const trace(TTrace::Base::fsMutex);
    TLock const lock(TTraceObservers::fsMutex);
    TObserverWalk walk;
    while (TTraceNotify *const observer = walk.Next()) {
        DropExceptions([&] { observer->Notify(); }); // the others are told all the same
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
