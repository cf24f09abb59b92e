#ifndef TUZUTIL_WIN32_FASTMUTEX_H
#define TUZUTIL_WIN32_FASTMUTEX_H

#include "platform/platform.h"
#include "platform/win32/threads.h"

#include <atomic>
#include <windows.h>

namespace win32 {

// A recursive lock of this process. Without contention it costs no call of the system, which a kernel mutex always
// does; like that one it has time limits, and survives the death of its owner.
struct FastMutex {
    enum State : std::uint32_t { free, held, heldAndWaitedFor };

    std::atomic<std::uint32_t> state{free};
    std::atomic<std::uint32_t> owner{0}; // number of the thread, 0 for none
    std::atomic<DWORD> ownerId{0};       // what the system calls it
    std::uint32_t depth = 0;             // from here on: of the owner
    bool abandoned = false;              // the last owner died with it
    FastMutex *previous = nullptr;       // chain of the locks that the owner holds
    FastMutex *next = nullptr;
    std::atomic<HANDLE> released{nullptr}; // an event, made when a thread has to wait for the first time

    platform::WaitResult Lock(std::uint32_t milliseconds) noexcept;
    bool Unlock() noexcept; // false if this thread does not hold it
    void Abandon(Thread &thread) noexcept;
    bool IsHeld() const noexcept { return owner != 0; }
    ~FastMutex();

private:
    void Own(Thread &thread) noexcept;
    void Release(Thread &thread) noexcept;
    platform::WaitResult Contend(Thread &thread, std::uint32_t milliseconds) noexcept;
    HANDLE ReleasedEvent() noexcept;
};

} // namespace win32

#endif
