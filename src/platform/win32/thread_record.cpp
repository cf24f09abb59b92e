// Makes the record of a thread when the thread first uses a lock. When the thread ends, a callback of fiber-local
// storage unlocks the locks that the thread still holds, marks them as abandoned, and deletes the record. The functions
// take no lock of this library.

#include "platform/win32/thread_record.h"

#include <atomic>
#include <mutex>
#include <new>

using platform::fsSlot;
using platform::fsSlots;
using platform::TStackRecord;
using platform::TThreadRecord;

constinit std::atomic<DWORD> platform::fsSlot{platform::fsSlots};

namespace {

constinit std::atomic<DWORD> fsIndex{FLS_OUT_OF_INDEXES};
constinit std::once_flag fsOnce;
constinit std::atomic<std::uint32_t> fsLast{0};
constinit std::atomic<bool> fsForgotten{false};
constinit TThreadRecord fsUnloading{0xFFFFFFFF, 0};

void StoreInSlot(TStackRecord *record) noexcept {
    if (DWORD const slot = fsSlot; slot < fsSlots)
        TlsSetValue(slot, record);
}

void WINAPI EndOfThread(void *record) noexcept {
    auto *const thread = static_cast<TStackRecord *>(record);
    // When the library is unloaded, the system also calls this function for the records of killed threads. By then,
    // other threads may have taken the locks of killed threads, so these locks must not be unlocked here.
    if (!fsForgotten) {
        thread->AbandonAll();
        if (auto const id = static_cast<DWORD>(thread->identity >> 32); id == GetCurrentThreadId()) {
            StoreInSlot(nullptr);
        } else if (id != 0) {
            // The slot of the other thread still has the record, which must therefore remain.
            thread->stack = nullptr;
            return;
        }
    }
    delete thread;
}

// Chooses the slot. If the system has no more slots that can be read without a call of the system, all threads find
// their records in fiber-local storage.
void ChooseSlot() noexcept {
    DWORD const slot = TlsAlloc();
    if (slot < fsSlots)
        fsSlot = slot;
    else
        TlsFree(slot);
}

// Makes the record of the calling thread or fiber. A fiber has a record of its own and may continue on another thread,
// so the end of a thread says nothing about a fiber's locks. Therefore the record of a fiber has the id 0.
TThreadRecord *MakeRecord(DWORD index) noexcept {
    DWORD const id = IsThreadAFiber() ? 0 : GetCurrentThreadId();
    auto *thread = new (std::nothrow) TStackRecord{++fsLast, id};
    // No test gets here: the system would have to lack memory for a value that it has a place for.
    if (!thread || !FlsSetValue(index, thread)) {
        delete thread;
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if (id != 0)
        StoreInSlot(thread);
    return thread;
}

TThreadRecord *FindOrMakeRecord() noexcept {
    // No test gets here: in the suite unload, static objects do, but the counters of coverage have been written by
    // then.
    if (fsForgotten.load(std::memory_order_relaxed))
        return &fsUnloading;
    DWORD index = fsIndex.load(std::memory_order_acquire);
    if (index == FLS_OUT_OF_INDEXES) {
        std::call_once(fsOnce, [] {
            ChooseSlot();
            fsIndex = FlsAlloc(EndOfThread);
        });
        index = fsIndex;
    }
    auto *const thread = static_cast<TStackRecord *>(FlsGetValue(index));
    return thread ? thread : MakeRecord(index);
}

} // namespace

TThreadRecord *platform::FindThreadRecord() noexcept {
    DWORD const error = GetLastError(); // which the calls of the system change
    TThreadRecord *const record = FindOrMakeRecord();
    if (record)
        ::SetLastError(error);
    return record;
}

void platform::ForgetThreads() noexcept {
    if (DWORD const slot = fsSlot.exchange(fsSlots); slot < fsSlots)
        TlsFree(slot);
    DWORD const index = fsIndex.exchange(FLS_OUT_OF_INDEXES);
    auto *const self = index == FLS_OUT_OF_INDEXES ? nullptr : static_cast<TStackRecord *>(FlsGetValue(index));
    if (self)
        self->AbandonAll();
    fsForgotten = true;
    if (index != FLS_OUT_OF_INDEXES)
        FlsFree(index);
}
