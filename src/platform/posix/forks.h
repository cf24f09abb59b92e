#ifndef TUZUTIL_PLATFORM_POSIX_FORKS
#define TUZUTIL_PLATFORM_POSIX_FORKS

// The platform takes its locks before a fork, and releases them after the fork in both processes. Otherwise the child
// could inherit a lock that is held by a thread that does not exist in the child. mutex.cpp, process.cpp and
// shared_memory.cpp define the functions.

namespace platform {

void HoldMutexes() noexcept;
void ReleaseMutexes() noexcept;
void SettleMutexesInChild() noexcept; // resets the locks of other threads, then calls ReleaseMutexes()

void KeepProcessId() noexcept; // from now on, every child calls ForgetIdsInChild()
void ForgetIdsInChild() noexcept;

void HoldSharedMemory() noexcept;
void ReleaseSharedMemory() noexcept;

} // namespace platform

#endif
