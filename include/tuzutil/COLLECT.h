#ifndef TUZUTIL_COLLECT_H
#define TUZUTIL_COLLECT_H

// TSetOf, TKeySetOf, TSetOfCopy, TSparseArrayOf: lists and sparse arrays that own what they hold.
//
// Example:
//     TSetOf<TString> names;
//     names.Add(new TString("INBOX"));
//     names.Add(new TString("Drafts"));
//     TSetOf<TString>::Cursor cursor(names);
//     for (TString *name = cursor.Element(); name; name = cursor.Next())
//         std::cout << *name << '\n'; // in the order of insertion
//
// Ownership:  A set deletes its elements when it is destroyed, except those that were cut off (see TBaseSetOf::Add()).
//             Remove() deletes no element. A sparse array deletes a value when Set() replaces or removes it, and
//             deletes all values when the array is destroyed. A TElemPointer does not own the object that it refers to.
// Threads:    Collections take no lock. REQUIRES: if several threads use a collection, the program guards it.
// Failures:   TOutOfMemory if there is no memory for a link or an entry. If an index needs more than 32 bits, Set()
//             throws TInvalidParameter "Index beyond 32 bits" and changes nothing. Finding functions return null if
//             there is no such index, position or key. Remove() ignores an element that is not in the set. Exceptions
//             of elements and keys reach the caller. If copying an element throws during an assignment, the list has
//             the copies made so far.
// Surprises:
// - Positions are 0-based. Add(element, position) rarely inserts at that position: see TBaseSetOf::Add().
// - DeleteSet() leaves the count as it is.
// - In a sparse array, setting null adds an entry if the index has none. If the index has an entry, setting null
//   removes this entry.
template <typename T>
class TSetOf;

#include "tuzutil/EXPORT.h"
#include "tuzutil/PURETRAP.h"

#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

// The base of the typed sets: a list of untyped pointers in the order of insertion.
class TUZUTIL_API TBaseSetOf {
public:
    class Cursor;

    TBaseSetOf(TBaseSetOf const &) = delete;
    TBaseSetOf &operator=(TBaseSetOf const &) = delete;
    virtual ~TBaseSetOf(); // deletes the links, not the elements

    void Add(void *element); // appends; one pointer may be added several times
    // If the position is 0 or not less than the count, appends the element. At any other position, puts the new link
    // between the last link and the first one. The chain of links is then circular, and the new link counts as the
    // first link and as the last one. The count grows by 2. A cursor stops before it would return to the first link. If
    // the next change of the set is another Add(), that Add() cuts off all links that existed before the circle was
    // made. Their elements are then no longer in the set, and the set never deletes these elements.
    void Add(void *element, unsigned long position);
    void Remove(void *element); // removes the first link that holds the pointer; does not destroy the element
    void *Find(unsigned long index) const noexcept; // null if the index is not less than the count
    // Returns the count, which is not always the number of elements: see Add() and DeleteSet().
    unsigned long GetNumberElements() const noexcept { return fCount; }

protected:
    TBaseSetOf() noexcept = default;

    // Deletes the links of the chain and their elements. The count stays as it is. If DeleteElement() throws, the links
    // remain, with null for each element that DeleteElement() has received.
    void DeleteSet();
    // Destroys one element, which may be null. Subclasses must override this function: the base's version calls
    // TPureCall::Trap().
    virtual void DeleteElement(void *element);

private:
    class TElement;

    TElement *GetFirst() const noexcept { return fFirst; }
    TElement *Following(TElement const *link) const noexcept; // null if no link follows, or if the first link follows
    TElement *Preceding(TElement const *link) const noexcept;
    void Detach() noexcept;
    void DeleteLinks(TElement *first) noexcept;

    std::uint32_t fCount = 0;
    TElement *fFirst = nullptr;
    TElement *fLast = nullptr;
    TElement *fDetached = nullptr; // links that Add() has cut off; the destructor deletes them
};

// A place in a set. REQUIRES: while the cursor is used, its link is not removed.
class TUZUTIL_API TBaseSetOf::Cursor {
public:
    void *Element() const noexcept;                  // null at the end
    void *Next() noexcept;                           // moves on; returns the pointer there, or null at the end
    bool IsAtEnd() const noexcept { return !fLink; } // distinguishes the end from a null element

protected:
    // Begins at the first link.
    explicit Cursor(TBaseSetOf const &set) noexcept : fSet(&set), fLink(set.GetFirst()) {}

private:
    TBaseSetOf const *fSet;
    TElement *fLink;
};

template <typename T>
class TSetOf : public TBaseSetOf {
public:
    TSetOf() noexcept = default;
    ~TSetOf() override { DeleteSet(); }

    // These functions do the same as those of TBaseSetOf, for elements of the class T.
    void Add(T *element) { TBaseSetOf::Add(element); }
    // Takes ownership of the element. If there is no memory for the link, deletes the element and throws TOutOfMemory.
    void Add(std::unique_ptr<T> element) {
        TBaseSetOf::Add(element.get());
        static_cast<void>(element.release());
    }
    void Add(T *element, unsigned long position) { TBaseSetOf::Add(element, position); }
    void Remove(T *element) { TBaseSetOf::Remove(element); }
    T *Find(unsigned long index) const noexcept { return static_cast<T *>(TBaseSetOf::Find(index)); }

    // A place in a set. REQUIRES: while the cursor is used, the element at its place is not removed.
    class Cursor : public TBaseSetOf::Cursor {
    public:
        explicit Cursor(TSetOf const &set) noexcept : TBaseSetOf::Cursor(set) {} // at the first element

        T *Element() const noexcept { return static_cast<T *>(TBaseSetOf::Cursor::Element()); } // null at the end
        // Moves on. Returns the element there, or null at the end.
        T *Next() noexcept { return static_cast<T *>(TBaseSetOf::Cursor::Next()); }
    };

protected:
    // Deletes an element of the class T.
    void DeleteElement(void *element) override { delete static_cast<T *>(element); }
};

// A list that finds its elements by a key. REQUIRES: T has a function Key(). Keys are compared with IsEqual(), or with
// == if they have no IsEqual().
template <typename T, typename K>
class TKeySetOf : public TSetOf<T> {
public:
    // Returns the first element, in the order of insertion, that has this key. Returns null if there is none. Null
    // elements are skipped.
    T *FindKey(K const &key) const {
        for (typename TSetOf<T>::Cursor cursor(*this); !cursor.IsAtEnd(); cursor.Next()) {
            T *const element = cursor.Element();
            if (element && AreEqual(element->Key(), key))
                return element;
        }
        return nullptr;
    }

private:
    template <typename Key, typename = void>
    struct HasIsEqual : std::false_type {};
    template <typename Key>
    struct HasIsEqual<Key, std::void_t<decltype(std::declval<Key const &>().IsEqual(std::declval<Key const &>()))>>
        : std::true_type {};

    static bool AreEqual(K const &a, K const &b) {
        if constexpr (HasIsEqual<K>::value)
            return a.IsEqual(b) != 0;
        else
            return a == b;
    }
};

// A list that can be copied: the copy holds copies of the elements.
template <typename T>
class TSetOfCopy : public TSetOf<T> {
public:
    TSetOfCopy() noexcept = default;
    TSetOfCopy(TSetOfCopy const &other) : TSetOf<T>() { AddCopies(other); }
    // Deletes the elements of this list, and then copies those of the other list.
    TSetOfCopy &operator=(TSetOfCopy const &other) {
        if (this != &other) {
            for (;;) {
                typename TSetOf<T>::Cursor const first(*this);
                if (first.IsAtEnd())
                    break;
                std::unique_ptr<T> const element(first.Element());
                this->Remove(element.get());
            }
            AddCopies(other);
        }
        return *this;
    }
    ~TSetOfCopy() override = default;

private:
    void AddCopies(TSetOfCopy const &other) {
        for (typename TSetOf<T>::Cursor cursor(other); !cursor.IsAtEnd(); cursor.Next()) {
            T const *const element = cursor.Element();
            this->Add(element ? std::make_unique<T>(*element) : nullptr);
        }
    }
};

// An element that refers to an object without owning it.
template <typename T>
class TElemPointer {
public:
    explicit TElemPointer(T *target) noexcept : fTarget(target) {} // the target may be null

    T *Pointer() const noexcept { return fTarget; }       // the target
    decltype(auto) Key() const { return fTarget->Key(); } // REQUIRES: the target is not null

private:
    T *fTarget;
};

// The base of the typed sparse arrays: untyped values, sorted by their indexes.
class TUZUTIL_API TBaseSparseArrayOf {
public:
    TBaseSparseArrayOf(TBaseSparseArrayOf const &) = delete;
    TBaseSparseArrayOf &operator=(TBaseSparseArrayOf const &) = delete;
    virtual ~TBaseSparseArrayOf(); // deletes the entries, not the values

protected:
    class TSparseArrayElement;

    TBaseSparseArrayOf() noexcept = default;

    // These functions do the same as those of TSparseArrayOf, for untyped values.
    void Set(unsigned long index, void *value);
    void *Find(unsigned long index) const noexcept;
    void *FindIndex(unsigned long position, unsigned long &index) const noexcept;
    // Returns the entry at the index and stores its position. If there is no such entry, returns null and stores the
    // position at which the entry would be inserted.
    TSparseArrayElement *FindEntry(unsigned long index, unsigned long &position) const noexcept;
    unsigned long QueryHighestIndex() const noexcept; // 0 if the array is empty
    // Returns the number of entries, including those without a value.
    unsigned long QueryCount() const noexcept { return fCount; }
    unsigned long QueryCapacity() const noexcept { return fCapacity; } // the number of entries for which there is room
    // Deletes the values and the entries. If DeleteElement() throws, the entries remain, with null for each value that
    // DeleteElement() has received.
    void DeleteArray();
    // Destroys one value, which may be null. Subclasses must override this function: the base's version calls
    // TPureCall::Trap().
    virtual void DeleteElement(void *value);

private:
    void Remove(unsigned long position);
    void Insert(unsigned long position, unsigned long index, void *value);
    void Grow();
    void DeleteEntries() noexcept;

    std::uint32_t fCount = 0;
    std::uint32_t fCapacity = 0;
    TSparseArrayElement **fEntries = nullptr;
};

// An array that owns values of one type and finds them by their indexes.
template <typename T>
class TSparseArrayOf : public TBaseSparseArrayOf {
public:
    TSparseArrayOf() noexcept = default;
    ~TSparseArrayOf() override { DeleteArray(); }

    // Stores a value at this index, and deletes the value that it replaces, unless both are the same object. Null
    // removes the entry at this index or, if there is no entry, adds one without a value.
    void Set(unsigned long index, T *value) { TBaseSparseArrayOf::Set(index, value); }
    // Returns the value at this index, or null if there is no entry or the entry has no value.
    T *Find(unsigned long index) const noexcept { return static_cast<T *>(TBaseSparseArrayOf::Find(index)); }
    // Returns the value at this position in the order of the indexes, and stores its index. Returns null if the
    // position is not less than the count.
    T *FindIndex(unsigned long position, unsigned long &index) const noexcept {
        return static_cast<T *>(TBaseSparseArrayOf::FindIndex(position, index));
    }
    using TBaseSparseArrayOf::DeleteArray;
    using TBaseSparseArrayOf::QueryCapacity;
    using TBaseSparseArrayOf::QueryCount;
    using TBaseSparseArrayOf::QueryHighestIndex;

protected:
    // Deletes a value of the class T.
    void DeleteElement(void *value) override { delete static_cast<T *>(value); }
};

#endif
