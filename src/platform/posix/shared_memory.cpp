// Named memory. A block is a file in the user's folder of named objects, and the last process that closes the block
// removes the file. Each process that has a block holds a shared lock on the file, which the kernel releases when the
// process ends. Therefore nobody uses a block if its file can be locked exclusively. Blocks are made, found and removed
// under a lock on the folder, so that no process sees an incomplete block. Takes fsForkLock, and then the lock on the
// folder.

#include "platform/platform.h"

#include "platform/no_cancel.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/forks.h"
#include "platform/posix/object_folder.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <new>
#include <pthread.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>

using platform::Block;
using platform::TDescriptor;
using platform::TKeptError;
using platform::TNoCancel;

struct platform::Block {
    int file;
    std::size_t size;
    pid_t process; // the process that opened the block; a forked child shares the lock on the file with it
    char name[objectFileSize];
};

namespace {

constexpr char fsKind[] = "memory";
constexpr int fsLayout = 1;

// A thread holds this lock while it holds the lock on the folder, and while it forks. Without fsForkLock, a child could
// inherit the lock on the folder from another thread.
constinit pthread_mutex_t fsForkLock = PTHREAD_MUTEX_INITIALIZER;

bool Lock(int file, int how) noexcept {
    return platform::KeepTrying([=] { return ::flock(file, how); }) == 0;
}

// While a TSection exists, the process does not fork, and this thread is not cancelled.
class TSection {
public:
    TSection() noexcept { platform::HoldSharedMemory(); }
    TSection(TSection const &) = delete;
    TSection &operator=(TSection const &) = delete;
    ~TSection() { platform::ReleaseSharedMemory(); }

private:
    TNoCancel const fNoCancel;
};

// The folder of named objects, locked. The destructor unlocks it explicitly, because close() may not be enough: if the
// process forks without the library's knowledge, the child has the folder open too, and shares the lock.
class TFolder : private TSection, public TDescriptor {
public:
    TFolder() noexcept : TDescriptor(platform::OpenObjectFolder()), fIsLocked(*this && Lock(Get(), LOCK_EX)) {}
    ~TFolder() {
        TKeptError const kept;
        if (fIsLocked)
            Lock(Get(), LOCK_UN);
    }
    bool IsLocked() const noexcept { return fIsLocked; }

    int Open(char const *name, int flags) const noexcept {
        return ::openat(Get(), name, O_RDWR | O_NOFOLLOW | O_CLOEXEC | flags, 0600);
    }
    void Remove(char const *name) const noexcept { ::unlinkat(Get(), name, 0); }

    // Opens a block that a process still uses. If no process uses it, removes the block and returns -1 with ENOENT.
    int OpenLiving(char const *name) const noexcept {
        TDescriptor file(Open(name, O_NONBLOCK));
        if (!file || !Lock(file.Get(), LOCK_EX | LOCK_NB))
            return file.Take();
        Remove(name);
        errno = ENOENT;
        return -1;
    }

    // Removes the files that killed processes have left.
    void Clean() const noexcept {
        TDescriptor list(::openat(Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        DIR *const directory = list ? ::fdopendir(list.Get()) : nullptr;
        if (!directory)
            return;
        list.Take(); // closedir() closes it
        while (dirent const *const entry = ::readdir(directory)) {
            if (::strncmp(entry->d_name, fsKind, sizeof fsKind - 1) == 0)
                TDescriptor const living(OpenLiving(entry->d_name));
        }
        ::closedir(directory);
    }

private:
    bool fIsLocked;
};

bool Map(Block &block, void *&view) noexcept {
    view = ::mmap(nullptr, block.size, PROT_READ | PROT_WRITE, MAP_SHARED, block.file, 0);
    if (view != MAP_FAILED)
        return true;
    view = nullptr;
    return false;
}

// Makes a block of a file. On success, the block owns the file.
Block *NewBlock(TDescriptor &file, std::size_t size, char const *name, void *&view) noexcept {
    auto *const block = new (std::nothrow) Block{file.Get(), size, ::getpid(), {}};
    if (!block) {
        errno = ENOMEM;
        return nullptr;
    }
    ::memcpy(block->name, name, ::strlen(name) + 1); // a name from ObjectFileName(), which fits
    if (Lock(file.Get(), LOCK_SH | LOCK_NB) && Map(*block, view)) {
        file.Take();
        return block;
    }
    delete block;
    return nullptr;
}

// Reserves the memory now. Otherwise, a process that touches the memory later would be killed if none is left. If a
// signal interrupts the call, it is repeated, but not for ever: signals may arrive faster than the memory is reserved.
bool Reserve(int file, off_t size) noexcept {
    int error = EINTR;
    for (int tries = 0; tries < 100 && error == EINTR; ++tries)
        error = ::posix_fallocate(file, 0, size);
    errno = error;
    return error == 0;
}

} // namespace

void platform::HoldSharedMemory() noexcept {
    ::pthread_mutex_lock(&fsForkLock);
}

void platform::ReleaseSharedMemory() noexcept {
    ::pthread_mutex_unlock(&fsForkLock);
}

Block *platform::CreateSharedMemory(char const *name, std::int32_t size, void *&view) noexcept {
    char fileName[objectFileSize];
    if (size < 1) {
        errno = EINVAL;
        return nullptr;
    }
    if (!ObjectFileName(fsKind, fsLayout, name, fileName))
        return nullptr;
    TFolder const folder;
    if (!folder.IsLocked())
        return nullptr;
    folder.Clean();
    if (TDescriptor const living(folder.OpenLiving(fileName)); living) {
        errno = EEXIST;
        return nullptr;
    }
    TDescriptor file(folder.Open(fileName, O_CREAT | O_EXCL));
    if (!file)
        return nullptr;
    Block *const block =
        Reserve(file.Get(), size) ? NewBlock(file, static_cast<std::size_t>(size), fileName, view) : nullptr;
    if (!block)
        folder.Remove(fileName);
    return block;
}

Block *platform::OpenSharedMemory(char const *name, void *&view) noexcept {
    char fileName[objectFileSize];
    if (!ObjectFileName(fsKind, fsLayout, name, fileName))
        return nullptr;
    TFolder const folder;
    TDescriptor file(folder.IsLocked() ? folder.OpenLiving(fileName) : -1);
    struct stat status;
    if (!file || ::fstat(file.Get(), &status) != 0)
        return nullptr;
    return NewBlock(file, static_cast<std::size_t>(status.st_size), fileName, view);
}

void platform::CloseSharedMemory(Block *block, void *view) noexcept {
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
