#ifndef TUZUTIL_PLATFORM_POSIX_FORKS
#define TUZUTIL_PLATFORM_POSIX_FORKS

// The locks that this folder takes before a fork and releases after it, in both processes, so that the child never
// inherits one of them locked by a thread that it does not have. mutex.cpp, process.cpp and shared_memory.cpp define
// the functions.

namespace platform {

void HoldMutexes() noexcept;
void ReleaseMutexes() noexcept;
void SettleMutexesInChild() noexcept; // also releases them

void ForgetThreadIdInChild() noexcept;

void HoldSharedMemory() noexcept;
void ReleaseSharedMemory() noexcept;

} // namespace platform

#endif
