#include "platform/platform.h"

#include "platform/no_cancel.h"
#include "platform/posix/forks.h"
#include "platform/posix/objects.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <new>
#include <pthread.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

// A block is a file in the user's folder for objects, removed by the last one that has it. Whoever has it holds a
// shared lock on it, which the kernel takes away when a process ends: a file that can be locked alone is dead. Names
// are made, looked up and removed under a lock on the folder, so nobody meets a block half made or half gone.

namespace {

constexpr char fsKind[] = "memory";
constexpr int fsLayout = 1;

// Held by the thread that is at work here, and by one that forks: a child would share the lock on the folder.
constinit pthread_mutex_t fsForkLock = PTHREAD_MUTEX_INITIALIZER;

bool Lock(int file, int how) noexcept {
    int result;
    do
        result = ::flock(file, how);
    while (result != 0 && errno == EINTR);
    return result == 0;
}

// A descriptor that is closed at the end, unless it is taken.
class TFile {
public:
    explicit TFile(int file) noexcept : fFile(file) {}
    TFile(TFile const &) = delete;
    TFile &operator=(TFile const &) = delete;
    ~TFile() {
        int const error = errno;
        if (fFile >= 0)
            ::close(fFile);
        errno = error;
    }

    int Get() const noexcept { return fFile; }
    explicit operator bool() const noexcept { return fFile >= 0; }
    int Take() noexcept {
        int const file = fFile;
        fFile = -1;
        return file;
    }

private:
    int fFile;
};

// While one is there, the process does not fork, and the thread is not cancelled.
class TSection {
public:
    TSection() noexcept { posix::HoldSharedMemory(); }
    TSection(TSection const &) = delete;
    TSection &operator=(TSection const &) = delete;
    ~TSection() { posix::ReleaseSharedMemory(); }

private:
    TNoCancel const fNoCancel;
};

// The folder, locked. Unlocked in so many words: a child of somebody who forks past the library has the folder too.
class TFolder : private TSection, public TFile {
public:
    TFolder() noexcept : TFile(posix::OpenObjectFolder()), fIsLocked(*this && Lock(Get(), LOCK_EX)) {}
    ~TFolder() {
        int const error = errno;
        if (fIsLocked)
            Lock(Get(), LOCK_UN);
        errno = error;
    }
    bool IsLocked() const noexcept { return fIsLocked; }

    int Open(char const *name, int flags) const noexcept {
        return ::openat(Get(), name, O_RDWR | O_NOFOLLOW | O_CLOEXEC | flags, 0600);
    }
    void Remove(char const *name) const noexcept { ::unlinkat(Get(), name, 0); }

    // Opens a block that somebody has; what nobody has any more goes, and is not there: ENOENT.
    int OpenLiving(char const *name) const noexcept {
        TFile file(Open(name, O_NONBLOCK));
        if (!file || !Lock(file.Get(), LOCK_EX | LOCK_NB))
            return file.Take();
        Remove(name);
        errno = ENOENT;
        return -1;
    }

    // Removes all that killed processes have left behind.
    void Clean() const noexcept {
        int const list = ::openat(Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        DIR *const directory = list >= 0 ? ::fdopendir(list) : nullptr;
        if (!directory)
            return;
        while (dirent const *const entry = ::readdir(directory)) {
            if (::strncmp(entry->d_name, fsKind, sizeof fsKind - 1) == 0)
                TFile const living(OpenLiving(entry->d_name));
        }
        ::closedir(directory);
    }

private:
    bool fIsLocked;
};

struct Block {
    int file;
    std::size_t size;
    pid_t process; // a forked child shares the lock with its parent
    char name[posix::objectFileSize];
};

bool Map(Block &block, void *&view) noexcept {
    view = ::mmap(nullptr, block.size, PROT_READ | PROT_WRITE, MAP_SHARED, block.file, 0);
    if (view != MAP_FAILED)
        return true;
    view = nullptr;
    return false;
}

// A block of the file, which is closed on failure.
Block *NewBlock(TFile &file, std::size_t size, char const *name, void *&view) noexcept {
    auto *const block = new (std::nothrow) Block{file.Get(), size, ::getpid(), {}};
    if (!block) {
        errno = ENOMEM;
        return nullptr;
    }
    ::strcpy(block->name, name);
    if (Lock(file.Get(), LOCK_SH | LOCK_NB) && Map(*block, view)) {
        file.Take();
        return block;
    }
    delete block;
    return nullptr;
}

// Takes the memory now: later, a lack of it would end the process that touches it. Where signals come faster than
// memory is taken, each interrupts it, and it begins anew: not for ever.
bool Reserve(int file, off_t size) noexcept {
    int error = EINTR;
    for (int tries = 0; tries < 100 && error == EINTR; ++tries)
        error = ::posix_fallocate(file, 0, size);
    errno = error;
    return error == 0;
}

} // namespace

void posix::HoldSharedMemory() noexcept {
    ::pthread_mutex_lock(&fsForkLock);
}

void posix::ReleaseSharedMemory() noexcept {
    ::pthread_mutex_unlock(&fsForkLock);
}

void *platform::CreateSharedMemory(char const *name, std::int32_t size, void *&view) noexcept {
    char fileName[posix::objectFileSize];
    if (size < 1) {
        errno = EINVAL;
        return nullptr;
    }
    if (!posix::ObjectFileName(fsKind, fsLayout, name, fileName))
        return nullptr;
    TFolder const folder;
    if (!folder.IsLocked())
        return nullptr;
    folder.Clean();
    if (TFile const living(folder.OpenLiving(fileName)); living) {
        errno = EEXIST;
        return nullptr;
    }
    TFile file(folder.Open(fileName, O_CREAT | O_EXCL));
    if (!file)
        return nullptr;
    Block *const block =
        Reserve(file.Get(), size) ? NewBlock(file, static_cast<std::size_t>(size), fileName, view) : nullptr;
    if (!block)
        folder.Remove(fileName);
    return block;
}

void *platform::OpenSharedMemory(char const *name, void *&view) noexcept {
    char fileName[posix::objectFileSize];
    if (!posix::ObjectFileName(fsKind, fsLayout, name, fileName))
        return nullptr;
    TFolder const folder;
    TFile file(folder.IsLocked() ? folder.OpenLiving(fileName) : -1);
    struct stat status;
    if (!file || ::fstat(file.Get(), &status) != 0)
        return nullptr;
    return NewBlock(file, static_cast<std::size_t>(status.st_size), fileName, view);
}

void platform::CloseSharedMemory(void *handle, void *view) noexcept {
    auto *const block = static_cast<Block *>(handle);
    ::munmap(view, block->size);
    TFolder const folder;
    bool const isLast = folder.IsLocked() && block->process == ::getpid() && Lock(block->file, LOCK_EX | LOCK_NB);
    struct stat own;
    struct stat named;
    if (isLast && ::fstat(block->file, &own) == 0 &&
        ::fstatat(folder.Get(), block->name, &named, AT_SYMLINK_NOFOLLOW) == 0 && own.st_ino == named.st_ino)
        folder.Remove(block->name);
    ::close(block->file);
    delete block;
}
