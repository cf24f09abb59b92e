#ifndef TUZUTIL_POSIX_FORKS_H
#define TUZUTIL_POSIX_FORKS_H

// What this platform holds by itself while the process forks.

namespace posix {

void HoldMutexes() noexcept;
void ReleaseMutexes() noexcept;
void SettleMutexesInChild() noexcept; // and releases them

void ForgetThreadIdInChild() noexcept;

void HoldSharedMemory() noexcept;
void ReleaseSharedMemory() noexcept;

} // namespace posix

#endif
