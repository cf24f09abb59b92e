// Texts that several threads share: each thread has strings of its own, and all of them lead to one buffer.

#include "tuzutil/tuzutil.h"

#include "utility/kernel/raise.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int fsThreads = 4;
constexpr int fsRounds = 20000;

std::uint32_t Count(TString const &text) {
    auto const *const buffer = reinterpret_cast<TStringBuffer const *>(static_cast<char *>(text)) - 1;
    return __atomic_load_n(&buffer->count, __ATOMIC_ACQUIRE);
}

// Runs the same in several threads that begin together.
template <typename Act>
void InThreads(Act act) {
    std::atomic<int> waiting{fsThreads};
    std::vector<std::thread> threads;
    for (int i = 0; i < fsThreads; ++i) {
        threads.emplace_back([&] {
            for (--waiting; waiting != 0;)
                std::this_thread::yield();
            for (int round = 0; round < fsRounds; ++round)
                act();
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}

// Copies, assigns, moves and drops the text in every thread. Its count must be the same afterwards: one that is too low
// deallocates a buffer that is in use, one that is too high never deallocates it.
void ShareAmongThreads(TString const &text) {
    ASSERT_FALSE(text.IsNull());
    std::string const before(static_cast<char const *>(text), text.length());
    std::uint32_t const count = Count(text);
    std::atomic<int> wrong{0};
    InThreads([&] {
        TString const copy(text);
        TString assigned("other");
        assigned = copy;
        TString const moved(static_cast<TString &&>(assigned));
        wrong += static_cast<char *>(moved) != static_cast<char *>(text);
    });
    EXPECT_EQ(Count(text), count);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(std::string(static_cast<char const *>(text), text.length()), before);
}

} // namespace

TEST(SharedTextsOfThreads, AStaticTextMayBeCopiedAndDroppedByAllThreads) {
    static TString const greeting("+OK ready");
    ShareAmongThreads(greeting);
}

TEST(SharedTextsOfThreads, TheNameOfAStoreMayBeUsedByMessagesOfAllThreads) {
    static TTextMessage::StoreID const store(TString("SharedTexts"), ExplicitInit);
    std::uint32_t const count = Count(store);
    std::atomic<int> wrong{0};
    InThreads([&] {
        TTextMessage const message(store, 1, 17, "%u messages", 5u);
        wrong += message.QueryMessage() != "5 messages";
    });
    EXPECT_EQ(Count(store), count);
    EXPECT_EQ(wrong, 0);
    ShareAmongThreads(store);
}

TEST(SharedTextsOfThreads, TheLibrarysOwnStaticTextsMayBeCopiedByAllThreads) {
    TFactoryLoaderBase::AddLibpath("libraries");
    TTrace::QueryExeFileName();
    TString const *const texts[] = {
        &TFileName::fsDelimLocal,   &TFileName::fsDelimUnicode,       &TDirectory::fsSeparator,
        &TSearchNLSPath::fsLang_C,  &TSearchNLSPath::fsDefaultLocale, &TSearchNLSPath::fsLang,
        &TSearchNLSPath::fsNLSpath, &TFactoryLoaderBase::fsLibpath,   &TTrace::fsExeFileName};
    for (TString const *text : texts) {
        SCOPED_TRACE(static_cast<char const *>(*text));
        ShareAmongThreads(*text);
    }
}

TEST(SharedTextsOfThreads, TheNamesOfTheLibrarysCategoriesMayBeCopiedByAllThreads) {
    for (TTrace::Category const *category :
         {&TUtilityTraceCategory::TagVar, &TUtilityTraceCategory::NLSResource, &TUtilityTraceCategory::Message,
          &TUtilityTraceCategory::Trace, &TUtilityTraceCategory::Queue, &TUtilityTraceCategory::Utility,
          &TUtilityTraceCategory::String, &TUtilityTraceCategory::Factory, &TUtilityTraceCategory::CrtMsg,
          &TUtilityTraceCategory::MemStream, &TUtilityTraceCategory::OleStream, &TUtilityTraceCategory::Directory}) {
        SCOPED_TRACE(static_cast<char const *>(category->QueryString()));
        ShareAmongThreads(category->QueryString());
    }
}

TEST(SharedTextsOfThreads, TheTextsForALackOfMemoryAreSharedByTheExceptionsOfAllThreads) {
    for (TStaticText *text : {&fsOutOfMemory, &fsTextTooLong}) {
        std::uint32_t const count = text->header.count;
        std::atomic<int> wrong{0};
        InThreads([&] {
            try {
                RaiseOutOfMemory(TUtilityTraceCategory::String, "src/utility/TSTRING", *text, 1);
            } catch (TOutOfMemory const &problem) {
                TOutOfMemory const copy(problem);
                wrong += static_cast<char const *>(copy.text(0)) != text->bytes;
            }
        });
        EXPECT_EQ(text->header.count, count);
        EXPECT_EQ(wrong, 0);
    }
}

TEST(SharedTextsOfThreads, AnArgumentOfManyMessagesIsSharedByAllThreads) {
    static TagVar const name("inbox");
    std::atomic<int> wrong{0};
    InThreads([&] {
        TTextMessage const message("%s is full", name);
        wrong += message.QueryMessage() != "inbox is full";
    });
    EXPECT_EQ(wrong, 0);
}

// The one who is left may change the buffer in place. What the other read before it dropped its string stays what it
// was.
TEST(SharedTextsOfThreads, ATextIsChangedInPlaceOnlyAfterTheLastOtherOwnerHasDroppedIt) {
    for (int round = 0; round < 300; ++round) {
        TString text("0123456789");
        std::string seen;
        std::thread other([&seen, mine = text]() mutable {
            seen.assign(static_cast<char const *>(mine), mine.length());
            mine = TString();
        });
        while (Count(text) != 1)
            std::this_thread::yield();
        char const *const before = text;
        text.remove(9).lowerCase();
        text[1] = 'x';
        other.join();
        ASSERT_EQ(static_cast<char const *>(text), before) << "it was not changed in place";
        ASSERT_TRUE(text == "x1234567");
        ASSERT_EQ(seen, "0123456789");
    }
}
