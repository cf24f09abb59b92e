#ifndef TUZUTIL_TRACESET_H
#define TUZUTIL_TRACESET_H

// TTraceSetKnown: the registry of all trace categories. TTraceSet: the category table of one destination.
//
// Example:
//     TTraceSetKnownCursor *cursor = TTrace::ListClasses();
//     for (TTrace::Category const *category = cursor->Element(); category; category = cursor->Next())
//         std::cout << category->QueryString() << '\n';
//     delete cursor;
//
// Ownership:  The registry borrows its categories. A category leaves the registry when it is destroyed. A table owns
//             its entries.
// Threads:    A cursor needs no lock, even while other threads create and destroy categories. REQUIRES: the caller
//             ensures that no other thread destroys the category that a cursor has returned. Use a table only while you
//             hold the trace lock (TTrace::Base::fsMutex).
// Failures:   TOutOfMemory or std::bad_alloc if there is no memory for an entry.
// Surprises:
// - A category that is registered twice has two entries.
// - Categories are in the order of their registration, but a new one may take the place of one that was destroyed.
class TTraceSetKnown;

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
    // There is no destructor, because static objects of other libraries may still use the registry when the process
    // ends.

    void Add(TTrace::Category const *category);             // borrows it; throws std::bad_alloc if there is no memory
    void Remove(TTrace::Category const *category) noexcept; // removes all entries of the category
    unsigned long GetNumberElements() const noexcept;       // walks through the whole registry to count

private:
    friend class TTraceSetKnownCursor;

    // Readers follow `next` without a lock. An entry is complete before it is linked, and is never unlinked. When its
    // category leaves the registry, `category` becomes null until another category takes the entry over.
    struct TEntry {
        std::atomic<TTrace::Category const *> category{nullptr};
        std::atomic<TEntry *> next{nullptr};
    };

    bool Reuse(TTrace::Category const *category) noexcept;

    TEntry fHead; // precedes the first entry
    std::atomic<TEntry *> fNearEnd{nullptr};
    std::atomic<std::uint32_t> fFree{0}; // number of entries without a category
};

// A cursor: a place in the registry. A new cursor is at the first category.
class TUZUTIL_API TTraceSetKnownCursor {
public:
    explicit TTraceSetKnownCursor(TTraceSetKnown const &set) noexcept; // at the first category

    TTrace::Category const *Element() const noexcept; // null at the end
    TTrace::Category const *Next() noexcept;          // moves on; null at the end

private:
    mutable TTraceSetKnown::TEntry const *fEntry; // Element() moves it to the next entry if the category has left
};

// An entry of a table: a category, and whether it is on.
class TElementCategory {
public:
    TElementCategory(TTrace::Category const &category, int on) : fCategory(category), fOn(on) {} // copies the category

    TTrace::Category const &Key() const noexcept { return fCategory; } // the category
    int IsOn() const noexcept { return fOn; } // the value that SetOn() or the constructor got; 0 means off
    void SetOn(int on) noexcept { fOn = on; } // stores `on` itself, and does not reduce it to 0 or 1

private:
    TTrace::Category fCategory;
    int fOn;
};

// The category table of a destination: for each category in it, whether the destination accepts the category.
class TTraceSet : public TKeySetOf<TElementCategory, TTrace::Category> {};

#endif
