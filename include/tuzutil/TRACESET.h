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
// Ownership:  the registry borrows its categories and never lets go of one. A table owns its entries.
// Threads:    the registry only grows, and may be walked while it does, without a lock: a library may register its
//             categories while another thread writes entries. A table belongs under the trace lock.
// Failures:   TOutOfMemory.
// Surprises:  a category that is registered twice stands there twice.

#include "tuzutil/COLLECT.h"
#include "tuzutil/EXPORT.h"
#include "tuzutil/TRACE.h"

#include <atomic>

class TUZUTIL_API TTraceSetKnown {
public:
    constexpr TTraceSetKnown() noexcept = default;
    TTraceSetKnown(TTraceSetKnown const &) = delete;
    TTraceSetKnown &operator=(TTraceSetKnown const &) = delete;
    // No destructor: static objects of other libraries may still ask when this one is taken down.

    void Add(TTrace::Category const *category);
    unsigned long GetNumberElements() const noexcept;

private:
    friend class TTraceSetKnownCursor;

    // Readers follow `next`; an entry is complete before it is linked.
    struct TEntry {
        TTrace::Category const *category = nullptr;
        std::atomic<TEntry *> next{nullptr};
    };

    TEntry fHead; // stands before the first
    std::atomic<TEntry *> fNearEnd{nullptr};
};

class TUZUTIL_API TTraceSetKnownCursor {
public:
    explicit TTraceSetKnownCursor(TTraceSetKnown const &set) noexcept;

    TTrace::Category const *Element() const noexcept; // null at the end
    TTrace::Category const *Next() noexcept;

private:
    TTraceSetKnown::TEntry const *fEntry;
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
