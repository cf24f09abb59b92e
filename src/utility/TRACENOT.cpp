#include "tuzutil/TRACENOT.h"

#include "tuzutil/PURETRAP.h"
#include "utility/TRACEOBS.h"

TTraceNotify::TTraceNotify() {
    TMutexSemaphoreEntry const lock(TTraceObservers::fsMutex, TMutexSemaphore::fsInfinite);
    TTraceObservers::fsSet.Add(new TElemPointer<TTraceNotify>(this));
}

TTraceNotify::~TTraceNotify() {
    TMutexSemaphoreEntry const lock(TTraceObservers::fsMutex, TMutexSemaphore::fsInfinite);
    if (auto *const entry = TTraceObservers::Find(this)) {
        TTraceObservers::fsSet.Remove(entry);
        delete entry;
    }
}

void TTraceNotify::Notify() {
    TPureCall::Trap();
}

void TTraceNotify::NotifyAll() {
    TMutexSemaphoreEntry const lock(TTraceObservers::fsMutex, TMutexSemaphore::fsInfinite);
    // An observer may end itself or another one, or make a new one: the walk goes over a copy, and only to those that
    // are still there.
    TSetOfCopy<TElemPointer<TTraceNotify>> const present(TTraceObservers::fsSet);
    for (unsigned long i = 0; i < present.GetNumberElements(); ++i) {
        TTraceNotify *const observer = present.Find(i)->Pointer();
        if (!TTraceObservers::Find(observer))
            continue;
        try {
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
