#ifndef TUZUTIL_TRACESET_H
#define TUZUTIL_TRACESET_H

// TTraceSetKnown: the registry of all trace categories; TTraceSet: the category table of one destination.
//
// Example:
//     TTraceSetKnownCursor *cursor = TTrace::ListClasses();
//     for (TTrace::Category const *category = cursor->Element(); category; category = cursor->Next())
//         std::cout << category->QueryString() << '\n';
//     delete cursor;
//
// Ownership:  The registry borrows its categories; a category that is destroyed leaves it. A table owns its entries.
// Threads:    The registry can be walked without a lock while categories join and leave: a library may register its own
//             while another thread writes entries. REQUIRES: a caller ensures that no other thread destroys the
//             category that a cursor returned. Use a table only under the trace lock.
// Failures:   TOutOfMemory.
// Surprises:
// - A category that is registered twice has two entries.
// - Categories are in the order of their registration, except those that took the entry of one that was destroyed.

#include "tuzutil/COLLECT.h"
#include "tuzutil/EXPORT.h"
#include "tuzutil/TRACE.h"

#include <atomic>
#include <cstdint>

class TUZUTIL_API TTraceSetKnown {
public:
    constexpr TTraceSetKnown() noexcept = default;
    TTraceSetKnown(TTraceSetKnown const &) = delete;
    TTraceSetKnown &operator=(TTraceSetKnown const &) = delete;
    // There is no destructor, because static objects of other libraries may still use the registry at unloading.

    void Add(TTrace::Category const *category);
    void Remove(TTrace::Category const *category) noexcept; // removes all its entries
    unsigned long GetNumberElements() const noexcept;

private:
    friend class TTraceSetKnownCursor;

    // Readers follow `next`. An entry is complete before it is linked, and is never removed. When its category has
    // left, the entry is empty until another category takes it over.
    struct TEntry {
        std::atomic<TTrace::Category const *> category{nullptr};
        std::atomic<TEntry *> next{nullptr};
    };

    bool Reuse(TTrace::Category const *category) noexcept;

    TEntry fHead; // before the first entry
    std::atomic<TEntry *> fNearEnd{nullptr};
    std::atomic<std::uint32_t> fFree{0}; // entries without a category, after the head
};

class TUZUTIL_API TTraceSetKnownCursor {
public:
    explicit TTraceSetKnownCursor(TTraceSetKnown const &set) noexcept;

    TTrace::Category const *Element() const noexcept; // null at the end
    TTrace::Category const *Next() noexcept;

private:
    mutable TTraceSetKnown::TEntry const *fEntry; // moves on if its category has left
};

// An entry of a table: a category, and whether it is on.
class TElementCategory {
public:
    TElementCategory(TTrace::Category const &category, int on) : fCategory(category), fOn(on) {}

    TTrace::Category const &Key() const noexcept { return fCategory; }
    int IsOn() const noexcept { return fOn; }
    void SetOn(int on) noexcept { fOn = on; }

private:
    TTrace::Category fCategory;
    int fOn;
};

class TTraceSet : public TKeySetOf<TElementCategory, TTrace::Category> {};

#endif
