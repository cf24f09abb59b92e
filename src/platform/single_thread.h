#ifndef TUZUTIL_SINGLE_THREAD
#define TUZUTIL_SINGLE_THREAD

// singleThreadByte: the address of a byte. While the byte is not 0, the process certainly has only one thread. Some C
// libraries keep such a byte and clear it before a second thread can run. With any other C library, the byte is always
// 0. The linker knows the address, so static objects can use it in whatever order they are constructed.

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
