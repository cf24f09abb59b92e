#ifndef TUZUTIL_SHAREMEM_H
#define TUZUTIL_SHAREMEM_H

// ipcSharedMemory: a named block of memory, which one process creates and others open.
//
// Example:
//     ipcSharedMemory counters("pop3d.counters", sizeof(TCounters)); // in another process: counters("pop3d.counters")
//     if (!counters)
//         return counters.rdstate(); // 1: a block of that name exists already, or there is no room
//     auto *shared = static_cast<TCounters *>(counters.Pointer());
//
// Ownership:  An object maps a block, and its destructor unmaps the block. The block exists as long as an object of any
//             process uses it, even if the object that created it is destroyed. The objects of a killed process count
//             as destroyed.
// Threads:    Any thread may use an object, because it does not change after its construction. REQUIRES: the users of a
//             block guard its content, for example with a named TMutexSemaphore.
// Failures:   Nothing is thrown; rdstate() returns the state.
// Surprises:
// - A new block holds zeros.
// - Size() returns 0 for an object that opened a block: the processes must agree on the size.
// - A forked child inherits the objects of its parent, but it does not count as a user of their blocks.

#include "tuzutil/EXPORT.h"

#include <cstdint>

class osSharedMemory;

class TUZUTIL_API ipcSharedMemory {
public:
    // Creates a block. Names belong to the user's session, so "Local\x" is the same as "x". Creation fails
    // - if the size is less than 1, or more than 2147483647 (Size() returns 0 if it is more),
    // - if the name, with its prefix, has more than 260 characters; some systems take only 259,
    // - if the name contains a "\" other than that of the prefix "Local\" or "Global\",
    // - on Windows, if a lock has that name.
    // REQUIRES: the process does not fork while one of its threads creates, opens or destroys an object.
    ipcSharedMemory(char const *name, long size);
    explicit ipcSharedMemory(char const *name); // opens a block that exists
    ipcSharedMemory(ipcSharedMemory const &) = delete;
    ipcSharedMemory &operator=(ipcSharedMemory const &) = delete;
    virtual ~ipcSharedMemory();

    // 0: good; 1: the block was not created, or there is no memory; 2: no name was given; 3: the block was not opened.
    int rdstate() const noexcept { return fState; }
    int operator!() const noexcept { return fState != 0; }
    char *Name() const noexcept;                 // null if no name was given
    void *Pointer() const noexcept;              // null unless the state is 0
    int Owner() const noexcept;                  // 1 if the constructor was the one that creates a block
    long Size() const noexcept { return fSize; } // as given to the constructor

private:
    friend class osSharedMemory;

    osSharedMemory *fImpl;
    std::int32_t fState = 0;
    std::int32_t fSize = 0;
};

#endif
