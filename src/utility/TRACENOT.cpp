#include "tuzutil/TRACENOT.h"

#include "tuzutil/PURETRAP.h"
#include "tuzutil/TRACE.h"
#include "utility/NOCANCEL.h"
#include "utility/TRACEOBS.h"

#include <memory>
#include <new>
#include <vector>

TTraceNotify::TTraceNotify() {
    Join();
}

void TTraceNotify::Join() {
    TMutexSemaphoreEntry const lock(TTraceObservers::fsMutex, TMutexSemaphore::fsInfinite);
    if (!TTraceObservers::Find(this))
        TTraceObservers::fsSet.Add(std::make_unique<TElemPointer<TTraceNotify>>(this));
}

TTraceNotify::~TTraceNotify() {
    Leave();
}

void TTraceNotify::Leave() noexcept {
    TMutexSemaphoreEntry const lock(TTraceObservers::fsMutex, TMutexSemaphore::fsInfinite);
    if (auto *const entry = TTraceObservers::Find(this)) {
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
    TMutexSemaphoreEntry const trace(TTrace::Base::fsMutex, TMutexSemaphore::fsInfinite);
    TMutexSemaphoreEntry const lock(TTraceObservers::fsMutex, TMutexSemaphore::fsInfinite);
    // An observer may end itself or another one, or make a new one: the walk goes over a copy, and only to those that
    // are still there.
    std::vector<TTraceNotify *> present;
    try {
        for (unsigned long i = 0; i < TTraceObservers::fsSet.GetNumberElements(); ++i)
            present.push_back(TTraceObservers::fsSet.Find(i)->Pointer());
    } catch (std::bad_alloc const &) {
        // Those for whom there was room are told.
    }
    for (TTraceNotify *const observer : present) {
        try {
            if (TTraceObservers::Find(observer))
                observer->Notify();
        } catch (...) {
            // The others are told all the same.
        }
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
