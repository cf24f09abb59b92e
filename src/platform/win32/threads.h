#ifndef TUZUTIL_WIN32_THREADS_H
#define TUZUTIL_WIN32_THREADS_H

namespace win32 {

// Frees the records of all threads: the library is unloaded, and must not be called when a thread ends. Afterwards all
// callers are taken for one thread: only the one that unloads is left.
void ForgetThreads() noexcept;

} // namespace win32

#endif
