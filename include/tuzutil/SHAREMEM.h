#ifndef TUZUTIL_SHAREMEM_H
#define TUZUTIL_SHAREMEM_H

// ipcSharedMemory: a named block of memory, which one process creates and others open.
//
// Example:
//     auto const counters = ipcSharedMemory::OpenOrCreate("pop3d.counters", sizeof(TCounters), [](void *fresh) {
//         new (fresh) TCounters; // in the process that comes first; the others wait until this is done
//     });
//     if (!counters)
//         return counters.QueryError(); // the system's error code
//     auto *shared = static_cast<TCounters *>(counters.Pointer());
//
// Ownership:  An object maps a block, and its destructor unmaps the block. The block exists as long as an object of any
//             process uses it, even if the object that created it is destroyed. The objects of a killed process count
//             as destroyed.
// Threads:    Any thread may use an object, because it does not change after its construction. REQUIRES: the users of a
//             block guard its content, for example with a named TMutexSemaphore.
// Failures:   Only exceptions of initialise() reach the caller. rdstate() returns the state of an object, and
//             QueryError() the system's error code.
// Surprises:
// - A new block holds zeros.
// - Size() returns 0 for an object whose constructor opened a block. TrueSize() returns the size of every block.
// - A forked child inherits the objects of its parent, but the child does not count as a user of their blocks.
class ipcSharedMemory;

#include "tuzutil/EXPORT.h"

#include <cstdint>
#include <system_error>

class osSharedMemory;

class TUZUTIL_API ipcSharedMemory {
public:
    // Creates a block. Names belong to the user's session, so "Local\x" is the same as "x". Creation fails
    // - if the size is less than 1, or more than 2147483647 (Size() returns 0 if it is more),
    // - if the name, with its prefix, has more than 260 bytes (on some systems, more than 259),
    // - if the name contains a "\" other than that of the prefix "Local\" or "Global\",
    // - on Windows, if a lock has that name.
    // REQUIRES: the process does not fork while one of its threads creates, opens or destroys an object.
    ipcSharedMemory(char const *name, long size);
    // Opens a block that exists. Waits while another object fills the block in OpenOrCreate().
    explicit ipcSharedMemory(char const *name);

    // Opens the block of that name, or creates one of `size` bytes and calls initialise(pointer) to fill it. Exactly
    // one process creates the block; all others wait until initialise() has returned. If initialise() throws, or the
    // process ends while initialise() runs, the block is removed, and one of the waiting processes creates it again.
    // OpenOrCreate() passes an exception of initialise() on. The limits of names and sizes are those of the first
    // constructor. If the block exists with fewer than `size` bytes, it is not opened, and rdstate() returns 1.
    // REQUIRES: initialise() does not open or create the same block, and the process does not fork while initialise()
    // runs.
    template <typename Function>
    [[nodiscard]] static ipcSharedMemory OpenOrCreate(char const *name, long size, Function initialise) {
        return ipcSharedMemory(
            name, size, [](void *function, void *block) { (*static_cast<Function *>(function))(block); }, &initialise);
    }

    ipcSharedMemory(ipcSharedMemory const &) = delete;
    ipcSharedMemory &operator=(ipcSharedMemory const &) = delete;
    virtual ~ipcSharedMemory();

    // 0: good; 1: the block was not created, or there is no memory; 2: no name was given; 3: the block was not opened.
    int rdstate() const noexcept { return fState; }
    // These functions return the system's error code (errno, or GetLastError() on Windows) that tells why the state is
    // not 0. They return 0 if the state is 0.
    int QueryError() const noexcept;
    std::error_code Error() const noexcept { return std::error_code(QueryError(), std::system_category()); }

    int operator!() const noexcept { return fState != 0; } // 1 unless the state is 0
    char *Name() const noexcept;                           // null if no name was given
    void *Pointer() const noexcept;                        // null unless the state is 0
    // Returns 1 if the constructor with a size made this object, or if OpenOrCreate() created the block for it.
    // Otherwise returns 0.
    int Owner() const noexcept;
    long Size() const noexcept { return fSize; } // as given to the constructor; after OpenOrCreate(), as TrueSize()
    // Returns the size of the block in bytes, even if another process created it. Returns 0 unless the state is 0. On
    // Windows, if the constructor with a size created the block, objects that open the block return the size rounded up
    // to whole pages.
    long TrueSize() const noexcept;

private:
    ipcSharedMemory(char const *name, long size, void (*initialise)(void *function, void *block), void *function);

    friend class osSharedMemory;

    osSharedMemory *fImpl;
    std::int32_t fState = 0;
    std::int32_t fSize = 0;
};

#endif
