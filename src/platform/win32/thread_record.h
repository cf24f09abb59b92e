#ifndef TUZUTIL_PLATFORM_WIN32_THREAD_RECORD
#define TUZUTIL_PLATFORM_WIN32_THREAD_RECORD

// Finds the record of the calling thread. A lock identifies its owner by the record of the owning thread. The record is
// made when the thread first uses a lock. The functions take no lock of this library.
//
// Fiber-local storage keeps the records, but reading it takes longer than the rest of a lock request. Therefore a
// thread that is no fiber keeps its record also in a slot of thread-local storage, which it reads without a call of the
// system. If the thread becomes a fiber, and continues another fiber, the record in the slot is not that of the other
// fiber. Therefore a record in the slot counts only on the stack on which it was made.

#include "platform/fast_mutex.h"

#include <windows.h>
#include <winternl.h>

namespace platform {

// Returns what NtCurrentTeb() returns. The compiler warns where that function is inlined, because it mistakes the
// segment of the thread for an array at the address 0. A fiber may continue on another thread, so the compiler must not
// use an earlier result.
inline TEB *ThreadBlock() noexcept {
    TEB *block;
#ifdef __x86_64__
    asm volatile("movq %%gs:0x30, %0" : "=r"(block));
#else
    asm volatile("movl %%fs:0x18, %0" : "=r"(block));
#endif
    return block;
}

// A record and the stack on which the thread ran when the record was made. Each fiber has a stack of its own. The stack
// is null if another thread has deleted the fiber that the thread had become.
struct TStackRecord : TThreadRecord {
    TStackRecord(std::uint32_t aNumber, std::uint32_t aSystemId) noexcept
        : TThreadRecord(aNumber, aSystemId), stack(Stack()) {}

    static void const *Stack() noexcept { return reinterpret_cast<NT_TIB const *>(ThreadBlock())->StackBase; }

    std::atomic<void const *> stack;
};

// The number of the slot, or fsSlots as long as there is no slot.
constexpr DWORD fsSlots = sizeof(TEB::TlsSlots) / sizeof(void *);
extern constinit std::atomic<DWORD> fsSlot;

// Finds the record in fiber-local storage, and makes it if there is none. Returns null, with LastError(), if there is
// no memory.
TThreadRecord *FindThreadRecord() noexcept;

// Returns the record of the calling thread, and makes it on first use. Returns null, with LastError(), if there is no
// memory.
inline TThreadRecord *ThisThread() noexcept {
    DWORD const slot = fsSlot.load(std::memory_order_relaxed);
    if (slot < fsSlots) {
        auto *const record = static_cast<TStackRecord *>(ThreadBlock()->TlsSlots[slot]);
        if (record && record->stack.load(std::memory_order_relaxed) == TStackRecord::Stack())
            return record;
    }
    return FindThreadRecord();
}

// Deletes the records of all threads. The library calls this function when it is unloaded, because the system must not
// call the library at the end of a thread after that. Afterwards all callers count as one thread, because only the
// thread that unloads the library still calls the library.
void ForgetThreads() noexcept;

} // namespace platform

#endif
