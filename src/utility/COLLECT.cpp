// TBaseSetOf and TBaseSparseArrayOf: untyped lists and arrays, the bases of the templates in COLLECT.h. These bases own
// their links and entries. The templates own the elements. Collections have no lock.

#include "tuzutil/COLLECT.h"

#include "utility/kernel/reporter.h"
#include "utility/kernel/word32.h"

#include <algorithm>
#include <new>
#include <utility>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Utility, "src/utility/COLLECT");

template <typename T, typename... Arguments>
T *New(Arguments... arguments) {
    auto *const object = new (std::nothrow) T(arguments...);
    if (!object)
        fsReports.RaiseOutOfMemory();
    return object;
}

} // namespace

// Sets

class TBaseSetOf::TElement {
public:
    explicit TElement(void *value) noexcept : element(value) {}
    TElement(TElement const &) = delete;
    TElement &operator=(TElement const &) = delete;
    virtual ~TElement() = default;

    void *element;
    TElement *next = nullptr;
};

TBaseSetOf::~TBaseSetOf() {
    DeleteLinks(fFirst);
    DeleteLinks(fDetached);
}

void TBaseSetOf::Add(void *element) {
    auto *const link = New<TElement>(element);
    if (!fFirst) {
        fFirst = link; // fLast is not used: DeleteSet() may have deleted the link to which it points
    } else {
        Detach();
        fLast->next = link;
    }
    fLast = link;
    ++fCount;
}

void TBaseSetOf::Add(void *element, unsigned long position) {
    if (position >= fCount || position == 0 || !fFirst) {
        Add(element);
        return;
    }
    auto *const link = New<TElement>(element);
    Detach();
    link->next = fFirst;
    fFirst = link;
    fLast->next = link;
    fLast = link;
    fCount += 2;
}

void TBaseSetOf::Remove(void *element) {
    for (TElement *link = fFirst; link; link = Following(link)) {
        if (link->element != element)
            continue;
        TElement *const preceding = Preceding(link);
        TElement *const following = link->next == link ? nullptr : link->next;
        if (preceding)
            preceding->next = following;
        if (link == fFirst)
            fFirst = following;
        if (link == fLast)
            fLast = preceding;
        --fCount;
        delete link;
        return;
    }
}

void *TBaseSetOf::Find(unsigned long index) const noexcept {
    if (index >= fCount)
        return nullptr;
    TElement const *link = fFirst;
    for (; link && index; --index)
        link = link->next;
    return link ? link->element : nullptr;
}

// The pointer is cleared before the element is destroyed. So if DeleteElement() throws, no element is destroyed twice.
void TBaseSetOf::DeleteSet() {
    for (TElement *link = fFirst; link; link = Following(link))
        DeleteElement(std::exchange(link->element, nullptr));
    DeleteLinks(fFirst);
    fFirst = nullptr;
}

void TBaseSetOf::DeleteElement(void *) {
    TPureCall::Trap(*this, "TBaseSetOf::DeleteElement()");
}

TBaseSetOf::TElement *TBaseSetOf::Following(TElement const *link) const noexcept {
    return link->next == fFirst ? nullptr : link->next;
}

// Returns the link before `link`, or null if no other link leads to `link`.
TBaseSetOf::TElement *TBaseSetOf::Preceding(TElement const *link) const noexcept {
    for (TElement *candidate = fFirst; candidate; candidate = Following(candidate)) {
        if (candidate->next == link)
            return candidate == link ? nullptr : candidate;
    }
    return nullptr;
}

// Called before the last link gets a new successor. Add(element, position) makes the chain a circle: the new link is
// then both the first and the last one, and its `next` leads to the links that existed before. The new successor would
// make these older links unreachable. Therefore Detach() moves the older links to the list fDetached, which the
// destructor deletes.
void TBaseSetOf::Detach() noexcept {
    TElement *const cut = fLast->next;
    if (!cut || cut == fFirst)
        return;
    TElement *last = cut;
    // No test gets here: the chain is a circle here, so it has no end.
    while (last->next && last->next != fFirst)
        last = last->next;
    last->next = fDetached;
    fDetached = cut;
    fLast->next = nullptr;
}

void TBaseSetOf::DeleteLinks(TElement *first) noexcept {
    TElement *link = first;
    while (link) {
        TElement *const next = link->next;
        delete link;
        link = next == first ? nullptr : next;
    }
}

void *TBaseSetOf::Cursor::Element() const noexcept {
    return fLink ? fLink->element : nullptr;
}

void *TBaseSetOf::Cursor::Next() noexcept {
    if (fLink)
        fLink = fSet->Following(fLink);
    return Element();
}

// Sparse arrays

class TBaseSparseArrayOf::TSparseArrayElement {
public:
    TSparseArrayElement(std::uint32_t at, void *what) noexcept : index(at), value(what) {}
    TSparseArrayElement(TSparseArrayElement const &) = delete;
    TSparseArrayElement &operator=(TSparseArrayElement const &) = delete;
    virtual ~TSparseArrayElement() = default;

    std::uint32_t const index;
    void *value;
};

TBaseSparseArrayOf::~TBaseSparseArrayOf() {
    DeleteEntries();
}

void TBaseSparseArrayOf::Set(unsigned long index, void *value) {
    if (!word32::Fits(index))
        fsReports.Raise<TInvalidParameter>("Index beyond 32 bits");
    unsigned long position;
    TSparseArrayElement *const entry = FindEntry(index, position);
    if (!entry) {
        Insert(position, index, value);
    } else if (!value) {
        Remove(position);
    } else if (value != entry->value) {
        void *const old = entry->value;
        entry->value = value;
        DeleteElement(old);
    }
}

void *TBaseSparseArrayOf::Find(unsigned long index) const noexcept {
    unsigned long position;
    TSparseArrayElement const *const entry = FindEntry(index, position);
    return entry ? entry->value : nullptr;
}

void *TBaseSparseArrayOf::FindIndex(unsigned long position, unsigned long &index) const noexcept {
    if (position >= fCount)
        return nullptr;
    index = fEntries[position]->index;
    return fEntries[position]->value;
}

TBaseSparseArrayOf::TSparseArrayElement *TBaseSparseArrayOf::FindEntry(unsigned long index,
                                                                       unsigned long &position) const noexcept {
    position = 0;
    if (fCount == 0 || index < fEntries[0]->index)
        return nullptr;
    // In each round, entry `low` has at most the wanted index, and all entries from `high` on have greater indexes.
    unsigned long low = 0;
    unsigned long high = fCount;
    while (high - low > 1) {
        unsigned long const middle = low + (high - low) / 2;
        (fEntries[middle]->index <= index ? low : high) = middle;
    }
    bool const found = fEntries[low]->index == index;
    position = found ? low : low + 1;
    return found ? fEntries[low] : nullptr;
}

unsigned long TBaseSparseArrayOf::QueryHighestIndex() const noexcept {
    return fCount ? fEntries[fCount - 1]->index : 0;
}

// Clears each pointer as DeleteSet() does.
void TBaseSparseArrayOf::DeleteArray() {
    for (std::uint32_t position = 0; position < fCount; ++position)
        DeleteElement(std::exchange(fEntries[position]->value, nullptr));
    DeleteEntries();
}

void TBaseSparseArrayOf::DeleteElement(void *) {
    TPureCall::Trap(*this, "TBaseSparseArrayOf::DeleteElement()");
}

void TBaseSparseArrayOf::Remove(unsigned long position) {
    TSparseArrayElement *const entry = fEntries[position];
    std::copy(fEntries + position + 1, fEntries + fCount, fEntries + position);
    --fCount;
    void *const value = entry->value;
    delete entry;
    DeleteElement(value);
}

void TBaseSparseArrayOf::Insert(unsigned long position, unsigned long index, void *value) {
    if (fCount == fCapacity)
        Grow();
    auto *const entry = New<TSparseArrayElement>(static_cast<std::uint32_t>(index), value);
    std::copy_backward(fEntries + position, fEntries + fCount, fEntries + fCount + 1);
    fEntries[position] = entry;
    ++fCount;
}

void TBaseSparseArrayOf::Grow() {
    std::uint64_t const capacity = fCapacity ? std::uint64_t{fCapacity} * 2 : 10;
    // No test gets here: an array would have to hold 4 billion elements.
    if (capacity > 0xFFFFFFFFu || capacity > SIZE_MAX / sizeof(void *))
        fsReports.RaiseOutOfMemory();
    // No test gets here: the limit of new[] is above that of the check.
    auto **const entries = new (std::nothrow) TSparseArrayElement *[static_cast<std::size_t>(capacity)];
    if (!entries)
        fsReports.RaiseOutOfMemory();
    std::copy(fEntries, fEntries + fCount, entries);
    delete[] fEntries;
    fEntries = entries;
    fCapacity = static_cast<std::uint32_t>(capacity);
}

void TBaseSparseArrayOf::DeleteEntries() noexcept {
    for (std::uint32_t position = 0; position < fCount; ++position)
        delete fEntries[position];
    delete[] fEntries;
    fEntries = nullptr;
    fCount = 0;
    fCapacity = 0;
}
