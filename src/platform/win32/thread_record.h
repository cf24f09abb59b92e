#ifndef TUZUTIL_PLATFORM_WIN32_THREAD_RECORD
#define TUZUTIL_PLATFORM_WIN32_THREAD_RECORD

// The record of each thread that has used a lock. Takes no lock of ours.

#include "platform/fast_mutex.h"

namespace platform {

// Returns the record of the calling thread, which it makes on first use; null, with LastError(), without memory.
TThreadRecord *ThisThread() noexcept;

// Deletes the records of all threads, because the library is unloaded and must not be called when a thread ends. From
// then on all callers count as one thread: only the one that unloads the library is left.
void ForgetThreads() noexcept;

} // namespace platform

#endif
