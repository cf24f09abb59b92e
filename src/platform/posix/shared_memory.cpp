// Named memory. A block is a file in the user's folder of named objects, and the last process that closes the block
// removes the file. Each process that has a block holds a shared lock on the file, which the kernel releases when the
// process ends. Therefore, if a process gets an exclusive lock on the file, no other process uses the block. Blocks are
// made, found and removed under a lock on the folder, because otherwise a process could see an incomplete block. The
// functions take fsForkLock, and then the lock on the folder.
//
// The maker of a block is the process that creates the block. As long as the maker fills the block, the name of the
// block's file has the kind fsNewKind. During this time, the maker holds an exclusive lock on the file. Threads that
// wait until the block is filled wait for a shared lock on the file. They get this lock when the maker ends, or closes
// or publishes the block. To publish the block, the maker gives the file a name with the kind fsKind and changes its
// own lock to a shared one.

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
    pid_t process;              // the process that opened the block; its forked children share the lock on the file
    char name[objectFileSize];  // the present name of the file
    char final[objectFileSize]; // the name of the file when the block is complete
};

namespace {

constexpr char fsKind[] = "memory";
constexpr char fsNewKind[] = "memory.new"; // begins with fsKind, so Clean() also removes unfinished files
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

// The folder of named objects, locked. The destructor unlocks the folder explicitly, because close() may not be enough.
// If the process forks without the library's knowledge, the child has the folder open too, and shares the lock.
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
        return platform::OpenAt(Get(), name, O_RDWR | O_NOFOLLOW | O_CLOEXEC | flags, 0600);
    }
    void Remove(char const *name) const noexcept { ::unlinkat(Get(), name, 0); }
    bool Leads(char const *name, int file) const noexcept { // whether `name` is a name of this file
        struct stat own;
        struct stat named;
        return ::fstat(file, &own) == 0 && ::fstatat(Get(), name, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
               own.st_ino == named.st_ino;
    }

    // If a process still uses a block, opens the file of the block. If no process uses the block, removes the file and
    // returns -1 with ENOENT.
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
        TDescriptor list(platform::OpenAt(Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
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

// The names of a block's file: `unfinished` as long as the maker fills the block, and `complete` after that.
struct TNames {
    // No test gets here: a name that is valid for one kind of file is valid for the other one too.
    explicit TNames(char const *name) noexcept
        : areValid(platform::ObjectFileName(fsKind, fsLayout, name, complete) &&
                   platform::ObjectFileName(fsNewKind, fsLayout, name, unfinished)) {}

    char complete[platform::objectFileSize];
    char unfinished[platform::objectFileSize];
    bool areValid; // false with errno
};

// Makes a block from a file, and takes a lock on the file: LOCK_SH or LOCK_EX, as `lock` says. On success, the block
// owns the file.
Block *NewBlock(TDescriptor &file, std::size_t size, int lock, TNames const &names, void *&view) noexcept {
    auto *const block = new (std::nothrow) Block{file.Get(), size, ::getpid(), {}, {}};
    if (!block) {
        errno = ENOMEM;
        return nullptr;
    }
    ::memcpy(block->name, lock == LOCK_EX ? names.unfinished : names.complete, sizeof block->name);
    ::memcpy(block->final, names.complete, sizeof block->final);
    if (Lock(file.Get(), lock | LOCK_NB) && Map(*block, view)) {
        file.Take();
        return block;
    }
    delete block;
    return nullptr;
}

// Reserves the memory of a file now. Otherwise, a process that touches the memory later would be killed if no memory is
// left then. If a signal interrupts the call, the call is repeated, but only a limited number of times, because signals
// may arrive faster than the memory is reserved.
bool Reserve(int file, off_t size) noexcept {
    int error = EINTR;
    // No test gets here: a hundred signals would have to arrive, each during a call.
    for (int tries = 0; tries < 100 && error == EINTR; ++tries)
        error = ::posix_fallocate(file, 0, size);
    errno = error;
    return error == 0;
}

// Creates the file of a block with its memory. If `lock` is LOCK_EX, the block is unfinished. If it is LOCK_SH, the
// block is complete.
Block *MakeBlock(TFolder const &folder, TNames const &names, std::int32_t size, int lock, void *&view) noexcept {
    char const *const name = lock == LOCK_EX ? names.unfinished : names.complete;
    TDescriptor file(folder.Open(name, O_CREAT | O_EXCL));
    if (!file)
        return nullptr;
    Block *const block =
        Reserve(file.Get(), size) ? NewBlock(file, static_cast<std::size_t>(size), lock, names, view) : nullptr;
    if (!block)
        folder.Remove(name);
    return block;
}

// Makes a block from the file of a complete block. Fails if the file has fewer than `least` bytes.
Block *OpenedBlock(TDescriptor &file, std::int32_t least, TNames const &names, void *&view) noexcept {
    struct stat status;
    if (::fstat(file.Get(), &status) != 0)
        return nullptr;
    if (status.st_size < least) {
        errno = EINVAL;
        return nullptr;
    }
    return NewBlock(file, static_cast<std::size_t>(status.st_size), LOCK_SH, names, view);
}

// Waits until the maker of an unfinished block publishes the block, closes it, or ends. After that, this process holds
// a shared lock on the file, so no other process removes a published block. If the block was published, stores it in
// `block` and returns true. On failure, stores null and returns true. If the block was not published, returns false.
bool Await(TDescriptor &file, std::int32_t least, TNames const &names, void *&view, Block *&block) noexcept {
    TNoCancel const noCancel;
    bool const isFree = Lock(file.Get(), LOCK_SH);
    int const failure = errno;
    TFolder const folder;
    if (isFree && folder.IsLocked() && !folder.Leads(names.complete, file.Get())) {
        // The maker has ended or closed the block without publishing it. If the file is still there, it must be removed
        // here, because other waiters hold shared locks on it for a moment too. Each waiter would otherwise take the
        // lock of another waiter for that of a living maker, and wait again.
        if (folder.Leads(names.unfinished, file.Get()))
            folder.Remove(names.unfinished);
        TDescriptor const closed(file.Take()); // closed here, under the lock on the folder
        return false;
    }
    block = isFree && folder.IsLocked() ? OpenedBlock(file, least, names, view) : nullptr;
    if (!isFree)
        errno = failure;
    return true;
}

// Opens a block of at least `least` bytes. If there is none, creates one if `size` is not 0, and otherwise fails.
Block *Obtain(TNames const &names, std::int32_t size, void *&view, bool &isNew) noexcept {
    Block *block = nullptr;
    for (;;) {
        int found = -1;
        {
            TFolder const folder;
            if (!folder.IsLocked())
                return nullptr;
            if (TDescriptor file(folder.OpenLiving(names.complete)); file)
                return OpenedBlock(file, size, names, view);
            if (errno == ENOENT)
                found = folder.OpenLiving(names.unfinished);
            if (found < 0 && (errno != ENOENT || size == 0))
                return nullptr;
            if (found < 0) {
                folder.Clean();
                block = MakeBlock(folder, names, size, LOCK_EX, view);
                isNew = block != nullptr;
                return block;
            }
        }
        TDescriptor unfinished(found);
        if (Await(unfinished, size, names, view, block))
            return block;
    }
}

} // namespace

void platform::HoldSharedMemory() noexcept {
    ::pthread_mutex_lock(&fsForkLock);
}

void platform::ReleaseSharedMemory() noexcept {
    ::pthread_mutex_unlock(&fsForkLock);
}

Block *platform::CreateSharedMemory(char const *name, std::int32_t size, void *&view) noexcept {
    if (size < 1) {
        errno = EINVAL;
        return nullptr;
    }
    TNames const names(name);
    if (!names.areValid)
        return nullptr;
    TFolder const folder;
    if (!folder.IsLocked())
        return nullptr;
    folder.Clean();
    for (char const *const used : {names.complete, names.unfinished}) {
        if (TDescriptor const living(folder.OpenLiving(used)); living) {
            errno = EEXIST;
            return nullptr;
        }
    }
    return MakeBlock(folder, names, size, LOCK_SH, view);
}

Block *platform::OpenSharedMemory(char const *name, void *&view) noexcept {
    TNames const names(name);
    bool isNew = false;
    return names.areValid ? Obtain(names, 0, view, isNew) : nullptr;
}

Block *platform::OpenOrCreateSharedMemory(char const *name, std::int32_t size, void *&view, bool &isNew) noexcept {
    isNew = false;
    if (size < 1) {
        errno = EINVAL;
        return nullptr;
    }
    TNames const names(name);
    return names.areValid ? Obtain(names, size, view, isNew) : nullptr;
}

// PublishSharedMemory() changes the lock on the file under the lock on the folder, so no other process can take the
// block for an unused one during the change.
bool platform::PublishSharedMemory(Block *block) noexcept {
    TFolder const folder;
    if (!folder.IsLocked() || ::renameat(folder.Get(), block->name, folder.Get(), block->final) != 0)
        return false;
    ::memcpy(block->name, block->final, sizeof block->name);
    return Lock(block->file, LOCK_SH | LOCK_NB);
}

std::size_t platform::SharedMemorySize(Block const *block) noexcept {
    return block->size;
}

void platform::CloseSharedMemory(Block *block, void *view) noexcept {
    ::munmap(view, block->size);
    TFolder const folder;
    bool const isLast = folder.IsLocked() && block->process == ::getpid() && Lock(block->file, LOCK_EX | LOCK_NB);
    if (isLast && folder.Leads(block->name, block->file))
        folder.Remove(block->name);
    ::close(block->file);
    delete block;
}
