#include "tuzutil/COLLECT.h"

#include "support/Expect.h"
#include "support/PureCall.h"
#include "tuzutil/TSTRING.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

// A value that tells when it is deleted.
struct Value {
    explicit Value(int n, std::vector<int> *log = nullptr) : number(n), deleted(log) {}
    Value(Value const &) = default;
    ~Value() {
        if (deleted)
            deleted->push_back(number);
    }
    int Key() const { return number; }

    int number;
    std::vector<int> *deleted;
};

// The base class as it is: elements are pointers to ints that the test owns.
class TIntSet : public TBaseSetOf {
public:
    ~TIntSet() override { DeleteSet(); }
    using TBaseSetOf::DeleteSet;
    std::vector<int *> deleted;

    class Cursor : public TBaseSetOf::Cursor {
    public:
        explicit Cursor(TIntSet const &set) : TBaseSetOf::Cursor(set) {}
    };

protected:
    void DeleteElement(void *element) override { deleted.push_back(static_cast<int *>(element)); }
};

class TPureSet : public TBaseSetOf {
public:
    using TBaseSetOf::DeleteSet;
};

std::vector<int> NumbersOf(TIntSet const &set) {
    std::vector<int> numbers;
    TIntSet::Cursor cursor(set);
    for (void *element = cursor.Element(); element; element = cursor.Next())
        numbers.push_back(*static_cast<int *>(element));
    return numbers;
}

class TIntArray : public TBaseSparseArrayOf {
public:
    ~TIntArray() override { DeleteArray(); }
    using TBaseSparseArrayOf::DeleteArray;
    using TBaseSparseArrayOf::Find;
    using TBaseSparseArrayOf::FindEntry;
    using TBaseSparseArrayOf::FindIndex;
    using TBaseSparseArrayOf::QueryCapacity;
    using TBaseSparseArrayOf::QueryCount;
    using TBaseSparseArrayOf::QueryHighestIndex;
    using TBaseSparseArrayOf::Set;
    std::vector<void *> deleted;

    bool Has(unsigned long index, unsigned long &position) const { return FindEntry(index, position) != nullptr; }

protected:
    void DeleteElement(void *value) override { deleted.push_back(value); }
};

class TPureArray : public TBaseSparseArrayOf {
public:
    using TBaseSparseArrayOf::Set;
};

} // namespace

TEST(Collections, Example) {
    TSetOf<TString> names;
    names.Add(new TString("INBOX"));
    names.Add(new TString("Drafts"));
    std::ostringstream out;
    TSetOf<TString>::Cursor cursor(names);
    for (TString *name = cursor.Element(); name; name = cursor.Next())
        out << *name << '\n';
    EXPECT_EQ(out.str(), "INBOX\nDrafts\n");
}

TEST(Set, EmptySetHasNothing) {
    TIntSet const set;
    EXPECT_EQ(set.Find(0), nullptr);
    EXPECT_EQ(set.GetNumberElements(), 0u);
    TIntSet::Cursor cursor(set);
    EXPECT_EQ(cursor.Element(), nullptr);
    EXPECT_EQ(cursor.Next(), nullptr);
}

TEST(Set, ElementsStandInTheOrderOfInsertion) {
    int a = 1, b = 2;
    TIntSet set;
    set.Add(&a);
    set.Add(&b);
    EXPECT_EQ(set.Find(0), &a);
    EXPECT_EQ(set.Find(1), &b);
    EXPECT_EQ(set.Find(2), nullptr);
    EXPECT_EQ(set.Find(0xFFFFFFFF), nullptr);
    EXPECT_EQ(set.GetNumberElements(), 2u);
}

TEST(Set, RemoveLeavesTheOtherAsFirstAndLast) {
    int a = 1, b = 2, c = 3;
    TIntSet set;
    set.Add(&a);
    set.Add(&b);
    set.Remove(&a);
    EXPECT_EQ(set.Find(0), &b);
    EXPECT_EQ(set.GetNumberElements(), 1u);
    set.Add(&c);
    EXPECT_EQ(NumbersOf(set), (std::vector<int>{2, 3}));
    set.Remove(&c);
    set.Add(&a);
    EXPECT_EQ(NumbersOf(set), (std::vector<int>{2, 1}));
    EXPECT_TRUE(set.deleted.empty());
}

TEST(Set, RemoveTakesTheFirstOfEqualPointersOnlyAndIgnoresUnknownOnes) {
    int a = 1, b = 2, c = 3;
    TIntSet set;
    set.Add(&a);
    set.Add(&b);
    set.Add(&a);
    set.Remove(&c);
    EXPECT_EQ(set.GetNumberElements(), 3u);
    set.Remove(&a);
    EXPECT_EQ(NumbersOf(set), (std::vector<int>{2, 1}));
    set.Remove(&b);
    set.Remove(&a);
    EXPECT_EQ(set.GetNumberElements(), 0u);
    set.Add(&c);
    EXPECT_EQ(NumbersOf(set), (std::vector<int>{3}));
}

TEST(Set, CursorStandsOnTheFirstAndEndsBehindTheLast) {
    int a = 1, b = 2;
    TIntSet set;
    set.Add(&a);
    set.Add(&b);
    TIntSet::Cursor cursor(set);
    EXPECT_EQ(cursor.Element(), &a);
    EXPECT_EQ(cursor.Next(), &b);
    EXPECT_EQ(cursor.Element(), &b);
    EXPECT_EQ(cursor.Next(), nullptr);
    EXPECT_EQ(cursor.Element(), nullptr);
    EXPECT_EQ(cursor.Next(), nullptr);
}

TEST(Set, PositionAtOrBehindTheEndAndPositionZeroAppend) {
    int a = 1, b = 2, c = 3, d = 4;
    TIntSet set;
    set.Add(&a, 5);
    set.Add(&b, 1);
    set.Add(&c, 0);
    set.Add(&d, 0xFFFFFFFF);
    EXPECT_EQ(NumbersOf(set), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(set.GetNumberElements(), 4u);
}

TEST(Set, PositionInTheMiddleMakesTheChainCircularAndAddsTwoToTheCount) {
    int a = 1, b = 2, c = 3;
    TIntSet set;
    set.Add(&a);
    set.Add(&b);
    set.Add(&c, 1);
    EXPECT_EQ(set.GetNumberElements(), 4u);
    EXPECT_EQ(set.Find(0), &c);
    EXPECT_EQ(set.Find(1), &a);
    EXPECT_EQ(set.Find(2), &b);
    EXPECT_EQ(set.Find(3), &c); // around
    EXPECT_EQ(set.Find(4), nullptr);
    EXPECT_EQ(NumbersOf(set), (std::vector<int>{3, 1, 2}));
    set.DeleteSet();
    EXPECT_EQ(set.deleted, (std::vector<int *>{&c, &a, &b}));
}

TEST(Set, AddToACircularChainCutsItBehindItsFirst) {
    int a = 1, b = 2, c = 3, d = 4, e = 5;
    TIntSet set;
    set.Add(&a);
    set.Add(&b);
    set.Add(&c, 1);
    set.Add(&d);
    EXPECT_EQ(NumbersOf(set), (std::vector<int>{3, 4}));
    EXPECT_EQ(set.GetNumberElements(), 5u);
    EXPECT_EQ(set.Find(2), nullptr);
    set.Add(&e, 1);
    set.Add(&a, 2);
    set.Add(&b);
    EXPECT_EQ(set.Find(1000), nullptr);
}

TEST(Set, RemoveFromACircularChainKeepsItWhole) {
    int numbers[4] = {1, 2, 3, 4};
    for (int victim = 0; victim < 4; ++victim) {
        TIntSet set;
        for (int at = 0; at < 3; ++at)
            set.Add(&numbers[at]);
        set.Add(&numbers[3], 1); // 4 1 2 3, and around
        set.Remove(&numbers[victim]);
        std::vector<int> expected = {4, 1, 2, 3};
        expected.erase(std::find(expected.begin(), expected.end(), victim + 1));
        EXPECT_EQ(NumbersOf(set), expected) << victim;
        for (int &number : numbers)
            set.Remove(&number);
        EXPECT_EQ(NumbersOf(set), std::vector<int>()) << victim;
        set.Add(&numbers[0]);
        EXPECT_EQ(NumbersOf(set), std::vector<int>{1}) << victim;
    }
}

TEST(Set, AnyMixOfOperationsEnds) {
    int numbers[5] = {1, 2, 3, 4, 5};
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        TIntSet set;
        for (int step = 0; step < 12; ++step) {
            int *const number = &numbers[random() % 5];
            switch (random() % 5) {
            case 0: set.Add(number); break;
            case 1: set.Add(number, random() % 6); break;
            case 2: set.Remove(number); break;
            case 3: set.Find(random() % 20); break;
            default:
                if (random() % 4 == 0)
                    set.DeleteSet();
            }
            EXPECT_LE(NumbersOf(set).size(), 12u);
        }
    }
}

TEST(Set, DeleteSetLeavesTheCountAndASecondCallDoesNothing) {
    int a = 1, b = 2;
    TIntSet set;
    set.Add(&a);
    set.Add(&b);
    set.DeleteSet();
    EXPECT_EQ(set.deleted, (std::vector<int *>{&a, &b}));
    EXPECT_EQ(set.GetNumberElements(), 2u);
    EXPECT_EQ(set.Find(0), nullptr);
    set.DeleteSet();
    EXPECT_EQ(set.deleted.size(), 2u);
}

TEST(Set, AfterDeleteSetAddBeginsAFreshChain) {
    int a = 1, b = 2, c = 3;
    TIntSet set;
    set.Add(&a);
    set.Add(&b);
    set.DeleteSet();
    set.Remove(&a);
    set.Add(&c, 1);
    EXPECT_EQ(NumbersOf(set), (std::vector<int>{3}));
    EXPECT_EQ(set.GetNumberElements(), 3u);
    set.Add(&a);
    EXPECT_EQ(NumbersOf(set), (std::vector<int>{3, 1}));
}

TEST(Set, NullElementsAreElements) {
    int a = 1;
    TIntSet set;
    set.Add(nullptr);
    set.Add(&a);
    EXPECT_EQ(set.GetNumberElements(), 2u);
    EXPECT_EQ(set.Find(0), nullptr);
    EXPECT_EQ(set.Find(1), &a);
    set.DeleteSet();
    EXPECT_EQ(set.deleted, (std::vector<int *>{nullptr, &a}));
}

TEST(Set, TheBaseClassTrapsWhereElementsAreToBeDeleted) {
    int a = 1;
    TPureSet set;
    set.Add(&a);
    CallPure("class .*TPureSet does not override TBaseSetOf::DeleteElement", [&] {
        set.DeleteSet(); // the trap does nothing while nobody traces
        EXPECT_EQ(set.Find(0), nullptr);
    });
}

TEST(Set, TypedSetDeletesItsElementsInOrder) {
    std::vector<int> deleted;
    {
        TSetOf<Value> set;
        for (int number = 1; number <= 3; ++number)
            set.Add(new Value(number, &deleted));
        Value *const second = set.Find(1);
        set.Remove(second);
        EXPECT_TRUE(deleted.empty());
        delete second;
    }
    EXPECT_EQ(deleted, (std::vector<int>{2, 1, 3}));
}

TEST(KeySet, FindKeyGivesTheFirstMatchInOrderOfInsertion) {
    struct Named {
        TString name;
        int number;
        TString const &Key() const { return name; }
    };
    TKeySetOf<Named, TString> set;
    EXPECT_EQ(set.FindKey("a"), nullptr);
    set.Add(new Named{"a", 1});
    set.Add(new Named{"b", 2});
    set.Add(new Named{"b", 3});
    ASSERT_NE(set.FindKey("b"), nullptr);
    EXPECT_EQ(set.FindKey("b")->number, 2);
    EXPECT_EQ(set.FindKey("c"), nullptr);
}

TEST(KeySet, KeysWithoutIsEqualAreComparedByEquality) {
    TKeySetOf<Value, int> set;
    set.Add(new Value(7));
    set.Add(new Value(8));
    EXPECT_EQ(set.FindKey(8), set.Find(1));
    EXPECT_EQ(set.FindKey(9), nullptr);
}

TEST(KeySet, KeysWithIsEqualAreComparedByIt) {
    struct Modulo {
        int number;
        int IsEqual(Modulo const &other) const { return number % 10 == other.number % 10; }
    };
    struct Element {
        Modulo key;
        Modulo Key() const { return key; }
    };
    TKeySetOf<Element, Modulo> set;
    set.Add(new Element{{12}});
    EXPECT_EQ(set.FindKey(Modulo{32}), set.Find(0));
    EXPECT_EQ(set.FindKey(Modulo{33}), nullptr);
}

TEST(SetOfCopy, CopiesHoldCopiesOfTheElements) {
    TSetOfCopy<Value> set;
    set.Add(new Value(1));
    set.Add(new Value(2));
    TSetOfCopy<Value> const copy(set);
    set.Find(0)->number = 9;
    ASSERT_EQ(copy.GetNumberElements(), 2u);
    EXPECT_EQ(copy.Find(0)->number, 1);
    EXPECT_EQ(copy.Find(1)->number, 2);

    TSetOfCopy<Value> assigned;
    assigned.Add(new Value(5));
    assigned = copy;
    ASSERT_EQ(assigned.GetNumberElements(), 2u);
    EXPECT_EQ(assigned.Find(0)->number, 1);
    TSetOfCopy<Value> const &same = assigned;
    assigned = same;
    EXPECT_EQ(assigned.GetNumberElements(), 2u);
}

TEST(KeySet, NullElementsHaveNoKey) {
    TKeySetOf<Value, int> set;
    set.Add(nullptr);
    set.Add(new Value(1));
    set.Add(nullptr);
    set.Add(new Value(2));
    EXPECT_EQ(set.FindKey(1), set.Find(1));
    EXPECT_EQ(set.FindKey(2), set.Find(3));
    EXPECT_EQ(set.FindKey(3), nullptr);
}

TEST(SetOfCopy, NullElementsAreCopiedAndGivenUp) {
    std::vector<int> deleted;
    TSetOfCopy<Value> set;
    set.Add(nullptr);
    set.Add(new Value(1));
    set.Add(nullptr);
    TSetOfCopy<Value> const copy(set);
    ASSERT_EQ(copy.GetNumberElements(), 3u);
    EXPECT_EQ(copy.Find(0), nullptr);
    EXPECT_EQ(copy.Find(1)->number, 1);
    EXPECT_EQ(copy.Find(2), nullptr);

    TSetOfCopy<Value> assigned;
    assigned.Add(nullptr);
    assigned.Add(new Value(5, &deleted));
    assigned = copy;
    EXPECT_EQ(deleted, std::vector<int>{5});
    ASSERT_EQ(assigned.GetNumberElements(), 3u);
    EXPECT_EQ(assigned.Find(1)->number, 1);
}

TEST(Set, TheEndIsNoNullElement) {
    TIntSet set;
    EXPECT_TRUE(TIntSet::Cursor(set).IsAtEnd());
    set.Add(nullptr);
    TIntSet::Cursor cursor(set);
    EXPECT_FALSE(cursor.IsAtEnd());
    EXPECT_EQ(cursor.Next(), nullptr);
    EXPECT_TRUE(cursor.IsAtEnd());
}

TEST(ElemPointer, StandsForAnObjectThatItDoesNotOwn) {
    std::vector<int> deleted;
    Value value(4, &deleted);
    {
        TKeySetOf<TElemPointer<Value>, int> set;
        set.Add(new TElemPointer<Value>(&value));
        EXPECT_EQ(set.FindKey(4)->Pointer(), &value);
        EXPECT_EQ(set.Find(0)->Key(), 4);
    }
    EXPECT_TRUE(deleted.empty());
}

TEST(ElemPointer, TargetNeedsNoKeyWhereNobodyAsksForIt) {
    struct Keyless {};
    Keyless target;
    TSetOf<TElemPointer<Keyless>> set;
    set.Add(new TElemPointer<Keyless>(&target));
    EXPECT_EQ(set.Find(0)->Pointer(), &target);
}

TEST(SparseArray, EmptyArrayHasNothing) {
    TIntArray const array;
    unsigned long position = 7;
    unsigned long index = 7;
    EXPECT_EQ(array.Find(0), nullptr);
    EXPECT_EQ(array.FindIndex(0, index), nullptr);
    EXPECT_FALSE(array.Has(3, position));
    EXPECT_EQ(position, 0u);
    EXPECT_EQ(array.QueryHighestIndex(), 0u);
    EXPECT_EQ(array.QueryCount(), 0u);
    EXPECT_EQ(array.QueryCapacity(), 0u);
}

TEST(SparseArray, EntriesStandInTheOrderOfTheirIndexes) {
    int p = 1, q = 2, r = 3;
    TIntArray array;
    array.Set(5, &p);
    array.Set(1, &q);
    array.Set(9, &r);
    unsigned long index = 0;
    EXPECT_EQ(array.FindIndex(0, index), &q);
    EXPECT_EQ(index, 1u);
    EXPECT_EQ(array.FindIndex(1, index), &p);
    EXPECT_EQ(index, 5u);
    EXPECT_EQ(array.FindIndex(2, index), &r);
    EXPECT_EQ(index, 9u);
    EXPECT_EQ(array.FindIndex(3, index), nullptr);
    EXPECT_EQ(index, 9u);
    EXPECT_EQ(array.QueryHighestIndex(), 9u);
    EXPECT_EQ(array.QueryCount(), 3u);
    EXPECT_EQ(array.Find(5), &p);
    EXPECT_EQ(array.Find(4), nullptr);
}

TEST(SparseArray, NullRemovesAnEntryThatIsThere) {
    int p = 1, q = 2, r = 3;
    TIntArray array;
    array.Set(5, &p);
    array.Set(1, &q);
    array.Set(9, &r);
    array.Set(5, nullptr);
    EXPECT_EQ(array.deleted, (std::vector<void *>{&p}));
    EXPECT_EQ(array.Find(5), nullptr);
    EXPECT_EQ(array.QueryCount(), 2u);
    unsigned long index = 0;
    EXPECT_EQ(array.FindIndex(1, index), &r);
    EXPECT_EQ(index, 9u);
}

TEST(SparseArray, NullMakesAnEntryWhereThereIsNone) {
    TIntArray array;
    array.Set(3, nullptr);
    EXPECT_EQ(array.QueryCount(), 1u);
    EXPECT_EQ(array.QueryHighestIndex(), 3u);
    EXPECT_TRUE(array.deleted.empty());
    array.Set(3, nullptr);
    EXPECT_EQ(array.QueryCount(), 0u);
    EXPECT_EQ(array.deleted, (std::vector<void *>{nullptr}));
}

TEST(SparseArray, AnotherValueReplacesAndTheOldOneIsDeleted) {
    int p = 1, q = 2;
    TIntArray array;
    array.Set(5, &p);
    array.Set(5, &p);
    EXPECT_TRUE(array.deleted.empty());
    array.Set(5, &q);
    EXPECT_EQ(array.deleted, (std::vector<void *>{&p}));
    EXPECT_EQ(array.Find(5), &q);
    EXPECT_EQ(array.QueryCount(), 1u);
}

TEST(SparseArray, FindEntryTellsWhereAnIndexWouldStand) {
    int p = 1;
    TIntArray array;
    for (unsigned long index : {10ul, 20ul, 30ul, 40ul})
        array.Set(index, &p);
    struct Row {
        unsigned long index;
        bool found;
        unsigned long position;
    };
    Row const rows[] = {{0, false, 0}, {10, true, 0},  {11, false, 1}, {20, true, 1},         {25, false, 2},
                        {30, true, 2}, {39, false, 3}, {40, true, 3},  {0xFFFFFFFF, false, 4}};
    for (Row const &row : rows) {
        unsigned long position = 99;
        EXPECT_EQ(array.Has(row.index, position), row.found) << row.index;
        EXPECT_EQ(position, row.position) << row.index;
    }
}

TEST(SparseArray, CapacityIsTenAndThenDoubles) {
    int p = 1;
    TIntArray array;
    for (unsigned long index = 1; index <= 41; ++index) {
        array.Set(index * 7 % 43, &p);
        EXPECT_EQ(array.QueryCapacity(), index <= 10 ? 10u : index <= 20 ? 20u : index <= 40 ? 40u : 80u) << index;
        EXPECT_EQ(array.QueryCount(), index);
    }
}

TEST(SparseArray, DeleteArrayDeletesEveryValueAndEverythingElse) {
    int p = 1;
    TIntArray array;
    array.Set(2, &p);
    array.Set(1, nullptr);
    array.DeleteArray();
    EXPECT_EQ(array.deleted, (std::vector<void *>{nullptr, &p}));
    EXPECT_EQ(array.QueryCount(), 0u);
    EXPECT_EQ(array.QueryCapacity(), 0u);
    array.Set(4, &p);
    EXPECT_EQ(array.QueryHighestIndex(), 4u);
}

TEST(SparseArray, IndexesBeyond32BitsAreRefused) {
    TIntArray array;
    int values[3] = {1, 2, 3};
    array.Set(0, &values[0]);
    array.Set(0xFFFFFFFFul, &values[1]);
    unsigned long const beyond = 0xFFFFFFFFul + 1; // 0 where there is none
    if (beyond != 0) {
        TExpectedFailure const expected = {"Index beyond 32 bits", "src/utility/COLLECT"};
        ExpectThrows<TInvalidParameter>(expected, [&] { array.Set(beyond, &values[2]); });
        ExpectThrows<TInvalidParameter>(expected, [&] { array.Set(~0ul, nullptr); });
        EXPECT_EQ(array.Find(beyond), nullptr);
        EXPECT_EQ(array.Find(~0ul), nullptr);
    }
    EXPECT_EQ(array.QueryCount(), 2u);
    EXPECT_EQ(array.QueryHighestIndex(), 0xFFFFFFFFul);
    EXPECT_EQ(array.Find(0), &values[0]);
    EXPECT_EQ(array.Find(0xFFFFFFFFul), &values[1]);
    EXPECT_TRUE(array.deleted.empty());
}

TEST(SparseArray, RandomOperationsAgreeWithAMap) {
    std::mt19937 random(2);
    int values[3] = {1, 2, 3};
    for (int round = 0; round < 200; ++round) {
        TIntArray array;
        std::map<unsigned long, void *> expected;
        for (int step = 0; step < 60; ++step) {
            unsigned long const index = random() % 30;
            void *const value = random() % 3 ? &values[random() % 3] : nullptr;
            array.Set(index, value);
            if (value || !expected.count(index))
                expected[index] = value;
            else
                expected.erase(index);
        }
        ASSERT_EQ(array.QueryCount(), expected.size());
        unsigned long position = 0;
        for (auto const &[index, value] : expected) {
            unsigned long found = 99;
            EXPECT_EQ(array.FindIndex(position++, found), value);
            EXPECT_EQ(found, index);
            EXPECT_EQ(array.Find(index), value);
        }
    }
}

TEST(SparseArray, TheBaseClassTrapsWhereValuesAreToBeDeleted) {
    int a = 1;
    TPureArray array;
    array.Set(1, &a);
    CallPure("class .*TPureArray does not override TBaseSparseArrayOf::DeleteElement", [&] { array.Set(1, nullptr); });
}

TEST(SparseArray, TypedArrayOwnsItsValues) {
    std::vector<int> deleted;
    {
        TSparseArrayOf<Value> array;
        array.Set(7, new Value(7, &deleted));
        array.Set(3, new Value(3, &deleted));
        array.Set(5, new Value(5, &deleted));
        array.Set(5, nullptr);
        EXPECT_EQ(deleted, (std::vector<int>{5}));
        unsigned long index = 0;
        EXPECT_EQ(array.FindIndex(1, index)->number, 7);
        EXPECT_EQ(array.Find(3)->number, 3);
    }
    EXPECT_EQ(deleted, (std::vector<int>{5, 3, 7}));
}
