#include "tuzutil/TRACE.h"

#include <gtest/gtest.h>

TEST(TTrace, Example) {
    static TTrace::Category const fsSession(8, "Session");
    EXPECT_FALSE(TTrace::IsGlobalTracing(TTrace::warning, fsSession.QueryComponent()));
    TTrace::Base::fsRuntimeLevel = 0x8;
    TTrace::Base::fsRuntimeComponent = 0x8;
    EXPECT_TRUE(TTrace::IsGlobalTracing(TTrace::warning, fsSession.QueryComponent()));
    TTrace::Base::fsRuntimeLevel = 0;
    TTrace::Base::fsRuntimeComponent = 0;
}

TEST(TTrace, BothWordsMustAgree) {
    struct TRow {
        std::uint32_t levels, components, level, component;
        bool result;
    };
    TRow const rows[] = {{0, 0, 4, 1, false},      {4, 1, 4, 1, true},
                         {4, 0, 4, 1, false},      {0, 1, 4, 1, false},
                         {0xC, 9, 4, 8, true},     {0xC, 9, 4, 2, false},
                         {0xC, 9, 0x10, 8, false}, {0xFFFFFFFF, 0xFFFFFFFF, 0x80000000, 0x80000000, true}};
    for (TRow const &row : rows) {
        TTrace::Base::fsRuntimeLevel = row.levels;
        TTrace::Base::fsRuntimeComponent = row.components;
        EXPECT_EQ(TTrace::Base::IsGlobalTracing(row.level, row.component), row.result);
        EXPECT_EQ(TTrace::IsGlobalTracing(row.level, row.component), row.result);
    }
    TTrace::Base::fsRuntimeLevel = 0;
    TTrace::Base::fsRuntimeComponent = 0;
}

TEST(TTraceCategory, IsEqualByComponentAndName) {
    TTrace::Category const a(1, "Name");
    EXPECT_TRUE(a == TTrace::Category(1, TString("Name")));
    EXPECT_TRUE(a.IsEqual(TTrace::Category(1, "Name")));
    EXPECT_FALSE(a == TTrace::Category(2, "Name"));
    EXPECT_FALSE(a == TTrace::Category(1, "name"));
}

TEST(TTraceCategory, IsOrderedByComponentThenName) {
    EXPECT_TRUE(TTrace::Category(1, "b") < TTrace::Category(2, "a"));
    EXPECT_FALSE(TTrace::Category(2, "a") < TTrace::Category(1, "b"));
    EXPECT_TRUE(TTrace::Category(1, "a") < TTrace::Category(1, "b"));
    EXPECT_FALSE(TTrace::Category(1, "a") < TTrace::Category(1, "a"));
    EXPECT_TRUE(TTrace::Category(1, "a") < TTrace::Category(0x80000000ul, "a"));
}

TEST(TTraceCategory, CopiesAreEqual) {
    TTrace::Category copy(TUtilityTraceCategory::String);
    EXPECT_TRUE(copy == TUtilityTraceCategory::String);
    copy = TUtilityTraceCategory::Queue;
    EXPECT_TRUE(copy.QueryString() == "Queue");
}

TEST(TUtilityTraceCategory, HoldsTheTwelveCategoriesOfTheLibrary) {
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
    for (TRow const &row : rows) {
        EXPECT_STREQ(static_cast<char *>(row.category.QueryString()), row.name);
        EXPECT_EQ(row.category.QueryComponent(), 1u);
    }
}
