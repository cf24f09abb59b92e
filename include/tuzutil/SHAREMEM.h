#ifndef TUZUTIL_SHAREMEM_H
#define TUZUTIL_SHAREMEM_H

// ipcSharedMemory: a named block of memory, which one process creates and others open.
//
// Example:
//     ipcSharedMemory counters("pop3d.counters", sizeof(TCounters)); // in another: counters("pop3d.counters")
//     if (!counters)
//         return counters.rdstate(); // 1: a block of that name exists already, or there is no room
//     auto *shared = static_cast<TCounters *>(counters.Pointer());
//
// Ownership:  The object owns its view of the block, which its destructor unmaps. The block exists until no object of
//             any process uses it, even if its creator is destroyed earlier. Objects of a killed process count as
//             destroyed.
// Threads:    An object does not change after its construction. The users of a block guard its content.
// Failures:   Nothing is thrown; rdstate() returns the state.
// Surprises:
// - A new block holds zeros.
// - Size() of an object that opened a block is 0: the processes must agree on the size.
// - A forked child has its parent's objects, but the block exists only as long as the parent uses it.

#include "tuzutil/EXPORT.h"

#include <cstdint>

class osSharedMemory;

class TUZUTIL_API ipcSharedMemory {
public:
    // Creates a block. Names belong to the user's session, so "Local\x" is the same as "x". Creation fails
    // - if the size is below 1 or beyond 32 bits (Size() is then 0),
    // - if the name has more than 259 characters with its prefix (260 on some systems),
    // - if the name contains a "\" other than that of "Local\" or "Global\",
    // - on Windows, if a lock has that name.
    // REQUIRES: the process does not fork while one of its threads creates, opens or destroys an object.
    ipcSharedMemory(char const *name, long size);
    explicit ipcSharedMemory(char const *name); // opens a block that exists
    ipcSharedMemory(ipcSharedMemory const &) = delete;
    ipcSharedMemory &operator=(ipcSharedMemory const &) = delete;
    virtual ~ipcSharedMemory();

    // 0: good; 1: not created, or no memory; 2: no name; 3: not opened
    int rdstate() const noexcept { return fState; }
    int operator!() const noexcept { return fState != 0; }
    char *Name() const noexcept;                 // null if it has none
    void *Pointer() const noexcept;              // null unless the state is 0
    int Owner() const noexcept;                  // 1 if this object created the block
    long Size() const noexcept { return fSize; } // as given to the constructor

private:
    friend class osSharedMemory;

    osSharedMemory *fImpl;
    std::int32_t fState = 0;
    std::int32_t fSize = 0;
};

#endif
