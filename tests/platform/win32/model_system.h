#ifndef TUZUTIL_TESTS_MODEL_SYSTEM_WIN32
#define TUZUTIL_TESTS_MODEL_SYSTEM_WIN32

// The locks and events of the library on a model of the system. The sources of the library are included here, with
// model atomics in place of the standard ones, and with functions of the scheduler in place of the calls of the system.

#include "support/interleavings.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>
#include <windows.h>

namespace std {
using interleavings::TModelAtomic;
} // namespace std
#define atomic TModelAtomic

#include "platform/platform.h"

namespace model {

using interleavings::TLimit;
using interleavings::TScheduler;

// Waits of at least this time are so long that their time passes only if no thread can go on.
constexpr DWORD fsLongWait = 1000; // milliseconds
constexpr DWORD fsFirstId = 100;   // of the threads of a scenario

// An event that one waiter resets, or a thread of the scenario.
struct TObject {
    bool isThread;
    std::size_t thread;
    bool isSet;

    bool IsSignalled() const { return isThread ? TScheduler::HasEnded(thread) : isSet; }
};

inline TObject *Object(HANDLE handle) {
    return static_cast<TObject *>(handle);
}

inline HANDLE WINAPI MakeEvent(LPSECURITY_ATTRIBUTES, BOOL isManual, BOOL isSet, char const *) {
    if (isManual)
        std::abort(); // the events of the library wait for words here
    return new TObject{false, 0, isSet != FALSE};
}

// A thread that has ended does not exist any more.
inline HANDLE WINAPI OpenOne(DWORD, BOOL, DWORD id) {
    TScheduler::Step();
    std::size_t const thread = id - fsFirstId;
    if (!TScheduler::HasEnded(thread))
        return new TObject{true, thread, false};
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
}

inline BOOL WINAPI CloseOne(HANDLE handle) {
    delete Object(handle);
    return TRUE;
}

inline BOOL WINAPI Set(HANDLE event) {
    TScheduler::Step();
    Object(event)->isSet = true;
    return TRUE;
}

inline DWORD WINAPI WaitForSome(DWORD count, HANDLE const *handles, BOOL, DWORD milliseconds) {
    TScheduler::Step();
    auto const signalled = [=] {
        return static_cast<DWORD>(
            std::find_if(handles, handles + count, [](HANDLE handle) { return Object(handle)->IsSignalled(); }) -
            handles);
    };
    TLimit const limit = milliseconds >= fsLongWait ? TLimit::late : TLimit::soon;
    if (signalled() == count && milliseconds != 0)
        TScheduler::WaitUntil([=] { return signalled() < count; }, limit);
    DWORD const found = signalled();
    if (found == count)
        return WAIT_TIMEOUT;
    Object(handles[found])->isSet = false;
    return WAIT_OBJECT_0 + found;
}

inline DWORD WINAPI WaitForOne(HANDLE handle, DWORD milliseconds) {
    return WaitForSome(1, &handle, FALSE, milliseconds);
}

using TWord = interleavings::TModelAtomic<std::uint32_t>;

// A word is compared and the thread blocked in one step, as the system does.
inline BOOL WINAPI WaitForChange(void volatile *word, void *seen, SIZE_T size, DWORD milliseconds) {
    TScheduler::Step();
    std::uint32_t value;
    std::memcpy(&value, seen, size);
    void const *const address = const_cast<void *>(word);
    if (static_cast<TWord const *>(address)->Now() != value ||
        TScheduler::Wait(address, milliseconds == INFINITE ? TLimit::none : TLimit::soon))
        return TRUE;
    ::SetLastError(ERROR_TIMEOUT);
    return FALSE;
}

inline void WINAPI WakeAll(void *word) {
    TScheduler::Step();
    TScheduler::Wake(word, INT32_MAX);
}

inline HMODULE WINAPI FindLibrary(char const *) {
    return GetModuleHandleA(nullptr);
}

inline FARPROC WINAPI FindFunction(HMODULE, char const *name) {
    if (std::strcmp(name, "WaitOnAddress") == 0)
        return reinterpret_cast<FARPROC>(reinterpret_cast<void *>(&WaitForChange));
    return reinterpret_cast<FARPROC>(reinterpret_cast<void *>(&WakeAll));
}

} // namespace model

// Takes the place of platform/win32/deadline.h. The time of a wait has passed when the wait was chosen to time out.
#define TUZUTIL_PLATFORM_WIN32_DEADLINE
namespace platform {

class TDeadline {
public:
    explicit TDeadline(std::uint32_t milliseconds) noexcept : fRemaining(milliseconds) {}

    // Gives the time once, and then 0, because the callers ask once for each wait.
    DWORD Remaining() const noexcept { return fRemaining == waitForEver ? INFINITE : std::exchange(fRemaining, 0); }

private:
    mutable std::uint32_t fRemaining;
};

} // namespace platform

// Takes the place of platform/single_thread.h, because the C library does not know the threads of the scheduler.
#define TUZUTIL_SINGLE_THREAD
namespace platform {
inline constexpr char manyThreads = 0;
inline constexpr char const *singleThreadByte = &manyThreads;
} // namespace platform

#include "platform/fast_mutex.cpp"

// Takes the place of platform/win32/thread_record.h.
#define TUZUTIL_PLATFORM_WIN32_THREAD_RECORD
namespace platform {
inline TThreadRecord *ThisThread() noexcept {
    std::abort(); // the scenarios pass the records of their threads
}
} // namespace platform

#define CreateEventA model::MakeEvent
#define OpenThread model::OpenOne
#define CloseHandle model::CloseOne
#define SetEvent model::Set
#define WaitForMultipleObjects model::WaitForSome
#define WaitForSingleObject model::WaitForOne
#define GetModuleHandleA model::FindLibrary
#define GetProcAddress model::FindFunction
#include "platform/win32/event.cpp"
#include "platform/win32/mutex.cpp"
#undef GetProcAddress
#undef GetModuleHandleA
#undef WaitForSingleObject
#undef WaitForMultipleObjects
#undef SetEvent
#undef CloseHandle
#undef OpenThread
#undef CreateEventA
#undef atomic

namespace model {

// The records of the threads of a scenario.
struct TRecords {
    platform::TThreadRecord of[3] = {{1, fsFirstId}, {2, fsFirstId + 1}, {3, fsFirstId + 2}};
};

// Waits until the word has another value than `seen`. The word may also have been changed before.
inline void WaitForWord(TWord &word, std::uint32_t seen) {
    WaitForChange(&word, &seen, sizeof seen, INFINITE);
}

// Removes what a lock of an earlier run has left: the event on which threads have waited, and spare events.
inline void Forget(platform::TFastMutex &lock) {
    if (platform::TWaitPlace *const place = lock.Place())
        GiveBack(place);
    while (platform::TWaitPlace *const place = TakeSpare()) {
        CloseOne(place->event);
        delete place;
    }
}

} // namespace model

#endif
