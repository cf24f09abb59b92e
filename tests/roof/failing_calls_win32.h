#ifndef TUZUTIL_TESTS_ROOF_FAILING_CALLS_WIN32_H
#define TUZUTIL_TESTS_ROOF_FAILING_CALLS_WIN32_H

// What the tests of failing calls ask this system: what the process holds, and which calls have failed. failing_calls.h
// includes this file.

#include "support/FailingCalls.h"
#include "support/TempFolder.h"

#include "tuzutil/MUTEXSEM.h"

#include <cstddef>
#include <deque>
#include <initializer_list>
#include <string>
#include <thread>

#include <windows.h>
#include <winternl.h>

inline long ProcessNumber() {
    return static_cast<long>(GetCurrentProcessId());
}

// While an object of this class exists, the library keeps what it makes in a folder of the test: temporary files.
class TOwnObjects {
public:
    explicit TOwnObjects(TTempFolder const &folder) {
        char former[MAX_PATH + 1] = "";
        GetEnvironmentVariableA("TMP", former, sizeof former);
        fFormer = former;
        folder.AddFolder("temporary");
        SetEnvironmentVariableA("TMP", folder.Native("temporary").string().c_str());
    }
    TOwnObjects(TOwnObjects const &) = delete;
    TOwnObjects &operator=(TOwnObjects const &) = delete;
    ~TOwnObjects() { SetEnvironmentVariableA("TMP", fFormer.empty() ? nullptr : fFormer.c_str()); }

private:
    std::string fFormer;
};

// The library makes an event when threads first contend for a lock, and keeps it for other locks. Threads may contend
// at any time, so this function makes enough events before the tests count what is held.
inline void Prepare() {
    std::deque<TMutexSemaphore> locks(20);
    for (TMutexSemaphore &lock : locks) {
        TMutexSemaphoreEntry const held(lock, 0);
        std::thread([&] { TMutexSemaphoreEntry const inVain(lock, 1); }).join();
    }
}

// The library asks the system to remove files only when it opens them.
inline void RemoveUnfinished(TTempFolder const &) {}

// These functions count threads of the process, and handles and mappings of the library.

inline std::size_t CountThreads() {
    using TNext = NTSTATUS(NTAPI *)(HANDLE, HANDLE, ACCESS_MASK, ULONG, ULONG, HANDLE *);
    static auto *const next = reinterpret_cast<TNext>(
        reinterpret_cast<void *>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtGetNextThread")));
    std::size_t count = 0;
    HANDLE thread = nullptr;
    for (;;) {
        HANDLE following = nullptr;
        NTSTATUS const status = next(GetCurrentProcess(), thread, SYNCHRONIZE, 0, 0, &following);
        if (thread)
            CloseHandle(thread);
        if (status != 0)
            return count;
        thread = following;
        count += WaitForSingleObject(thread, 0) == WAIT_TIMEOUT; // the thread has not ended
    }
}

inline std::size_t CountHandles() {
    return static_cast<std::size_t>(calls::HeldHandles());
}

inline std::size_t CountMappings() {
    return static_cast<std::size_t>(calls::HeldMappings());
}

// Returns how many threads have waited for a block of shared memory that another thread fills. They wait for the mutex
// of the thread that fills it.
inline long AwaitedBlocks() {
    return calls::AwaitedWords();
}

// The functions that the library calls for one purpose, for CountFailed().
namespace names {

using TNames = std::initializer_list<char const *>;

inline constexpr TNames recordWrites = {"WriteFile"};
inline constexpr TNames writes = {"WriteFile"};
inline constexpr TNames reads = {"ReadFile"};
inline constexpr TNames temporaryFiles = {"CreateFileW", "GetTempPathW", "rand_s"};
inline constexpr TNames directories = {"_mkdir"};
inline constexpr TNames lists = {"_findfirst64", "_findnext64"};
inline constexpr TNames removals = {};
inline constexpr TNames threadStarts = {"_beginthreadex", "GetModuleHandleExA"};

} // namespace names

#endif
