#include "platform/win32/threads.h"

#include "platform/win32/fastmutex.h"

#include <atomic>
#include <mutex>
#include <new>
#include <windows.h>

namespace {

constinit std::atomic<DWORD> fsIndex{FLS_OUT_OF_INDEXES};
constinit std::once_flag fsOnce;
constinit std::atomic<std::uint32_t> fsLast{0};
constinit std::atomic<bool> fsForgotten{false};
constinit win32::Thread fsUnloading{0xFFFFFFFF};

void WINAPI EndOfThread(void *record) noexcept {
    auto *const thread = static_cast<win32::Thread *>(record);
    while (thread->held)
        thread->held->Abandon(*thread);
    delete thread;
}

} // namespace

win32::Thread *win32::ThisThread() noexcept {
    if (fsForgotten.load(std::memory_order_relaxed))
        return &fsUnloading;
    DWORD index = fsIndex.load(std::memory_order_acquire);
    if (index == FLS_OUT_OF_INDEXES) {
        std::call_once(fsOnce, [] { fsIndex = FlsAlloc(EndOfThread); });
        index = fsIndex;
    }
    auto *thread = static_cast<Thread *>(FlsGetValue(index));
    if (!thread) {
        thread = new (std::nothrow) Thread{++fsLast};
        if (thread && !FlsSetValue(index, thread)) {
            delete thread;
            thread = nullptr;
        }
    }
    return thread;
}

void win32::ForgetThreads() noexcept {
    fsForgotten = true;
    DWORD const index = fsIndex.exchange(FLS_OUT_OF_INDEXES);
    if (index != FLS_OUT_OF_INDEXES)
        FlsFree(index);
}
