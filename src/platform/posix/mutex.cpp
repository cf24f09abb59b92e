#include "platform/platform.h"

#include "platform/fast_mutex.h"
#include "platform/no_cancel.h"
#include "platform/posix/deadline.h"
#include "platform/posix/forks.h"
#include "platform/posix/objects.h"
#include "platform/posix/thisthread.h"

#include <atomic>
#include <errno.h>
#include <fcntl.h>
#include <new>
#include <pthread.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

using platform::WaitResult;

namespace {

// A named lock as all processes see it. The kernel releases it when its owner ends, so a file left behind is harmless.
struct SharedMutex {
    pthread_mutex_t mutex;
};
constexpr int fsLayout = 1;

// A lock as this process sees it. Objects of one name have one of these between them.
struct Mutex {
    TFastMutex fast;                     // where there is no name
    pthread_mutex_t *shared = nullptr;   // where there is one: in a mapped file
    std::atomic<std::uint32_t> owner{0}; // of `shared`: the thread of this process that holds it, 0 for none
    std::uint32_t depth = 0;             // how often; the owner's
    std::uint32_t references = 1;        // guarded by the list's lock, as all below
    Mutex *previous = nullptr;
    Mutex *next = nullptr;
    dev_t device = 0; // of the mapped file
    ino_t node = 0;
};

// Every lock of the process, for those that come back to a name, and for a forked child.
constinit pthread_mutex_t fsListLock = PTHREAD_MUTEX_INITIALIZER;
constinit Mutex *fsList = nullptr;

struct ListEntry {
    ListEntry() noexcept { posix::HoldMutexes(); }
    ListEntry(ListEntry const &) = delete;
    ListEntry &operator=(ListEntry const &) = delete;
    ~ListEntry() { posix::ReleaseMutexes(); }
};

void Link(Mutex *mutex) noexcept {
    mutex->next = fsList;
    if (fsList)
        fsList->previous = mutex;
    fsList = mutex;
}

void Unlink(Mutex *mutex) noexcept {
    (mutex->previous ? mutex->previous->next : fsList) = mutex->next;
    if (mutex->next)
        mutex->next->previous = mutex->previous;
}

// Puts an error number where LastError() finds it. False for 0.
bool Fails(int error) noexcept {
    errno = error;
    return error != 0;
}

// Not of the recursive kind: entering again is settled by `owner` and `depth`.
int Initialize(pthread_mutex_t *mutex) noexcept {
    pthread_mutexattr_t attributes;
    ::pthread_mutexattr_init(&attributes);
    ::pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    ::pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    int const error = ::pthread_mutex_init(mutex, &attributes);
    ::pthread_mutexattr_destroy(&attributes);
    return error;
}

void *Map(int file) noexcept {
    void *const memory = ::mmap(nullptr, sizeof(SharedMutex), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

// Makes a shared lock under a name of its own and links it to its place when it is complete. False with errno; EEXIST:
// another process was first.
bool MakeShared(int folder, char const *name) noexcept {
    static constinit std::atomic<unsigned int> count{0};
    char temporary[64];
    int file = -1;
    do {
        ::snprintf(temporary, sizeof temporary, "new-%ld-%u", static_cast<long>(::getpid()), ++count);
        file = ::openat(folder, temporary, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    } while (file < 0 && errno == EEXIST); // left behind by a process that was killed here
    if (file < 0)
        return false;
    int error = ::posix_fallocate(file, 0, sizeof(SharedMutex));
    void *const memory = error == 0 ? Map(file) : nullptr;
    if (memory) {
        error = Initialize(&static_cast<SharedMutex *>(memory)->mutex);
        ::munmap(memory, sizeof(SharedMutex));
        if (error == 0 && ::linkat(folder, temporary, folder, name, 0) != 0)
            error = errno;
    } else if (error == 0) {
        error = errno;
    }
    ::unlinkat(folder, temporary, 0);
    ::close(file);
    return !Fails(error);
}

int OpenShared(char const *name) noexcept {
    char fileName[posix::objectFileSize];
    if (!posix::ObjectFileName("mutex", fsLayout, name, fileName))
        return -1;
    int const folder = posix::OpenObjectFolder();
    if (folder < 0)
        return -1;
    int file = ::openat(folder, fileName, O_RDWR | O_NOFOLLOW | O_CLOEXEC);
    if (file < 0 && errno == ENOENT && (MakeShared(folder, fileName) || errno == EEXIST))
        file = ::openat(folder, fileName, O_RDWR | O_NOFOLLOW | O_CLOEXEC);
    int const error = errno;
    ::close(folder);
    errno = error;
    return file;
}

Mutex *FindOpened(struct stat const &status) noexcept {
    for (Mutex *mutex = fsList; mutex; mutex = mutex->next) {
        if (mutex->shared && mutex->device == status.st_dev && mutex->node == status.st_ino)
            return mutex;
    }
    return nullptr;
}

Mutex *MutexOfFile(int file) noexcept {
    struct stat status;
    if (::fstat(file, &status) != 0)
        return nullptr;
    if (static_cast<std::size_t>(status.st_size) < sizeof(SharedMutex)) {
        errno = EINVAL;
        return nullptr;
    }
    if (Mutex *const opened = FindOpened(status)) {
        ++opened->references;
        return opened;
    }
    void *const memory = Map(file);
    auto *const mutex = memory ? new (std::nothrow) Mutex : nullptr;
    if (mutex) {
        mutex->shared = &static_cast<SharedMutex *>(memory)->mutex;
        mutex->device = status.st_dev;
        mutex->node = status.st_ino;
        Link(mutex);
    } else if (memory) {
        ::munmap(memory, sizeof(SharedMutex));
        errno = ENOMEM;
    }
    return mutex;
}

Mutex *NamedMutex(char const *name) noexcept {
    int const file = OpenShared(name);
    if (file < 0)
        return nullptr;
    Mutex *const mutex = MutexOfFile(file);
    int const error = errno;
    ::close(file);
    errno = error;
    return mutex;
}

Mutex *UnnamedMutex() noexcept {
    auto *const mutex = new (std::nothrow) Mutex;
    if (mutex)
        Link(mutex);
    else
        errno = ENOMEM;
    return mutex;
}

Mutex *MutexAt(void *mutex) noexcept {
    if (!mutex)
        errno = EBADF;
    return static_cast<Mutex *>(mutex);
}

// Takes the lock from the system. The result is an error number.
int Acquire(pthread_mutex_t *mutex, std::uint32_t milliseconds) noexcept {
    if (milliseconds == 0)
        return ::pthread_mutex_trylock(mutex);
    if (milliseconds == platform::waitForEver)
        return ::pthread_mutex_lock(mutex);
#if defined(__SANITIZE_THREAD__) // which does not know the call below
    timespec const deadline = DeadlineIn(milliseconds, CLOCK_REALTIME);
    return ::pthread_mutex_timedlock(mutex, &deadline);
#else
    timespec const deadline = DeadlineIn(milliseconds, CLOCK_MONOTONIC);
    return ::pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, &deadline);
#endif
}

// Apart, to keep the way of locks without a name short.
[[gnu::noinline]] WaitResult LockShared(Mutex &mutex, std::uint32_t milliseconds) noexcept {
    TThreadRecord const *const self = posix::ThisThread();
    if (!self)
        return WaitResult::failed;
    if (mutex.owner.load(std::memory_order_relaxed) == self->Number()) {
        ++mutex.depth;
        return WaitResult::done;
    }
    int const error = Acquire(mutex.shared, milliseconds);
    if (error == EBUSY || error == ETIMEDOUT)
        return WaitResult::timedOut;
    if (error == EOWNERDEAD)
        ::pthread_mutex_consistent(mutex.shared);
    else if (Fails(error))
        return WaitResult::failed;
    mutex.owner.store(self->Number(), std::memory_order_relaxed);
    mutex.depth = 1;
    return error == EOWNERDEAD ? WaitResult::abandoned : WaitResult::done;
}

[[gnu::noinline]] bool UnlockShared(Mutex &mutex) noexcept {
    TThreadRecord const *const self = posix::ThisThread();
    if (!self || mutex.owner.load(std::memory_order_relaxed) != self->Number())
        return false;
    if (--mutex.depth == 0) {
        mutex.owner.store(0, std::memory_order_relaxed);
        ::pthread_mutex_unlock(mutex.shared);
    }
    return true;
}

} // namespace

void posix::HoldMutexes() noexcept {
    ::pthread_mutex_lock(&fsListLock);
}

void posix::ReleaseMutexes() noexcept {
    ::pthread_mutex_unlock(&fsListLock);
}

// A forked child has only the thread that forked. Locks of other threads become free, those of its own stay held. A
// named lock stays the parent's.
void posix::SettleMutexesInChild() noexcept {
    TThreadRecord const *const self = platform::ThisThread();
    for (Mutex *mutex = fsList; mutex; mutex = mutex->next) {
        mutex->owner = 0;
        mutex->depth = 0;
        if (self)
            mutex->fast.ForgetOtherThreads(*self);
    }
    ReleaseMutexes();
}

void *platform::NewMutex(char const *name) noexcept {
    TNoCancel const noCancel;
    ListEntry const entry;
    return name && *name ? NamedMutex(name) : UnnamedMutex();
}

bool platform::DeleteMutex(void *handle) noexcept {
    Mutex *const mutex = MutexAt(handle);
    if (!mutex)
        return false;
    ListEntry const entry;
    if (--mutex->references)
        return true;
    while (UnlockMutex(mutex)) {
    }
    // While another thread holds it, it stands in a list of that thread: its memory must stay.
    if (mutex->owner != 0 || mutex->fast.IsHeld())
        return true;
    Unlink(mutex);
    if (mutex->shared)
        ::munmap(mutex->shared, sizeof(SharedMutex));
    delete mutex;
    return true;
}

WaitResult platform::LockMutex(void *handle, std::uint32_t milliseconds) noexcept {
    Mutex *const mutex = MutexAt(handle);
    if (!mutex)
        return WaitResult::failed;
    if (mutex->shared)
        return LockShared(*mutex, milliseconds);
    TThreadRecord *const self = posix::ThisThread();
    return self ? mutex->fast.Lock(*self, milliseconds) : WaitResult::failed;
}

bool platform::UnlockMutex(void *handle) noexcept {
    Mutex *const mutex = MutexAt(handle);
    if (!mutex)
        return false;
    TThreadRecord *const self = posix::ThisThread();
    bool const released = mutex->shared ? UnlockShared(*mutex) : self && mutex->fast.Unlock(*self);
    if (!released)
        errno = EPERM;
    return released;
}

bool platform::HoldsMutex(void *handle) noexcept {
    auto const *const mutex = static_cast<Mutex const *>(handle);
    TThreadRecord const *const self = posix::ThisThread();
    if (!mutex || !self)
        return false;
    return mutex->shared ? mutex->owner == self->Number() : mutex->fast.IsHeldBy(*self);
}

void *platform::SystemMutex(void *mutex) noexcept {
    return mutex;
}
