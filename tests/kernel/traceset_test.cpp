#include "tuzutil/TRACE.h"
#include "tuzutil/TRACESET.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <thread>
#include <vector>

namespace {

std::vector<TTrace::Category const *> Registered() {
    std::vector<TTrace::Category const *> categories;
    std::unique_ptr<TTraceSetKnownCursor> const cursor(TTrace::ListClasses());
    for (TTrace::Category const *category = cursor->Element(); category; category = cursor->Next())
        categories.push_back(category);
    EXPECT_EQ(cursor->Element(), nullptr);
    EXPECT_EQ(cursor->Next(), nullptr);
    return categories;
}

} // namespace

TEST(TTraceCategory, IsEqualByComponentAndName) {
    static TTrace::Category const a(1, "Equal"), same(1, TString("Equal")), component(2, "Equal"), name(1, "equal");
    EXPECT_TRUE(a == same);
    EXPECT_TRUE(a.IsEqual(same));
    EXPECT_FALSE(a == component);
    EXPECT_FALSE(a == name);
}

TEST(TTraceCategory, IsOrderedByComponentThenName) {
    static TTrace::Category const a1(1, "a"), b1(1, "b"), a2(2, "a"), a32(0x80000000ul, "a");
    EXPECT_TRUE(b1 < a2);
    EXPECT_FALSE(a2 < b1);
    EXPECT_TRUE(a1 < b1);
    EXPECT_FALSE(a1 < a1);
    EXPECT_TRUE(a1 < a32);
}

TEST(TTraceCategory, CopiesAreEqualAndDoNotRegister) {
    auto const before = Registered().size();
    TTrace::Category copy(TUtilityTraceCategory::String);
    EXPECT_TRUE(copy == TUtilityTraceCategory::String);
    copy = TUtilityTraceCategory::Queue;
    EXPECT_TRUE(copy.QueryString() == "Queue");
    EXPECT_EQ(Registered().size(), before);
}

TEST(TTraceCategory, JoinsTheRegistryWhenConstructedAndStays) {
    static TTrace::Category const category(8, "Joins");
    EXPECT_EQ(Registered().back(), &category);
    EXPECT_EQ(TTrace::FindCategory("joins"), &category);
    auto const before = Registered().size();
    TTrace::Register(category);
    EXPECT_EQ(Registered().size(), before + 1);
    EXPECT_EQ(TTrace::Base::fsKnownCategories.GetNumberElements(), before + 1);
}

TEST(TUtilityTraceCategory, RegistersTheTwelveCategoriesInOrder) {
    struct TRow {
        TTrace::Category const &category;
        char const *name;
    };
    TRow const rows[] = {
        {TUtilityTraceCategory::TagVar, "TagVar"},       {TUtilityTraceCategory::NLSResource, "NLSResource"},
        {TUtilityTraceCategory::Message, "Message"},     {TUtilityTraceCategory::Trace, "Trace"},
        {TUtilityTraceCategory::Queue, "Queue"},         {TUtilityTraceCategory::Utility, "Utility"},
        {TUtilityTraceCategory::String, "String"},       {TUtilityTraceCategory::Factory, "Factory"},
        {TUtilityTraceCategory::CrtMsg, "CRTmsg"},       {TUtilityTraceCategory::MemStream, "MemStream"},
        {TUtilityTraceCategory::OleStream, "OleStream"}, {TUtilityTraceCategory::Directory, "Directory"}};
    auto const registered = Registered();
    ASSERT_GE(registered.size(), 12u);
    for (std::size_t i = 0; i < 12; ++i) {
        EXPECT_STREQ(static_cast<char *>(rows[i].category.QueryString()), rows[i].name);
        EXPECT_EQ(rows[i].category.QueryComponent(), 1u);
        EXPECT_EQ(registered[i], &rows[i].category);
    }
}

TEST(TTraceFindCategory, IgnoresCaseAndComponent) {
    EXPECT_EQ(TTrace::FindCategory("tagvar"), &TUtilityTraceCategory::TagVar);
    EXPECT_EQ(TTrace::FindCategory("CrtMsg"), &TUtilityTraceCategory::CrtMsg);
    EXPECT_EQ(TTrace::FindCategory("no such category"), nullptr);
    static TTrace::Category const twin(4, "Queue");
    EXPECT_FALSE(twin == TUtilityTraceCategory::Queue);
    EXPECT_EQ(TTrace::FindCategory("QUEUE"), &TUtilityTraceCategory::Queue);
}

TEST(TTraceComponents, NamesOfMasks) {
    struct TRow {
        unsigned long mask;
        char const *name;
    };
    TRow const rows[] = {{0, ""},
                         {1, "Utility"},
                         {2, "MMToolkits"},
                         {4, "Game"},
                         {8, "Protocol"},
                         {0x10, "Reserved5"},
                         {6, "MMToolkits"},
                         {0x80000000ul, "Reserved32"},
                         {0xFFFFFFFFul, "Utility"}};
    for (TRow const &row : rows)
        EXPECT_TRUE(TTrace::QueryComponentName(row.mask) == row.name) << row.mask;
    for (unsigned int index = 4; index < 32; ++index)
        EXPECT_TRUE(TTrace::QueryComponentName(1ul << index) == TString("Reserved") + TString(index + 1ul)) << index;
}

TEST(TTraceComponents, BitsBeyond32HaveNoName) {
    unsigned long const bit32 = 0xFFFFFFFFul + 1; // 0 where there is no such bit
    EXPECT_STREQ(static_cast<char *>(TTrace::QueryComponentName(bit32)), "");
    EXPECT_STREQ(static_cast<char *>(TTrace::QueryComponentName(bit32 | 6)), "MMToolkits");
    EXPECT_STREQ(static_cast<char *>(TTrace::QueryComponentName(~0ul)), "Utility");
}

TEST(TTraceCategory, OfAComponentBeyond32BitsIsOfNone) {
    unsigned long const bit32 = 0xFFFFFFFFul + 1;
    static TTrace::Category const beyond(bit32 == 0 ? 0 : bit32 | 1, "Beyond"),
        sign(static_cast<unsigned long>(1L << 31), "Sign"), all(~0ul, "All");
    EXPECT_EQ(beyond.QueryComponent(), 0u);
    EXPECT_EQ(sign.QueryComponent(), 0x80000000u);
    EXPECT_EQ(all.QueryComponent(), 0xFFFFFFFFu);
}

TEST(TTraceComponents, MasksOfNames) {
    struct TRow {
        char const *name;
        unsigned long mask;
    };
    TRow const rows[] = {{"protocol", 8},
                         {"Utility", 1},
                         {"RESERVED32", 0x80000000ul},
                         {"1", 1},
                         {"4", 8},
                         {"32", 0x80000000ul},
                         {"0", 0x80000000ul},
                         {"33", 1},
                         {"4294967295", 0x40000000ul},
                         {"99999999999", 0x40000000ul},
                         {"no such component", 0},
                         {"", 0},
                         {nullptr, 0},
                         {"-1", 0}};
    for (TRow const &row : rows)
        EXPECT_EQ(TTrace::QueryComponentFromName(row.name), row.mask) << (row.name ? row.name : "null");
}

TEST(TTraceSetKnown, MayGrowInManyThreadsWhileItIsWalked) {
    static TTraceSetKnown set;
    constexpr int fsThreads = 4;
    constexpr int fsEach = 500;
    std::vector<std::thread> threads;
    for (int i = 0; i < fsThreads; ++i) {
        threads.emplace_back([] {
            for (int k = 0; k < fsEach; ++k) {
                set.Add(&TUtilityTraceCategory::Queue);
                for (TTraceSetKnownCursor cursor(set); cursor.Element(); cursor.Next())
                    ASSERT_EQ(cursor.Element(), &TUtilityTraceCategory::Queue);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(set.GetNumberElements(), static_cast<unsigned long>(fsThreads * fsEach));
}

TEST(TraceCategory, AssignedToItselfKeepsItsNameAndComponent) {
    TTrace::Category category(4, "own");
    TTrace::Category const &same = category;
    category = same;
    EXPECT_EQ(category.QueryComponent(), 4u);
    EXPECT_STREQ(category.QueryString().c_str(), "own");
}
