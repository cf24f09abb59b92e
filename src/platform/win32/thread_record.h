#ifndef TUZUTIL_PLATFORM_WIN32_THREAD_RECORD
#define TUZUTIL_PLATFORM_WIN32_THREAD_RECORD

// Finds the record of the calling thread. A lock identifies its owner by the record of the owning thread. The record is
// made when the thread first uses a lock. The functions take no lock of this library.

#include "platform/fast_mutex.h"

namespace platform {

// Returns the record of the calling thread, and makes it on first use. Returns null, with LastError(), if there is no
// memory.
TThreadRecord *ThisThread() noexcept;

// Deletes the records of all threads. The library calls this function when it is unloaded, because the system must not
// call the library at the end of a thread after that. Afterwards all callers count as one thread, because only the
// thread that unloads the library still calls the library.
void ForgetThreads() noexcept;

} // namespace platform

#endif
