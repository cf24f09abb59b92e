#ifndef TUZUTIL_WIN32_THREADS_H
#define TUZUTIL_WIN32_THREADS_H

#include <cstdint>

namespace win32 {

struct FastMutex;

// What the library knows of a thread that has used a lock. When the thread ends, the locks that it holds become free.
struct Thread {
    std::uint32_t number;      // no other thread has or will have it; the system's numbers are used again
    FastMutex *held = nullptr; // the first of a chain
};

// The record of this thread, made on first use; null where there is no memory.
Thread *ThisThread() noexcept;

// Frees all records: the library is unloaded, and must not be called when a thread ends. Afterwards all callers are
// taken for one thread: only the one that unloads is left.
void ForgetThreads() noexcept;

} // namespace win32

#endif
