#ifndef TUZUTIL_SHAREMEM_H
#define TUZUTIL_SHAREMEM_H

// ipcSharedMemory: a block of memory with a name, which one process creates and others open.
//
// Example:
//     ipcSharedMemory counters("pop3d.counters", sizeof(TCounters)); // in another: counters("pop3d.counters")
//     if (!counters)
//         return counters.rdstate(); // 1: there is one of that name already, or no room
//     auto *shared = static_cast<TCounters *>(counters.Pointer());
//
// Ownership:  the object owns its view of the block, which ends with it. The block is there until the last object that
//             has it, in whatever process, is destroyed; a process that is killed counts as having destroyed its own.
// Threads:    an object is not changed once it is made. What stands in the block is its users' business, and so are the
//             locks for it.
// Failures:   none thrown; rdstate() tells.
// Surprises:  a new block holds zeros. Its name is the user's session's: "Local\x" is "x"; another "\" but that of
//             "Global\" fails, and so do names of more than 259 characters, or 260. An opener's Size() is 0: how large
//             the block is, the processes agree upon. A size below 1 is not created, nor is one beyond 32 bits, whose
//             Size() is 0. On Windows, a name that a lock has already fails as well. That the creator goes does not end
//             the block. A forked child has its parent's objects, but the block is there for as long as the parent has
//             it. A process forks when no other thread of it is making, opening or leaving a block.

#include "tuzutil/EXPORT.h"

#include <cstdint>

class osSharedMemory;

class TUZUTIL_API ipcSharedMemory {
public:
    ipcSharedMemory(char const *name, long size); // a new block
    explicit ipcSharedMemory(char const *name);   // the one that is there
    ipcSharedMemory(ipcSharedMemory const &) = delete;
    ipcSharedMemory &operator=(ipcSharedMemory const &) = delete;
    virtual ~ipcSharedMemory();

    // 0 good; 1 not created, or no memory; 2 no name; 3 not opened
    int rdstate() const noexcept { return fState; }
    int operator!() const noexcept { return fState != 0; }
    char *Name() const noexcept;                 // null for none
    void *Pointer() const noexcept;              // null but in state 0
    int Owner() const noexcept;                  // 1: made by this object's constructor with a size
    long Size() const noexcept { return fSize; } // as given there

private:
    friend class osSharedMemory;

    osSharedMemory *fImpl;
    std::int32_t fState = 0;
    std::int32_t fSize = 0;
};

#endif
