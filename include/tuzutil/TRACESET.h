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
// Ownership:  the registry borrows its categories; one that is destroyed leaves it. A table owns its entries.
// Threads:    the registry may be walked while categories come and go, without a lock: a library may register its own
//             while another thread writes entries. What a cursor has given may be destroyed by another thread right
//             then: that is the caller's business. A table belongs under the trace lock.
// Failures:   TOutOfMemory.
// Surprises:  a category that is registered twice stands there twice. Categories stand in the order in which they were
//             registered, but for those that took the place of one that had gone.

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
    // No destructor: static objects of other libraries may still ask when this one is taken down.

    void Add(TTrace::Category const *category);
    void Remove(TTrace::Category const *category) noexcept; // all its entries; nothing where it has none
    unsigned long GetNumberElements() const noexcept;

private:
    friend class TTraceSetKnownCursor;

    // Readers follow `next`; an entry is complete before it is linked, and stays. It has no category after that one has
    // gone, until another takes its place.
    struct TEntry {
        std::atomic<TTrace::Category const *> category{nullptr};
        std::atomic<TEntry *> next{nullptr};
    };

    bool Reuse(TTrace::Category const *category) noexcept;

    TEntry fHead; // stands before the first
    std::atomic<TEntry *> fNearEnd{nullptr};
    std::atomic<std::uint32_t> fFree{0}; // entries without a category, behind the head
};

class TUZUTIL_API TTraceSetKnownCursor {
public:
    explicit TTraceSetKnownCursor(TTraceSetKnown const &set) noexcept;

    TTrace::Category const *Element() const noexcept; // null at the end
    TTrace::Category const *Next() noexcept;

private:
    mutable TTraceSetKnown::TEntry const *fEntry; // moves on when its category has gone
};

// An entry of a table: a category and whether it is on.
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
