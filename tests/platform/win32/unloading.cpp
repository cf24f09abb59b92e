// A library of the suite unload, with locks of its own.

#include "platform/platform.h"

namespace {

constexpr int fsCount = 4;

platform::Mutex *fsLocks[fsCount];

// Takes the locks when the library is unloaded, and tells with what results.
struct TLast {
    TLast() {
        for (platform::Mutex *&lock : fsLocks)
            lock = platform::NewMutex(nullptr);
    }
    ~TLast() {
        for (int i = 0; results && i < fsCount; ++i)
            results[i] = static_cast<std::uint32_t>(platform::LockMutex(fsLocks[i], 0));
    }

    std::uint32_t *results = nullptr;
} fsLast;

} // namespace

// Takes the lock with this number, from 0 to 3, and returns the result.
extern "C" __declspec(dllexport) std::uint32_t TakeLock(int number) {
    return static_cast<std::uint32_t>(platform::LockMutex(fsLocks[number], 0));
}

// Makes the library write four results when it is unloaded.
extern "C" __declspec(dllexport) void TellAtEnd(std::uint32_t *results) {
    fsLast.results = results;
}
