#ifndef TUZUTIL_SINGLE_THREAD
#define TUZUTIL_SINGLE_THREAD

// A byte that is not 0 only while the process is certain to have one thread. If the system's C library keeps such a
// byte, it clears it before a second thread can run; without one, every process counts as having several threads. The
// address is known when the program is linked, so that objects of any start-up order can use it.

#if defined(__has_include)
#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define TUZUTIL_HAS_SINGLE_THREAD_BYTE 1
#endif
#endif

namespace platform {

#ifdef TUZUTIL_HAS_SINGLE_THREAD_BYTE
inline constexpr char const *singleThreadByte = &__libc_single_threaded;
#else
inline constexpr char manyThreads = 0;
inline constexpr char const *singleThreadByte = &manyThreads;
#endif

} // namespace platform

#endif
