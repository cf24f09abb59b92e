#ifndef TUZUTIL_SEARCH_TABLE
#define TUZUTIL_SEARCH_TABLE

// The directory searches that are open, by 32-bit handles. A handle that was closed finds nothing, also when its slot
// is in use again: copies of a directory close the same handle twice.

#include "platform/platform.h"
#include "tuzutil/MUTEXSEM.h"

#include <cstdint>
#include <vector>

class TFindTable {
public:
    static constexpr std::int32_t fsNone = -1;
    static TFindTable &fsOnly;

    std::int32_t Add(platform::Search *search);  // takes it over; TOutOfMemory, and it is closed, if there is no room
    platform::Search *Find(std::int32_t handle); // null if it is not open
    bool Close(std::int32_t handle);             // false if it is not open

private:
    // A handle is the slot's number below its generation, 15 bits, so that none is negative.
    static constexpr unsigned int fsSlotBits = 16;

    struct TSlot {
        platform::Search *search = nullptr; // null for a free slot
        std::uint32_t generation = 0;
    };

    TSlot *Open(std::int32_t handle) noexcept;

    TMutexSemaphore fMutex;
    std::vector<TSlot> fSlots;
};

#endif
