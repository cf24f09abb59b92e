#include "tuzutil/MSGSTORE.h"

#include "support/Expect.h"
#include "support/PureCall.h"
#include "tuzutil/NLSRESRC.h"
#include "tuzutil/TDLL.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

char const fsFile[] = "src/utility/TXTMSG";

TTextMessage::StoreID Id(char const *name) {
    return TTextMessage::StoreID(TString(name), ExplicitInit);
}

// Answers with what it was asked, and with its own mark.
class TEchoStore : public TTextMessageStore {
public:
    explicit TEchoStore(char const *name, std::string const &mark = "") : TTextMessageStore(Id(name)), fMark(mark) {}
    using TTextMessageStore::GetMsg;
    TString GetMsg(long set, long number, int wide) override {
        return (fMark + std::to_string(set) + " " + std::to_string(number) + " " + std::to_string(wide)).c_str();
    }

private:
    std::string fMark;
};

// A store that gives no texts of its own.
class TBareStore : public TTextMessageStore {
public:
    explicit TBareStore(char const *name) : TTextMessageStore(Id(name)) {}
};

std::string Text(char const *store) {
    return Bytes(TTextMessage(Id(store), 1, 2, "default").QueryMessage());
}

// Takes the archive away while it lives.
class TNoArchive {
public:
    TNoArchive() : fArchive(TTextMessageArchive::fsArchive) { TTextMessageArchive::fsArchive = nullptr; }
    TNoArchive(TNoArchive const &) = delete;
    TNoArchive &operator=(TNoArchive const &) = delete;
    ~TNoArchive() { TTextMessageArchive::fsArchive = fArchive; }

private:
    TTextMessageArchive *fArchive;
};

template <typename Call>
void ExpectRefused(char const *text, Call call) {
    ExpectThrows<TInvalidRequest>({.text = text, .file = fsFile}, call);
}

} // namespace

TEST(TMessageStore, Example) {
    class TGermanStore : public TTextMessageStore {
    public:
        explicit TGermanStore(TTextMessage::StoreID const &id) : TTextMessageStore(id) {}
        using TTextMessageStore::GetMsg;
        TString GetMsg(long, long number, int) override { return number == 17 ? "%u Nachrichten" : ""; }
    };
    TTextMessage::StoreID const mail(TString("Mail"), ExplicitInit);
    TGermanStore store(mail);
    EXPECT_EQ(Bytes(TTextMessage(mail, 1, 17, "%u messages", 5u).QueryMessage()), "5 Nachrichten");
    EXPECT_EQ(Bytes(TTextMessage(mail, 1, 18, "goodbye").QueryMessage()), "goodbye");
}

TEST(TMessageStore, IsFoundByItsName) {
    EXPECT_EQ(TTextMessageStore::Find(Id("Mail")), nullptr);
    TEchoStore mail("Mail");
    TEchoStore news("News");
    EXPECT_EQ(TTextMessageStore::Find(Id("Mail")), &mail);
    EXPECT_EQ(TTextMessageStore::Find(Id("News")), &news);
    for (char const *const other : {"mail", "Mail ", "Mai", ""})
        EXPECT_EQ(TTextMessageStore::Find(Id(other)), nullptr) << other;
    EXPECT_EQ(TTextMessageStore::Find(TTextMessage::StoreID()), nullptr);
}

TEST(TMessageStore, KnowsItsName) {
    TEchoStore const mail("Mail");
    EXPECT_EQ(Bytes(mail.Key()), "Mail");
    EXPECT_EQ(&mail.QueryStoreID(), &mail.Key());
    EXPECT_EQ(mail.IsCached(), 0);
}

TEST(TMessageStore, IsAskedThroughItsName) {
    TEchoStore mail("Mail");
    EXPECT_EQ(Bytes(TTextMessageStore::GetMsg(Id("Mail"), 3, 17, 1)), "3 17 1");
    EXPECT_EQ(Bytes(TTextMessageStore::GetMsg(Id("Mail"), -1, -17, 0)), "-1 -17 0");
    EXPECT_EQ(TTextMessageStore::GetMsg(Id("News"), 3, 17, 1).length(), 0u);
    EXPECT_EQ(Bytes(TTextMessageArchive::fsArchive->GetMsg(Id("Mail"), 3, 17, 0)), "3 17 0");
    EXPECT_EQ(Text("Mail"), "1 2 0");
}

TEST(TMessageStore, ItsMessagesHaveTheirDefaultTextsWhenItIsGone) {
    auto mail = std::make_unique<TEchoStore>("Mail");
    EXPECT_EQ(Text("Mail"), "1 2 0");
    mail = nullptr;
    EXPECT_EQ(TTextMessageStore::Find(Id("Mail")), nullptr);
    EXPECT_EQ(Text("Mail"), "default");
    EXPECT_EQ(TTextMessageStore::GetMsg(Id("Mail"), 1, 2, 0).length(), 0u);
}

TEST(TMessageStore, ANameIsTakenOnce) {
    TEchoStore first("Mail", "first ");
    ExpectRefused("Duplicate Message Store", [] { TEchoStore second("Mail", "second "); });
    EXPECT_EQ(TTextMessageStore::Find(Id("Mail")), &first);
    EXPECT_EQ(Text("Mail"), "first 1 2 0");
    ExpectRefused("Duplicate Message Store", [] { TEchoStore third("Mail"); });
}

TEST(TMessageStore, ANameIsFreeWhenItsStoreIsGone) {
    auto mail = std::make_unique<TEchoStore>("Mail", "first ");
    TEchoStore const between("News");
    mail = nullptr;
    mail = std::make_unique<TEchoStore>("Mail", "second ");
    EXPECT_EQ(Text("Mail"), "second 1 2 0");
    EXPECT_EQ(TTextMessageStore::Find(Id("News")), &between);
}

TEST(TMessageStore, WithoutAnOperationOfItsOwnItAnswersNothing) {
    TBareStore bare("Bare");
    CallPure("class .*TBareStore does not override TTextMessageStore::GetMsg", [] {
        EXPECT_TRUE(TTextMessageStore::GetMsg(Id("Bare"), 1, 2, 0).IsNull());
        EXPECT_EQ(Text("Bare"), "default");
    });
}

// The type of the object is that of the library's class until the constructor of the program's class begins.
TEST(TMessageStore, UnderConstructionAnswersNothingInEveryBuild) {
    struct TAsked {
        explicit TAsked(TTextMessageStore &store) : answer(store.GetMsg(1, 2, 0)) {}
        TString answer;
    };
    struct TAskedStore : TTextMessageStore, TAsked {
        TAskedStore() : TTextMessageStore(Id("Asked")), TAsked(static_cast<TTextMessageStore &>(*this)) {}
    };
    EXPECT_TRUE(TAskedStore().answer.IsNull());
}

TEST(TMessageStore, MayBeAskedBySeveralThreads) {
    TEchoStore mail("Mail");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int j = 0; j < 1000; ++j)
                ASSERT_EQ(Text("Mail"), "1 2 0");
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}

TEST(TMessageArchive, IsTheOnlyOne) {
    TTextMessageArchive *const archive = TTextMessageArchive::fsArchive;
    ASSERT_NE(archive, nullptr);
    ExpectRefused("Solitary Object", [] { TTextMessageArchive second; });
    EXPECT_EQ(TTextMessageArchive::fsArchive, archive);
}

TEST(TMessageArchive, WithoutOneThereAreNoStores) {
    TEchoStore mail("Mail");
    {
        TNoArchive const none;
        EXPECT_EQ(TTextMessageStore::Find(Id("Mail")), nullptr);
        EXPECT_EQ(TTextMessageStore::GetMsg(Id("Mail"), 1, 2, 0).length(), 0u);
        EXPECT_EQ(Text("Mail"), "default");
    }
    EXPECT_EQ(Text("Mail"), "1 2 0");
}

TEST(TMessageArchive, AStoreThatIsNotInItTakesNoOtherOut) {
    std::unique_ptr<TEchoStore> stranger;
    {
        TNoArchive const none;
        stranger = std::make_unique<TEchoStore>("Mail");
    }
    EXPECT_EQ(TTextMessageStore::Find(Id("Mail")), nullptr);
    TEchoStore mail("Mail");
    stranger = nullptr;
    EXPECT_EQ(TTextMessageStore::Find(Id("Mail")), &mail);
}

TEST(TMessageArchive, LeavesItsPlaceWhenItGoes) {
    TNoArchive const none;
    std::unique_ptr<TEchoStore> survivor;
    {
        TTextMessageArchive archive;
        EXPECT_EQ(TTextMessageArchive::fsArchive, &archive);
        survivor = std::make_unique<TEchoStore>("Mail");
        EXPECT_EQ(TTextMessageStore::Find(Id("Mail")), survivor.get());
    }
    EXPECT_EQ(TTextMessageArchive::fsArchive, nullptr);
    survivor = nullptr; // finds nobody to leave
    auto first = std::make_unique<TTextMessageArchive>();
    TTextMessageArchive::fsArchive = nullptr;
    TTextMessageArchive second;
    first = nullptr;
    EXPECT_EQ(TTextMessageArchive::fsArchive, &second);
}

TEST(TMessageStore, OneInALibraryIsRefusedBehindTheLoad) {
    TEchoStore mail("tuzutil tests", "first ");
    ExpectRefused("Duplicate Message Store", [] { TDll library("duplicate_store"); });
    EXPECT_EQ(Text("tuzutil tests"), "first 1 2 0");
    // It is loaded and was initialised: another load runs nothing.
    TDll const library("duplicate_store");
    EXPECT_EQ(library.isOpen(), 1);
    EXPECT_EQ(TTextMessageStore::Find(Id("tuzutil tests")), &mail);
    // What stands behind the refused object in the library was built.
    EXPECT_NE(TTextMessageStore::Find(Id("tuzutil tests, another")), nullptr);
}

TEST(TMessageStore, OneInALibraryIsRefusedBehindTheSearchToo) {
    TEchoStore mail("tuzutil tests");
    TSearchNLSPath search("duplicate_store_found");
    ExpectRefused("Duplicate Message Store", [&] { search.FindInPath(); });
    std::string const found = search.FindInPath();
    EXPECT_EQ(found.substr(found.rfind('\\')), "\\duplicate_store_found.dll");
}
