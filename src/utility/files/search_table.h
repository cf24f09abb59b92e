#ifndef TUZUTIL_SEARCH_TABLE
#define TUZUTIL_SEARCH_TABLE

// TFindTable: the open directory searches, each with a 32-bit handle. A closed handle finds nothing until its slot has
// been used another 32,768 times. Copies of a TDirectory share a handle, and each copy tries to close it.

#include "platform/platform.h"
#include "tuzutil/MUTEXSEM.h"

#include <cstdint>
#include <vector>

class TFindTable {
public:
    static constexpr std::int32_t fsNone = -1;
    static TFindTable &fsOnly;

    // Takes the search over and returns its handle. If there is no room, closes the search and throws TOutOfMemory.
    std::int32_t Add(platform::Search *search);
    platform::Search *Find(std::int32_t handle); // null if the handle is not open
    bool Close(std::int32_t handle);             // false if the handle is not open, or if closing fails

private:
    friend struct TForks;

    // The low 16 bits of a handle are the number of its slot. The next 15 bits count how often the slot was used. The
    // highest bit is 0, so no handle is negative.
    static constexpr unsigned int fsSlotBits = 16;

    struct TSlot {
        platform::Search *search = nullptr; // null for a free slot
        std::uint32_t generation = 0;
    };

    TSlot *FreeSlot() noexcept; // null if there is no room
    TSlot *Open(std::int32_t handle) noexcept;

    TMutexSemaphore fMutex;
    std::vector<TSlot> fSlots;
};

#endif
