// The linker finds the definitions of the program before those of the C library. The definitions below call those of
// the C library by dlsym(RTLD_NEXT).

#include "support/FailingCalls.h"

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

constinit std::atomic<long> fsSharedLocks{0};

constinit thread_local bool fsIsExempt = false;

// Returns whether the call must fail. If so, sets errno.
bool Fails(char const *name, int error) noexcept {
    if (!calls::MustFail(name, calls::Kind::error))
        return false;
    calls::NoteError(error);
    errno = error;
    return true;
}

bool IsInterrupted(char const *name) noexcept {
    if (!calls::MustFail(name, calls::Kind::interrupted))
        return false;
    calls::NoteError(EINTR);
    errno = EINTR;
    return true;
}

// The sanitizers find the functions of the C library by dlsym(RTLD_NEXT), so a replacement of dlsym() would show them
// their own functions. Therefore dlsym() is not replaced if they are used.
#if defined(TUZUTIL_TEST_SANITIZED)
void *Next(char const *name) noexcept {
    return ::dlsym(RTLD_NEXT, name);
}
#else
using TFind = void *(void *, char const *);

TFind *RealFind() noexcept {
    static TFind *const real = [] {
        void *const found = ::dlvsym(RTLD_NEXT, "dlsym", "GLIBC_2.34");
        TFind *find;
        memcpy(&find, &found, sizeof find);
        return find;
    }();
    return real;
}

void *Next(char const *name) noexcept {
    return RealFind()(RTLD_NEXT, name);
}
#endif

template <typename Function>
Function *Real(char const *name) noexcept {
    void *const found = Next(name);
    Function *function;
    static_assert(sizeof function == sizeof found);
    memcpy(&function, &found, sizeof function);
    return function;
}

} // namespace

bool calls::IsExempt() noexcept {
    return fsIsExempt;
}

void calls::SetExempt(bool isExempt) noexcept {
    fsIsExempt = isExempt;
}

long calls::AwaitedSharedLocks() noexcept {
    return fsSharedLocks;
}

namespace {

// Returns whether the code at an address is that of a sanitizer, which ends the process if one of its own calls fails.
bool IsSanitizer([[maybe_unused]] void const *code) noexcept {
#if defined(TUZUTIL_TEST_SANITIZED)
    static auto *const real = Real<int(void const *, Dl_info *)>("dladdr");
    Dl_info found;
    return real(code, &found) != 0 && strstr(found.dli_fname, "san.so") != nullptr;
#else
    return false;
#endif
}

// Looking a function up discards the text of the loader's last error. The library reads this text after a call of
// access(), so that function is looked up before.
[[maybe_unused]] bool const fsHasAccess = ::access("/", F_OK) == 0;

} // namespace

// Defines a function that can fail: it then returns `failure` and sets errno to `error`.
#define TUZUTIL_FAILING(result, name, parameters, arguments, error, failure)                                           \
    result name parameters {                                                                                           \
        static auto *const real = Real<result parameters>(#name);                                                      \
        return Fails(#name, error) ? failure : real arguments;                                                         \
    }
// Does the same for a function that a signal can also interrupt.
#define TUZUTIL_INTERRUPTIBLE(result, name, parameters, arguments, error, failure)                                     \
    result name parameters {                                                                                           \
        static auto *const real = Real<result parameters>(#name);                                                      \
        return Fails(#name, error) || IsInterrupted(#name) ? failure : real arguments;                                 \
    }
// Does the same for a function that returns an error number.
#define TUZUTIL_FAILING_NUMBER(name, parameters, arguments, error)                                                     \
    int name parameters {                                                                                              \
        static auto *const real = Real<int parameters>(#name);                                                         \
        return Fails(#name, error) ? error : real arguments;                                                           \
    }

extern "C" {

#pragma GCC visibility push(default)
#pragma GCC diagnostic push
#if !defined(__clang__) // which has no such warning
#pragma GCC diagnostic ignored "-Wnonnull-compare"
#endif

int open(char const *path, int flags, ...) {
    std::va_list rest;
    va_start(rest, flags);
    mode_t const mode = flags & O_CREAT ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    static auto *const real = Real<int(char const *, int, ...)>("open");
    return Fails("open", EMFILE) || IsInterrupted("open") ? -1 : real(path, flags, mode);
}

int openat(int folder, char const *path, int flags, ...) {
    std::va_list rest;
    va_start(rest, flags);
    mode_t const mode = flags & O_CREAT ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    static auto *const real = Real<int(int, char const *, int, ...)>("openat");
    return Fails("openat", EMFILE) || IsInterrupted("openat") ? -1 : real(folder, path, flags, mode);
}

int fcntl(int file, int command, ...) {
    std::va_list rest;
    va_start(rest, command);
    void *const argument = va_arg(rest, void *);
    va_end(rest);
    static auto *const real = Real<int(int, int, ...)>("fcntl");
    return Fails("fcntl", ENOLCK) ? -1 : real(file, command, argument);
}

ssize_t write(int file, void const *bytes, size_t count) {
    static auto *const real = Real<ssize_t(int, void const *, size_t)>("write");
    if (Fails("write", ENOSPC) || IsInterrupted("write"))
        return -1;
    return real(file, bytes, count > 1 && calls::MustFail("write", calls::Kind::partial) ? count / 2 : count);
}

// The library writes records by syscall(), because write() is a cancellation point.
long syscall(long number, ...) {
    std::va_list rest;
    va_start(rest, number);
    long arguments[6];
    for (long &argument : arguments)
        argument = va_arg(rest, long);
    va_end(rest);
    static auto *const real = Real<long(long, ...)>("syscall");
    if (number == SYS_futex && (arguments[1] & FUTEX_CMD_MASK) == FUTEX_WAIT_BITSET) {
        bool const fails = calls::CountsWaits() && (Fails("futex", EINVAL) || IsInterrupted("futex"));
        calls::NoteWait();
        if (fails)
            return -1;
    }
    if (number == SYS_futex && (arguments[1] & FUTEX_CMD_MASK) == FUTEX_WAKE) {
        // The kernel always wakes the threads that wait for a word. It reports an error if the word is there no longer.
        long const woken = real(number, arguments[0], arguments[1], arguments[2], 0L, 0L, 0L);
        return calls::CountsWaits() && Fails("futex wake", EFAULT) ? -1 : woken;
    }
    if (number == SYS_write) {
        if (Fails("write by syscall", ENOSPC) || IsInterrupted("write by syscall"))
            return -1;
        if (arguments[2] > 1 && calls::MustFail("write by syscall", calls::Kind::partial))
            arguments[2] /= 2;
    }
    return real(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]);
}

ssize_t read(int file, void *bytes, size_t count) {
    static auto *const real = Real<ssize_t(int, void *, size_t)>("read");
    if (Fails("read", EIO) || IsInterrupted("read"))
        return -1;
    return real(file, bytes, count > 1 && calls::MustFail("read", calls::Kind::partial) ? count / 2 : count);
}

ssize_t pread(int file, void *bytes, size_t count, off_t at) {
    static auto *const real = Real<ssize_t(int, void *, size_t, off_t)>("pread");
    return Fails("pread", EIO) || IsInterrupted("pread") ? -1 : real(file, bytes, count, at);
}

ssize_t writev(int file, iovec const *parts, int count) {
    static auto *const real = Real<ssize_t(int, iovec const *, int)>("writev");
    if (Fails("writev", ENOSPC) || IsInterrupted("writev"))
        return -1;
    return count > 1 && calls::MustFail("writev", calls::Kind::partial) ? real(file, parts, 1)
                                                                        : real(file, parts, count);
}

void *mmap(void *at, size_t size, int protection, int flags, int file, off_t offset) {
    static auto *const real = Real<void *(void *, size_t, int, int, int, off_t)>("mmap");
    return file >= 0 && Fails("mmap", ENOMEM) ? MAP_FAILED : real(at, size, protection, flags, file, offset);
}

int flock(int file, int operation) {
    static auto *const real = Real<int(int, int)>("flock");
    if (Fails("flock", ENOLCK) || IsInterrupted("flock"))
        return -1;
    fsSharedLocks += operation == LOCK_SH;
    return real(file, operation);
}

// The kernel closes a descriptor even if it reports an error, for example because a signal has interrupted the call.
int close(int file) {
    static auto *const real = Real<int(int)>("close");
    int const result = real(file);
    return Fails("close", EIO) || IsInterrupted("close") ? -1 : result;
}

int closedir(DIR *folder) {
    static auto *const real = Real<int(DIR *)>("closedir");
    int const result = real(folder);
    return Fails("closedir", EIO) || IsInterrupted("closedir") ? -1 : result;
}

int fclose(FILE *file) {
    static auto *const real = Real<int(FILE *)>("fclose");
    int const result = real(file);
    return Fails("fclose", EIO) || IsInterrupted("fclose") ? EOF : result;
}

// The kernel refuses to remove a mapping only if it had to split it and has no memory for that. The mapping then stays.
// The program can do nothing about that, so the replacement removes it, because it would otherwise look like a leak.
int munmap(void *at, size_t size) {
    static auto *const real = Real<int(void *, size_t)>("munmap");
    int const result = real(at, size);
    return Fails("munmap", ENOMEM) ? -1 : result;
}

// Only robust mutexes can fail: the others are those of the C++ runtime, and locks of the library that never fail.
static bool IsRobust(pthread_mutex_t const *mutex) noexcept {
    int const robust = 16; // in __kind of the C library
    return (mutex->__data.__kind & robust) != 0;
}

int pthread_mutex_lock(pthread_mutex_t *mutex) noexcept {
    static auto *const real = Real<int(pthread_mutex_t *)>("pthread_mutex_lock");
    if (!IsRobust(mutex))
        return real(mutex);
    if (Fails("pthread_mutex_lock", ENOTRECOVERABLE))
        return ENOTRECOVERABLE;
    calls::NoteWait();
    return real(mutex);
}

int pthread_mutex_trylock(pthread_mutex_t *mutex) noexcept {
    static auto *const real = Real<int(pthread_mutex_t *)>("pthread_mutex_trylock");
    return IsRobust(mutex) && Fails("pthread_mutex_trylock", ENOTRECOVERABLE) ? ENOTRECOVERABLE : real(mutex);
}

// With the thread sanitizer, the library calls pthread_mutex_timedlock() instead.
int pthread_mutex_clocklock(pthread_mutex_t *mutex, clockid_t clock, timespec const *end) noexcept {
    static auto *const real = Real<int(pthread_mutex_t *, clockid_t, timespec const *)>("pthread_mutex_clocklock");
    if (Fails("pthread_mutex_clocklock", ENOTRECOVERABLE))
        return ENOTRECOVERABLE;
    calls::NoteWait();
    return real(mutex, clock, end);
}

int pthread_mutex_timedlock(pthread_mutex_t *mutex, timespec const *end) noexcept {
    static auto *const real = Real<int(pthread_mutex_t *, timespec const *)>("pthread_mutex_timedlock");
    if (Fails("pthread_mutex_timedlock", ENOTRECOVERABLE))
        return ENOTRECOVERABLE;
    calls::NoteWait();
    return real(mutex, end);
}

#if !defined(TUZUTIL_TEST_SANITIZED)
void *dlsym(void *library, char const *name) noexcept {
    bool const isOfLibrary = library != RTLD_NEXT && library != RTLD_DEFAULT;
    return isOfLibrary && Fails("dlsym", ENOMEM) ? nullptr : RealFind()(library, name);
}
#endif

TUZUTIL_FAILING(int, unlinkat, (int folder, char const *path, int flags), (folder, path, flags), EIO, -1)
TUZUTIL_FAILING(int, dlinfo, (void *library, int request, void *result), (library, request, result), EINVAL, -1)
TUZUTIL_FAILING_NUMBER(pthread_mutexattr_setrobust, (pthread_mutexattr_t * attributes, int robust),
                       (attributes, robust), ENOTSUP)
TUZUTIL_FAILING_NUMBER(pthread_mutexattr_setpshared, (pthread_mutexattr_t * attributes, int shared),
                       (attributes, shared), ENOTSUP)
TUZUTIL_FAILING(int, fstat, (int file, struct stat *status), (file, status), EIO, -1)
TUZUTIL_FAILING(int, stat, (char const *path, struct stat *status), (path, status), EACCES, -1)
TUZUTIL_FAILING(int, fstatat, (int folder, char const *path, struct stat *status, int flags),
                (folder, path, status, flags), EACCES, -1)
TUZUTIL_FAILING(off_t, lseek, (int file, off_t offset, int from), (file, offset, from), EIO, -1)
TUZUTIL_INTERRUPTIBLE(int, ftruncate, (int file, off_t size), (file, size), EIO, -1)
TUZUTIL_FAILING(int, mkdir, (char const *path, mode_t mode), (path, mode), ENOSPC, -1)
TUZUTIL_FAILING(int, mkdirat, (int folder, char const *path, mode_t mode), (folder, path, mode), ENOSPC, -1)
TUZUTIL_FAILING(int, linkat, (int from, char const *name, int to, char const *link, int flags),
                (from, name, to, link, flags), EIO, -1)
TUZUTIL_FAILING(int, renameat, (int from, char const *name, int to, char const *newName), (from, name, to, newName),
                EIO, -1)
TUZUTIL_FAILING(DIR *, opendir, (char const *path), (path), EMFILE, nullptr)
TUZUTIL_FAILING(DIR *, fdopendir, (int file), (file), ENOMEM, nullptr)
TUZUTIL_FAILING(dirent *, readdir, (DIR * folder), (folder), EIO, nullptr)
TUZUTIL_FAILING(FILE *, tmpfile, (), (), EMFILE, nullptr)
TUZUTIL_FAILING(char *, realpath, (char const *path, char *result), (path, result), EACCES, nullptr)
TUZUTIL_FAILING(ssize_t, readlink, (char const *path, char *result, size_t size), (path, result, size), EACCES, -1)
TUZUTIL_FAILING(int, access, (char const *path, int mode), (path, mode), EACCES, -1)
TUZUTIL_FAILING(void *, dlopen, (char const *name, int flags), (name, flags), ENOMEM, nullptr)
TUZUTIL_FAILING_NUMBER(posix_fallocate, (int file, off_t offset, off_t size), (file, offset, size), ENOSPC)
TUZUTIL_FAILING_NUMBER(pthread_create,
                       (pthread_t * thread, pthread_attr_t const *attributes, void *(*body)(void *), void *argument),
                       (thread, attributes, body, argument), EAGAIN)
TUZUTIL_FAILING_NUMBER(pthread_mutex_init, (pthread_mutex_t * mutex, pthread_mutexattr_t const *attributes),
                       (mutex, attributes), ENOMEM)
int pthread_setspecific(pthread_key_t key, void const *value) noexcept {
    static auto *const real = Real<int(pthread_key_t, void const *)>("pthread_setspecific");
    bool const fails = !IsSanitizer(__builtin_return_address(0)) && Fails("pthread_setspecific", ENOMEM);
    return fails ? ENOMEM : real(key, value);
}

int pthread_getattr_np(pthread_t thread, pthread_attr_t *attributes) noexcept {
    static auto *const real = Real<int(pthread_t, pthread_attr_t *)>("pthread_getattr_np");
    bool const fails = !IsSanitizer(__builtin_return_address(0)) && Fails("pthread_getattr_np", ENOMEM);
    return fails ? ENOMEM : real(thread, attributes);
}

#pragma GCC diagnostic pop
#pragma GCC visibility pop

} // extern "C"
