// Locks. A lock without a name is a TFastMutex. Threads that wait for such a lock sleep in a futex call on the lock's
// state. A lock with a name is a robust pthread mutex in a mapped file, which all processes of the user find in the
// folder of named objects. NewMutex(), DeleteMutex() and a fork take fsListLock. Locking and unlocking take only the
// lock itself.

#include "platform/platform.h"

#include "platform/no_cancel.h"
#include "platform/posix/deadline.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/forks.h"
#include "platform/posix/futex.h"
#include "platform/posix/object_folder.h"
#include "platform/posix/thread_record.h"

#include <atomic>
#include <errno.h>
#include <fcntl.h>
#include <new>
#include <pthread.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

using platform::Mutex;
using platform::TDeadline;
using platform::TDescriptor;
using platform::TFastMutex;
using platform::TThreadRecord;
using platform::TWaitResult;

namespace {

// The content of the file of a named lock, which all processes share. The kernel releases the lock when its owner ends,
// so a file that remains does no harm.
struct TSharedMutex {
    pthread_mutex_t mutex;
};
constexpr int fsLayout = 1;

} // namespace

// A lock, as this process sees it. All users of one name in this process share one Mutex. Invariant: `shared` is null
// exactly if the lock has no name. `fast` is used only for a lock without a name.
struct platform::Mutex {
    TFastMutex fast;
    pthread_mutex_t *shared = nullptr;   // in a mapped file
    std::atomic<std::uint32_t> owner{0}; // number of the thread of this process that holds `shared`; or 0
    std::uint32_t depth = 0;             // how often the owner has taken `shared`
    bool wasAbandoned = false;           // the owner took `shared` over from an owner that ended
    std::uint32_t references = 1;        // fsListLock guards this member and those below
    Mutex *previous = nullptr;
    Mutex *next = nullptr;
    dev_t device = 0; // of the mapped file
    ino_t node = 0;
};

namespace {

// The list of all locks of the process. NewMutex() looks here for a lock with the same file. A forked child finds here
// the locks that other threads held, and resets them.
constinit pthread_mutex_t fsListLock = PTHREAD_MUTEX_INITIALIZER;
constinit Mutex *fsList = nullptr;

struct TListEntry {
    TListEntry() noexcept { platform::HoldMutexes(); }
    TListEntry(TListEntry const &) = delete;
    TListEntry &operator=(TListEntry const &) = delete;
    ~TListEntry() { platform::ReleaseMutexes(); }
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

// Stores an error number in errno. Returns whether the number is not 0.
bool Fails(int error) noexcept {
    errno = error;
    return error != 0;
}

// Makes a pthread mutex that is not recursive, because Mutex::owner and Mutex::depth record how often a thread holds
// it. Returns 0, or an error number.
int Initialize(pthread_mutex_t *mutex) noexcept {
    pthread_mutexattr_t attributes;
    ::pthread_mutexattr_init(&attributes);
    int error = ::pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    if (error == 0)
        error = ::pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    if (error == 0)
        error = ::pthread_mutex_init(mutex, &attributes);
    ::pthread_mutexattr_destroy(&attributes);
    return error;
}

void *Map(int file) noexcept {
    void *const memory = ::mmap(nullptr, sizeof(TSharedMutex), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

// Makes the file of a shared lock under a temporary name, and links it to its final name when the lock is complete.
// Returns false with errno on failure: EEXIST if another process was first.
bool MakeShared(int folder, char const *name) noexcept {
    static constinit std::atomic<unsigned int> count{0};
    char temporary[64];
    int opened = -1;
    do {
        ::snprintf(temporary, sizeof temporary, "new-%ld-%u", static_cast<long>(::getpid()), ++count);
        opened = platform::OpenAt(folder, temporary, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    } while (opened < 0 && errno == EEXIST); // a killed process with the same id has left its file
    TDescriptor const file(opened);
    if (!file)
        return false;
    int error = ::posix_fallocate(file.Get(), 0, sizeof(TSharedMutex));
    void *const memory = error == 0 ? Map(file.Get()) : nullptr;
    if (memory) {
        error = Initialize(&static_cast<TSharedMutex *>(memory)->mutex);
        ::munmap(memory, sizeof(TSharedMutex));
        if (error == 0 && ::linkat(folder, temporary, folder, name, 0) != 0)
            error = errno;
    } else if (error == 0) {
        error = errno;
    }
    ::unlinkat(folder, temporary, 0);
    return !Fails(error);
}

// Opens the file of a named lock, and makes it if it does not exist. Returns a descriptor, or -1 with errno.
int OpenShared(char const *name) noexcept {
    char fileName[platform::objectFileSize];
    if (!platform::ObjectFileName("mutex", fsLayout, name, fileName))
        return -1;
    TDescriptor const folder(platform::OpenObjectFolder());
    if (!folder)
        return -1;
    int file = platform::OpenAt(folder.Get(), fileName, O_RDWR | O_NOFOLLOW | O_CLOEXEC);
    // No test gets here: another process would have to make the file between the two calls.
    if (file < 0 && errno == ENOENT && (MakeShared(folder.Get(), fileName) || errno == EEXIST))
        file = platform::OpenAt(folder.Get(), fileName, O_RDWR | O_NOFOLLOW | O_CLOEXEC);
    return file;
}

Mutex *FindOpened(struct stat const &status) noexcept {
    for (Mutex *mutex = fsList; mutex; mutex = mutex->next) {
        // No test gets here: two file systems would have to hold files of the same number.
        if (mutex->shared && mutex->device == status.st_dev && mutex->node == status.st_ino)
            return mutex;
    }
    return nullptr;
}

Mutex *MutexOfFile(int file) noexcept {
    struct stat status;
    if (::fstat(file, &status) != 0)
        return nullptr;
    if (static_cast<std::size_t>(status.st_size) < sizeof(TSharedMutex)) {
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
        mutex->shared = &static_cast<TSharedMutex *>(memory)->mutex;
        mutex->device = status.st_dev;
        mutex->node = status.st_ino;
        Link(mutex);
    } else if (memory) {
        ::munmap(memory, sizeof(TSharedMutex));
        errno = ENOMEM;
    }
    return mutex;
}

Mutex *NamedMutex(char const *name) noexcept {
    TDescriptor const file(OpenShared(name));
    return file ? MutexOfFile(file.Get()) : nullptr;
}

Mutex *UnnamedMutex() noexcept {
    auto *const mutex = new (std::nothrow) Mutex;
    if (mutex)
        Link(mutex);
    else
        errno = ENOMEM;
    return mutex;
}

bool IsThere(Mutex const *mutex) noexcept {
    if (!mutex)
        errno = EBADF;
    return mutex != nullptr;
}

// Takes a shared lock within a limited time. Returns 0, or an error number. This function is not inlined: if it were, a
// thread would take a shared lock without a limit more slowly.
[[gnu::noinline]] int AcquireWithin(pthread_mutex_t *mutex, std::uint32_t milliseconds) noexcept {
    if (milliseconds == 0)
        return ::pthread_mutex_trylock(mutex);
#if defined(__SANITIZE_THREAD__) // the thread sanitizer does not know pthread_mutex_clocklock()
    return ::pthread_mutex_timedlock(mutex, TDeadline(milliseconds, CLOCK_REALTIME).End());
#else
    return ::pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, TDeadline(milliseconds).End());
#endif
}

// Returns what an error number of a shared lock means. Repairs the lock if the last owner ended while it held the lock,
// because the thread then has the lock. In case of a failure, stores the number in errno.
[[gnu::noinline]] TWaitResult ResultOf(int error, pthread_mutex_t *mutex) noexcept {
    if (error == EBUSY || error == ETIMEDOUT)
        return TWaitResult::timedOut;
    if (error == EOWNERDEAD) {
        ::pthread_mutex_consistent(mutex);
        return TWaitResult::abandoned;
    }
    errno = error;
    return TWaitResult::failed;
}

// LockShared() and UnlockShared() are not inlined: if they were, a thread would take a lock without a name more slowly.
[[gnu::noinline]] TWaitResult LockShared(Mutex &mutex, std::uint32_t milliseconds) noexcept {
    TThreadRecord const *const self = platform::ThisThread();
    if (!self)
        return TWaitResult::failed;
    if (mutex.owner.load(std::memory_order_relaxed) == self->Number()) {
        ++mutex.depth;
        return TWaitResult::done;
    }
    int const error = milliseconds == platform::waitForEver ? ::pthread_mutex_lock(mutex.shared)
                                                            : AcquireWithin(mutex.shared, milliseconds);
    TWaitResult const result = error == 0 ? TWaitResult::done : ResultOf(error, mutex.shared);
    if (result == TWaitResult::done || result == TWaitResult::abandoned) {
        mutex.owner.store(self->Number(), std::memory_order_relaxed);
        mutex.depth = 1;
        mutex.wasAbandoned = result == TWaitResult::abandoned;
    }
    return result;
}

[[gnu::noinline]] bool UnlockShared(Mutex &mutex) noexcept {
    TThreadRecord const *const self = platform::ThisThread();
    if (!self || mutex.owner.load(std::memory_order_relaxed) != self->Number()) {
        errno = EPERM;
        return false;
    }
    if (--mutex.depth == 0) {
        mutex.owner.store(0, std::memory_order_relaxed);
        ::pthread_mutex_unlock(mutex.shared);
    }
    return true;
}

} // namespace

void platform::HoldMutexes() noexcept {
    ::pthread_mutex_lock(&fsListLock);
}

void platform::ReleaseMutexes() noexcept {
    ::pthread_mutex_unlock(&fsListLock);
}

// A forked child has only the thread that forked. In the child, this thread still holds its locks without a name. The
// locks without a name that other threads of the parent hold become free. Named locks stay with the threads of the
// parent, so the child holds none of them.
void platform::SettleMutexesInChild() noexcept {
    TThreadRecord const *const self = platform::ThisThread();
    for (Mutex *mutex = fsList; mutex; mutex = mutex->next) {
        mutex->owner = 0;
        mutex->depth = 0;
        if (self)
            mutex->fast.ForgetOtherThreads(*self);
    }
    ReleaseMutexes();
}

Mutex *platform::NewMutex(char const *name) noexcept {
    TNoCancel const noCancel;
    TListEntry const entry;
    return name && *name ? NamedMutex(name) : UnnamedMutex();
}

bool platform::DeleteMutex(Mutex *mutex) noexcept {
    if (!IsThere(mutex))
        return false;
    TListEntry const entry;
    if (--mutex->references)
        return true;
    while (UnlockMutex(mutex)) {
    }
    // If another thread holds the lock, that thread will still access the lock, so the lock must not be deleted.
    if (mutex->owner != 0 || mutex->fast.IsHeld())
        return true;
    Unlink(mutex);
    if (mutex->shared)
        ::munmap(mutex->shared, sizeof(TSharedMutex));
    delete mutex;
    return true;
}

TWaitResult platform::LockMutex(Mutex *mutex, std::uint32_t milliseconds) noexcept {
    if (!IsThere(mutex))
        return TWaitResult::failed;
    if (mutex->shared)
        return LockShared(*mutex, milliseconds);
    TThreadRecord *const self = ThisThread();
    return self ? mutex->fast.Lock(*self, milliseconds) : TWaitResult::failed;
}

bool platform::UnlockMutex(Mutex *mutex) noexcept {
    if (!IsThere(mutex))
        return false;
    if (mutex->shared)
        return UnlockShared(*mutex);
    TThreadRecord *const self = ThisThread();
    if (self && mutex->fast.Unlock(*self)) [[likely]]
        return true;
    errno = EPERM;
    return false;
}

std::atomic<std::uint32_t> const *platform::HeldWord(Mutex const *mutex) noexcept {
    return mutex && !mutex->shared ? &mutex->fast.State() : nullptr;
}

bool platform::HoldsMutex(Mutex const *mutex) noexcept {
    TThreadRecord const *const self = ThisThread();
    if (!mutex || !self)
        return false;
    return mutex->shared ? mutex->owner == self->Number() : mutex->fast.IsHeldBy(*self);
}

bool platform::WasAbandoned(Mutex const *mutex) noexcept {
    TThreadRecord const *const self = ThisThread();
    if (!mutex || !self)
        return false;
    return mutex->shared ? mutex->owner == self->Number() && mutex->wasAbandoned : mutex->fast.WasAbandonedFor(*self);
}

std::uintptr_t platform::SystemHandle(Mutex *mutex) noexcept {
    return reinterpret_cast<std::uintptr_t>(mutex);
}

// Threads wait for a lock without a name in a futex call on the lock's state. The address of the state serves as the
// TWaitPlace. Contend() and WakeOne() are not inlined: if they were, a thread that need not wait would take a lock more
// slowly.

[[gnu::noinline]] TWaitResult TFastMutex::Contend(TThreadRecord &, std::uint32_t milliseconds) noexcept {
    if (milliseconds == 0)
        return TWaitResult::timedOut;
    TDeadline const deadline(milliseconds);
    while (fState.exchange(heldAndWaitedFor, std::memory_order_acquire) != free) {
        if (int const error = WaitForWord(fState, heldAndWaitedFor, deadline))
            return FailedWait(error);
    }
    return TWaitResult::done;
}

platform::TWaitPlace *TFastMutex::PrepareWake() noexcept {
    return reinterpret_cast<TWaitPlace *>(&fState);
}

[[gnu::noinline]] void TFastMutex::WakeOne(TWaitPlace *place) noexcept {
    WakeWord(place, 1);
}
