// TFindTable: the open directory searches. Users refer to a search by a handle. The table's lock guards the slots.
// Searches are opened, read and closed without the lock.

#include "utility/files/search_table.h"

#include "utility/kernel/lock.h"
#include "utility/kernel/reporter.h"

#include <algorithm>
#include <new>

std::int32_t TFindTable::Add(platform::Search *search) {
    {
        TLock const lock(fMutex);
        if (TSlot *const slot = FreeSlot()) {
            slot->search = search;
            slot->generation = (slot->generation + 1) & (INT32_MAX >> fsSlotBits);
            return static_cast<std::int32_t>(slot->generation << fsSlotBits |
                                             static_cast<std::uint32_t>(slot - fSlots.data()));
        }
    }
    // The table's lock is released before the exception is thrown, because throwing it may take the trace lock.
    platform::CloseSearch(search);
    TReporter(TUtilityTraceCategory::Directory, "src/utility/files/search_table").RaiseOutOfMemory();
}

TFindTable::TSlot *TFindTable::FreeSlot() noexcept {
    auto const free = std::find_if(fSlots.begin(), fSlots.end(), [](TSlot const &each) { return !each.search; });
    if (free != fSlots.end())
        return &*free;
    // No test gets here: more enumerations would have to be open than a process may have files.
    if (fSlots.size() >> fsSlotBits)
        return nullptr;
    try {
        return &fSlots.emplace_back();
    } catch (std::bad_alloc const &) {
        return nullptr;
    }
}

TFindTable::TSlot *TFindTable::Open(std::int32_t handle) noexcept {
    auto const bits = static_cast<std::uint32_t>(handle);
    std::size_t const index = bits & ((1u << fsSlotBits) - 1);
    if (index >= fSlots.size() || !fSlots[index].search || fSlots[index].generation != bits >> fsSlotBits)
        return nullptr;
    return &fSlots[index];
}

platform::Search *TFindTable::Find(std::int32_t handle) {
    TLock const lock(fMutex);
    TSlot const *const slot = Open(handle);
    return slot ? slot->search : nullptr;
}

bool TFindTable::Close(std::int32_t handle) {
    platform::Search *search = nullptr;
    {
        TLock const lock(fMutex);
        TSlot *const slot = Open(handle);
        if (!slot)
            return false;
        std::swap(search, slot->search);
    }
    return platform::CloseSearch(search);
}
