#include "tuzutil/FACTORY.h"

#include "support/CaptureTrace.h"
#include "support/Expect.h"
#include "support/Module.h"
#include "support/PureCall.h"
#include "support/TempFolder.h"
#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TRACEP.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

char const fsFile[] = "src/utility/FACTORY";
char const fsAdd[] = "TFactoryLoaderBase::Add(const TFactoryType&,void*)";
char const fsLoad[] = "TFactoryLoaderBase::LoadDll(const TFactoryType&)";

// A loader of the test's own.
class TLoader : public TFactoryLoaderBase {
public:
    using TFactoryLoaderBase::ThrowSingletonException;
};

// The libraries of the tests, before all others, for a scope.
class TLibpathScope {
public:
    TLibpathScope() : fFormer(TFactoryLoaderBase::fsLibpath, TFactoryLoaderBase::fsLibpath.length(), ' ') {
        TFactoryLoaderBase::AddLibpath(TTempFolder::FromNative(TUZUTIL_TEST_FACTORIES).c_str());
    }
    TLibpathScope(TLibpathScope const &) = delete;
    TLibpathScope &operator=(TLibpathScope const &) = delete;
    ~TLibpathScope() { TFactoryLoaderBase::fsLibpath = fFormer; }

private:
    TString fFormer;
};

void ExpectCannotLoad(TSeenEntry const &entry, std::string const &name) {
    std::string const frame = "Unable to load Dll " + name + ", rc=x";
    EXPECT_EQ(entry.level, 8u);
    EXPECT_EQ(entry.category, "Factory");
    EXPECT_EQ(entry.file, fsFile);
    ASSERT_EQ(entry.text.substr(0, frame.size()), frame);
    EXPECT_EQ(entry.text.size(), frame.size() + 8);
    EXPECT_NE(std::stoul(entry.text.substr(frame.size()), nullptr, 16), 0u);
}

TSeenEntry NotFound(TSeenEntry const &seen, std::string const &type) {
    return {8, "Factory", "Unable to find factory type " + type, fsFile, seen.line};
}

} // namespace

// Types

TEST(TFactoryType, ReadsNameAndLibrary) {
    struct {
        char const *text;
        char const *name;
        char const *library;
    } const rows[] = {{"tcpsink[netlog]", "tcpsink", "netlog"},
                      {"netlog", "netlog", "netlog"},
                      {"x[y", "x", "x"},
                      {"x[", "x", "x"},
                      {"x[]", "x", ""},
                      {"[y]", "", "y"},
                      {"[]", "", ""},
                      {"", "", ""},
                      {"x[y]z", "x", "y"},
                      {"x[y][z]", "x", "y"},
                      {"x[[y]]", "x", "[y"},
                      {"x]y[z]", "x]y", "z"},
                      {"x]y", "x]y", "x]y"}};
    for (auto const &row : rows) {
        for (TFactoryType const &type : {TFactoryType(row.text), TFactoryType(TString(row.text))}) {
            EXPECT_EQ(Bytes(type.QueryName()), row.name) << row.text;
            EXPECT_EQ(Bytes(type.QueryDllName()), row.library) << row.text;
        }
    }
}

TEST(TFactoryType, OfNullIsEmpty) {
    for (TFactoryType const &type : {TFactoryType(static_cast<char const *>(nullptr)), TFactoryType(TString())}) {
        EXPECT_EQ(type.QueryName().length(), 0u);
        EXPECT_EQ(type.QueryDllName().length(), 0u);
    }
}

TEST(TFactoryType, IsComparedByNameWhateverTheCase) {
    EXPECT_TRUE(TFactoryType("Queue[a]") == TFactoryType("qUEUE[b]"));
    EXPECT_FALSE(TFactoryType("Queue[a]") == TFactoryType("Queues[a]"));
    EXPECT_FALSE(TFactoryType("a") < TFactoryType("A"));
    EXPECT_TRUE(TFactoryType("a") < TFactoryType("B"));
    EXPECT_TRUE(TFactoryType("A") < TFactoryType("b"));
    EXPECT_TRUE(TFactoryType("a[z]") < TFactoryType("aa[b]"));
    EXPECT_FALSE(TFactoryType("b[a]") < TFactoryType("a[b]"));
    EXPECT_TRUE(TFactoryType("") < TFactoryType("a"));
    EXPECT_FALSE(TFactoryType("aA[a]") < TFactoryType("a[b]"));
    EXPECT_FALSE(TFactoryType("a") < TFactoryType(""));
}

TEST(TFactoryType, CopiesAreEqual) {
    TFactoryType const type("x[y]");
    TFactoryType copy(type);
    EXPECT_EQ(Bytes(copy.QueryDllName()), "y");
    copy = TFactoryType("a[b]");
    EXPECT_EQ(Bytes(copy.QueryName()), "a");
    EXPECT_EQ(Bytes(copy.QueryDllName()), "b");
    TFactoryType &same = copy;
    copy = same;
    EXPECT_EQ(Bytes(copy.QueryName()), "a");
}

// The registry

TEST(TFactoryLoader, FindsWhatWasAddedWhateverTheCase) {
    TLoader loader;
    int one = 1, two = 2;
    loader.Add("One", &one);
    loader.Add("Two[lib]", &two);
    TCapture capture;
    EXPECT_EQ(loader.Find("ONE"), &one);
    EXPECT_EQ(loader.Find("one[nosuchlibrary]"), &one); // nothing is loaded for what is there
    EXPECT_EQ(loader.Find("two"), &two);
    capture.ExpectNone();
}

TEST(TFactoryLoader, FindsByPosition) {
    TLoader loader;
    int one = 1, two = 2;
    loader.Add("One", &one);
    loader.Add("Two", &two);
    EXPECT_EQ(loader.Find(0ul), &one);
    EXPECT_EQ(loader.Find(1ul), &two);
    EXPECT_EQ(loader.Find(2ul), nullptr);
    EXPECT_EQ(loader.Find(~0ul), nullptr);
}

TEST(TFactoryLoader, ANameIsAddedOnce) {
    TLoader loader;
    int one = 1, two = 2;
    loader.Add("One", &one);
    ExpectThrows<TInvalidRequest>({.text = "Already defined", .file = fsFile, .function = fsAdd},
                                  [&] { loader.Add("ONE[other]", &two); });
    EXPECT_EQ(loader.Find("One"), &one);
    EXPECT_EQ(loader.Find(1ul), nullptr);
}

TEST(TFactoryLoader, RemovesByName) {
    TLoader loader;
    int one = 1, two = 2;
    loader.Add("One", &one);
    loader.Remove("nobody");
    loader.Remove("oNE");
    EXPECT_EQ(loader.Find(0ul), nullptr);
    loader.Add("One", &two);
    EXPECT_EQ(loader.Find("One"), &two);
}

TEST(TFactoryLoader, SingletonsSaySo) {
    TLoader loader;
    ExpectThrows<TInvalidRequest>(
        {.text = "Singleton Object", .file = fsFile, .function = "TFactoryLoaderBase::ThrowSingletonException()"},
        [&] { loader.ThrowSingletonException(); });
}

TEST(TFactoryLoader, WithoutALibraryNameNothingCanBeLoaded) {
    TLoader loader;
    for (TFactoryType const &type : {TFactoryType("x[]"), TFactoryType(""), TFactoryType(TString())}) {
        ExpectThrows<TInvalidRequest>({.text = "No dll name found", .file = fsFile, .function = fsLoad},
                                      [&] { static_cast<void>(loader.Find(type)); });
        ExpectThrows<TInvalidRequest>({.text = "No dll name found", .file = fsFile, .function = fsLoad},
                                      [&] { loader.LoadDll(type); });
    }
    bool isFree = false; // no lock was left behind
    std::thread([&] {
        loader.Remove("x");
        isFree = loader.Find(0ul) == nullptr;
        loader.Add("y", &loader);
        isFree = isFree && loader.Find("y") == &loader;
    }).join();
    EXPECT_TRUE(isFree);
}

TEST(TFactoryLoader, AMissingLibraryIsTwoWarnings) {
    TLoader loader;
    TCapture capture;
    EXPECT_EQ(loader.Find("kind[nosuchlibrary]"), nullptr);
    ASSERT_EQ(capture.Entries().size(), 2u);
    ExpectCannotLoad(capture.Entries()[0], "nosuchlibrary");
    EXPECT_EQ(capture.Entries()[1], NotFound(capture.Entries()[1], "kind"));
    capture.Entries().clear();
    EXPECT_EQ(loader.LoadDll(TFactoryType("kind[nosuchlibrary]")), 0);
    EXPECT_EQ(capture.Entries().size(), 1u);
    EXPECT_EQ(loader.LoadDll("nosuchlibrary"), 1);
    EXPECT_EQ(capture.Entries().size(), 2u);
}

TEST(TFactoryLoader, FailedLoadsSayTheNameThatWasAskedFor) {
    TLoader loader;
    for (char const *name : {"nosuch", "nosuch.dll", "nosuch.DLL", "no.such", "folder\\nosuch", ""}) {
        TCapture capture;
        EXPECT_EQ(loader.LoadDll(name), 1);
        ASSERT_EQ(capture.Entries().size(), 1u) << name;
        ExpectCannotLoad(capture.Entries()[0], name);
    }
}

TEST(TFactoryLoader, DirectoriesAreAddedBeforeTheOthers) {
    TString const former(TFactoryLoaderBase::fsLibpath);
    TFactoryLoaderBase::fsLibpath = TString("");
    TFactoryLoaderBase::AddLibpath("first");
    EXPECT_EQ(Bytes(TFactoryLoaderBase::fsLibpath), "first;");
    TFactoryLoaderBase::AddLibpath("second");
    EXPECT_EQ(Bytes(TFactoryLoaderBase::fsLibpath), "second;first;");
    TFactoryLoaderBase::AddLibpath(nullptr);
    EXPECT_EQ(Bytes(TFactoryLoaderBase::fsLibpath), ";second;first;");
    TFactoryLoaderBase::fsLibpath = former;
}

// Libraries

TEST(FactoryLibrary, IsLoadedWhenItIsAskedFor) {
    TLibpathScope const path;
    TCapture capture;
    TTraceFactory *const factory = TTraceFactory::GetLoader()->Find("GOOD[good]");
    ASSERT_NE(factory, nullptr);
    capture.ExpectNone();
    EXPECT_EQ(TTraceFactory::GetLoader()->Find("good[nosuchlibrary]"), factory);
    EXPECT_EQ(Bytes(factory->QueryType().QueryName()), "good");
    EXPECT_EQ(factory->CreateTrace("").QueryLevel(), 0x10000001u);
    capture.ExpectNone();
}

TEST(FactoryLibrary, BesideTheProgramItIsFoundByItsPlainName) {
    TTraceFactory *const factory = TTraceFactory::GetLoader()->Find("besideprogram");
    ASSERT_NE(factory, nullptr);
    EXPECT_EQ(factory->CreateTrace("").QueryLevel(), 0x10000002u);
}

TEST(FactoryLibrary, OfThePathIsFoundBehindDirectoriesWithoutIt) {
    TLibpathScope const path;
    TTempFolder const folder;
    TFactoryLoaderBase::AddLibpath(folder.Name().c_str());
    TFactoryLoaderBase::AddLibpath("no\\such\\directory");
    TFactoryLoaderBase::AddLibpath("");
    TFactoryLoaderBase::AddLibpath(std::string(300, 'x').c_str());
    TCapture capture;
    EXPECT_NE(TTraceFactory::GetLoader()->Find("slow"), nullptr);
    capture.ExpectNone();
}

TEST(FactoryLibrary, OfAnotherNameIsLoadedOnceAndNotFound) {
    TLibpathScope const path;
    TCapture capture;
    EXPECT_EQ(TTraceFactory::GetLoader()->Find("othername"), nullptr);
    ASSERT_EQ(capture.Entries().size(), 1u);
    EXPECT_EQ(capture.Entries()[0], NotFound(capture.Entries()[0], "othername"));
    EXPECT_NE(TTraceFactory::GetLoader()->Find("anothername"), nullptr); // what it did register
}

TEST(FactoryLibrary, WithANameThatIsTakenFailsBehindTheLoad) {
    TLibpathScope const path;
    TTraceFactory *const good = TTraceFactory::GetLoader()->Find("good");
    ASSERT_NE(good, nullptr);
    ExpectThrows<TInvalidRequest>({.text = "Already defined", .file = fsFile, .function = fsAdd},
                                  [] { static_cast<void>(TTraceFactory::GetLoader()->Find("second[duplicate]")); });
    EXPECT_EQ(TTraceFactory::GetLoader()->Find("good"), good);
    bool isFree = false; // no lock was left behind
    std::thread([&] { isFree = TTraceFactory::GetLoader()->Find("good") == good; }).join();
    EXPECT_TRUE(isFree);
    TCapture capture; // it stays loaded: nothing runs a second time
    EXPECT_EQ(TTraceFactory::GetLoader()->Find("second[duplicate]"), nullptr);
    ASSERT_EQ(capture.Entries().size(), 1u);
    EXPECT_EQ(capture.Entries()[0], NotFound(capture.Entries()[0], "second"));
}

TEST(FactoryLibrary, ThatThrowsWhileLoadingKeepsWhatCameBefore) {
    TLibpathScope const path;
    ExpectThrows<TInvalidRequest>({.text = "Already defined", .file = fsFile, .function = fsAdd},
                                  [] { static_cast<void>(TTraceFactory::GetLoader()->Find("throwing")); });
    TTraceFactory *const factory = TTraceFactory::GetLoader()->Find("throwing");
    ASSERT_NE(factory, nullptr);
    EXPECT_EQ(factory->CreateTrace("").QueryLevel(), 0x10000008u);
}

TEST(FactoryLibrary, MayLookForAFactoryWhileItIsLoaded) {
    TLibpathScope const path;
    TCapture capture;
    TTraceFactory *const factory = TTraceFactory::GetLoader()->Find("nested");
    ASSERT_NE(factory, nullptr);
    EXPECT_EQ(factory->CreateTrace("").QueryLevel(), 0x1000000Au);
    ASSERT_EQ(capture.Entries().size(), 2u);
    ExpectCannotLoad(capture.Entries()[0], "nosuchlibrary");
    EXPECT_EQ(capture.Entries()[1], NotFound(capture.Entries()[1], "missing"));
    EXPECT_NE(TTraceFactory::GetLoader()->Find("nestedmissed[nested]"), nullptr);
    EXPECT_EQ(capture.Entries().size(), 2u);
}

TEST(FactoryLibrary, ThatIsNoneIsTriedByPathAndByName) {
    TLibpathScope const libpath;
    TCapture capture;
    EXPECT_EQ(TTraceFactory::GetLoader()->Find("kind[broken]"), nullptr);
    ASSERT_EQ(capture.Entries().size(), 4u);
    std::string const path = TTempFolder::FromNative(TUZUTIL_TEST_FACTORIES) + "\\broken.dll";
    ExpectCannotLoad(capture.Entries()[0], path);
    TSeenEntry const &words = capture.Entries()[1]; // what the system's loader says about the library that exists
    std::string const frame = "Unable to load Dll " + path + ": ";
    EXPECT_EQ(words.level, 8u);
    EXPECT_EQ(words.category, "Factory");
    EXPECT_EQ(words.text.substr(0, frame.size()), frame);
    EXPECT_GT(words.text.size(), frame.size() + 10);
    ExpectCannotLoad(capture.Entries()[2], "broken");
    EXPECT_EQ(capture.Entries()[3], NotFound(capture.Entries()[3], "kind"));
}

TEST(FactoryLibrary, NamesGetTheEndingUnlessTheyHaveIt) {
    TLoader loader;
    std::string const directory = TTempFolder::FromNative(TUZUTIL_TEST_FACTORIES) + "\\";
    TCapture capture;
    EXPECT_EQ(loader.LoadDll((directory + "good").c_str()), 0);
    EXPECT_EQ(loader.LoadDll((directory + "good.dll").c_str()), 0);
    EXPECT_EQ(loader.LoadDll((directory + "odd.ending").c_str()), 0); // odd.ending.dll
    EXPECT_EQ(loader.LoadDll((directory + "odd.ending.dll").c_str()), 0);
    capture.ExpectNone();
    EXPECT_NE(TTraceFactory::GetLoader()->Find("oddending"), nullptr);
    TTempFolder const folder;
    std::filesystem::copy_file(std::filesystem::path(TUZUTIL_TEST_FACTORIES) / "tracing.dll",
                               folder.Native("capitals.DLL"));
    EXPECT_EQ(loader.LoadDll(folder.Name("capitals.DLL").c_str()), 0);
}

TEST(TFactoryLoader, NamesThatAreTooLongAreNoLibrary) {
    TLoader loader;
    for (std::size_t length : {250u, 255u, 256u, 259u, 260u, 4000u, 4085u, 4090u, 4096u, 100000u}) {
        std::string const name(length, 'x');
        TCapture capture;
        EXPECT_EQ(loader.LoadDll(name.c_str()), 1) << length;
        EXPECT_EQ(capture.Entries().size(), 1u) << length;
    }
}

TEST(FactoryLibrary, IsLookedForInTheNewestDirectoryFirst) {
    TLibpathScope const path;
    TTempFolder const older, newer;
    older.AddFile("twice.dll", "no library");
    newer.AddFile("twice.dll", "no library");
    TFactoryLoaderBase::AddLibpath(older.Name().c_str());
    TFactoryLoaderBase::AddLibpath(newer.Name().c_str());
    TCapture capture;
    EXPECT_EQ(TTraceFactory::GetLoader()->Find("twice"), nullptr);
    ASSERT_EQ(capture.Entries().size(), 4u);
    ExpectCannotLoad(capture.Entries()[0], newer.Name("twice.dll")); // the words of the loader follow
    ExpectCannotLoad(capture.Entries()[2], "twice");
}

// A library that another thread loads looks for a factory while a lookup here waits for the system's loader.
TEST(FactoryLibrary, NeedsNoLockThatALookupHoldsWhileItLoads) {
    struct TGate : TTraceFactory {
        TGate() : TTraceFactory("gatekind") {}
        TTrace CreateTrace(char const *argument) override {
            if (*argument == 'w') { // in the static object of the library
                isLoading.Post();
                isLooking.Wait(-1);
                std::this_thread::sleep_for(std::chrono::milliseconds(50)); // let it reach the system's loader
            } else {
                ++others;
            }
            return TTrace();
        }
        TSemaphore isLoading, isLooking;
        int others = 0;
    } gate;
    // The first to run: where the system's loader is busy no thread can begin.
    TSemaphore runs;
    std::thread looks([&] {
        runs.Post();
        gate.isLoading.Wait(-1);
        gate.isLooking.Post();
        EXPECT_EQ(TTraceFactory::GetLoader()->Find("missing[nosuchlibrary]"), nullptr);
    });
    runs.Wait(-1);
    TModule("looking_module", false);
    looks.join();
    EXPECT_EQ(gate.others, 1);
}

#if !defined(_WIN32)
TEST(FactoryLibrary, WithTheSystemsKindOfNameIsFoundAlongThePath) {
    TLibpathScope const path;
    TCapture capture;
    EXPECT_NE(TTraceFactory::GetLoader()->Find("nativename"), nullptr);
    capture.ExpectNone();
}

TEST(FactoryLibrary, MayBeNamedInTheSystemsFormInAConfiguration) {
    TTrace const trace("nativename[" TUZUTIL_TEST_FACTORIES "/nativename](x)");
    EXPECT_EQ(trace.QueryLevel(), 0x10000004u);
}

TEST(FactoryLibrary, MayHaveTheSystemsKindOfName) {
    TLibpathScope const path;
    TLoader loader;
    std::string const directory = TTempFolder::FromNative(TUZUTIL_TEST_FACTORIES) + "\\";
    TCapture capture;
    EXPECT_EQ(loader.LoadDll((directory + "nativename").c_str()), 0);
    EXPECT_EQ(loader.LoadDll((directory + "libnativename").c_str()), 0);
    capture.ExpectNone();
    EXPECT_NE(TTraceFactory::GetLoader()->Find("nativename"), nullptr);
}

TEST(FactoryLibrary, WithTheSystemsKindOfNameThatIsNoneIsWhatTheWordsAreAbout) {
    TTempFolder const folder;
    folder.AddFile("libspoiled.so", "This is no library.\n");
    std::string const name = folder.Name("spoiled"); // no file has this name with ".dll"
    TLoader loader;
    TCapture capture;
    EXPECT_EQ(loader.LoadDll(name.c_str()), 1);
    ASSERT_EQ(capture.Entries().size(), 2u);
    ExpectCannotLoad(capture.Entries()[0], name);
    std::string const frame = "Unable to load Dll " + name + ": ";
    std::string const &words = capture.Entries()[1].text;
    EXPECT_EQ(words.substr(0, frame.size()), frame);
    EXPECT_NE(words.find("/libspoiled.so"), std::string::npos) << words;
}

TEST(FactoryLibrary, OfTwoFilesThatAreNoneTheFirstIsWhatTheWordsAreAbout) {
    TTempFolder const folder;
    folder.AddFile("spoiled.dll", "This is no library.\n");
    folder.AddFile("libspoiled.so", "This is no library either.\n");
    std::string const name = folder.Name("spoiled");
    TLoader loader;
    TCapture capture;
    EXPECT_EQ(loader.LoadDll(name.c_str()), 1);
    ASSERT_EQ(capture.Entries().size(), 2u);
    ExpectCannotLoad(capture.Entries()[0], name);
    std::string const &words = capture.Entries()[1].text;
    EXPECT_NE(words.find("/spoiled.dll"), std::string::npos) << words;
    EXPECT_EQ(words.find("libspoiled"), std::string::npos) << words;
}
#endif

TEST(FactoryLibrary, IsLoadedOnceWhoeverAsks) {
    TLibpathScope const path;
    std::vector<std::thread> threads;
    std::vector<TTraceFactory *> found(8);
    std::atomic<int> ready{0};
    for (TTraceFactory *&each : found)
        threads.emplace_back([&] {
            ++ready;
            while (ready < 8)
                std::this_thread::yield();
            each = TTraceFactory::GetLoader()->Find("slow");
        });
    for (std::thread &thread : threads)
        thread.join();
    for (TTraceFactory *each : found) {
        EXPECT_NE(each, nullptr);
        EXPECT_EQ(each, found[0]);
    }
}

TEST(FactoryLibrary, MayTraceWhileItIsLoadedAndOthersTrace) {
    TLibpathScope const path;
    TCapture capture(TTrace::error, 2);
    std::atomic<bool> done{false};
    std::vector<std::thread> writers;
    for (int i = 0; i < 3; ++i)
        writers.emplace_back([&] {
            while (!done) {
                TTrace const trace("stderr,no");
                TTracePoint::Write(TTrace::error, TUtilityTraceCategory::Trace, "f", "text %d", 1);
                static_cast<void>(TTrace::FindCategory("FactoryTracing"));
            }
        });
    TTraceFactory *const factory = TTraceFactory::GetLoader()->Find("tracing");
    done = true;
    for (std::thread &writer : writers)
        writer.join();
    EXPECT_NE(factory, nullptr);
    EXPECT_NE(TTrace::FindCategory("FactoryTracing"), nullptr);
}

// Configurations

TEST(TraceFactory, MakesTheDestinationFromTheArgument) {
    TLibpathScope const path;
    TTrace trace("Good[good](12345)");
    EXPECT_EQ(trace.QueryLevel(), 0x10000001u);
    EXPECT_EQ(trace.QueryComponent(), 5u);
    EXPECT_EQ(TTrace("good").QueryComponent(), 0u);
    TTrace const selected("good(1234567),-er+wa,Game");
    EXPECT_EQ(selected.QueryLevel(), 0x10000009u);
    EXPECT_EQ(selected.QueryComponent(), 4u);
}

TEST(TraceFactory, IsLoadedFromItsLibrary) {
    TLibpathScope const path;
    TTrace const trace("slow[slow](x),+er");
    EXPECT_EQ(trace.QueryLevel(), 0x10000007u);
}

TEST(TraceFactory, FailuresLeaveTheConstructor) {
    TLibpathScope const path;
    EXPECT_EQ(TTrace("good").QueryLevel(), 0x10000001u);
    ExpectThrows<TInvalidRequest>({.text = "No dll name found", .file = fsFile, .function = fsLoad},
                                  [] { TTrace("unknown[](x)"); });
    EXPECT_THROW(TTrace("good,zz"), TInvalidRequest);
    EXPECT_EQ(TTrace::Base::fsAnchor, nullptr);
}

TEST(TraceFactory, OfTheProgramItselfNeedsNoLibrary) {
    struct TEmpty : TTraceFactory {
        TEmpty() : TTraceFactory("EmptyKind") {}
        TTrace CreateTrace(char const *) override { return TTrace(); }
    };
    TCapture capture;
    {
        TEmpty const factory;
        EXPECT_EQ(TTraceFactory::GetLoader()->Find("emptykind"), &factory);
        TTrace trace("EmptyKind,zz"); // no destination, so the selection is not read
        EXPECT_FALSE(trace.QueryPointer());
        ExpectThrows<TInvalidRequest>({.text = "Already defined", .file = fsFile, .function = fsAdd},
                                      [] { TEmpty second; });
        EXPECT_EQ(TTraceFactory::GetLoader()->Find("emptykind"), &factory); // the second one's end changes nothing
        capture.ExpectNone();
    }
    EXPECT_EQ(TTraceFactory::GetLoader()->Find("emptykind"), nullptr);
}

TEST(TraceFactory, WithoutACreateTraceTraps) {
    struct TPlain : TTraceFactory {
        TPlain() : TTraceFactory("PlainKind") {}
    } factory;
    CallPure("class .*TPlain does not override TTraceFactory::CreateTrace", [&] {
        TCapture capture(TTrace::severe);
        EXPECT_FALSE(factory.CreateTrace("").QueryPointer());
        capture.ExpectOne(2, "Trace", "Pure virtual function called", "src/utility/PURETRAP");
    });
}

// The type of the object is that of the library's class until the constructor of the program's class begins.
TEST(TraceFactory, UnderConstructionMakesNoDestinationInEveryBuild) {
    struct TAsked {
        explicit TAsked(TTraceFactory &factory) : trace(factory.CreateTrace("")) {}
        TTrace trace;
    };
    struct TAskedFactory : TTraceFactory, TAsked {
        TAskedFactory() : TTraceFactory("AskedKind"), TAsked(static_cast<TTraceFactory &>(*this)) {}
    };
    TCapture capture(TTrace::severe);
    TAskedFactory const factory;
    EXPECT_FALSE(factory.trace.QueryPointer());
    capture.ExpectOne(2, "Trace", "Pure virtual function called", "src/utility/PURETRAP");
}

TEST(TraceFactory, TheLoaderIsOne) {
    EXPECT_EQ(TTraceFactoryLoader::GetInstance(), TTraceFactoryLoader::GetInstance());
    EXPECT_EQ(TTraceFactoryLoader::fsOnlyInstance, TTraceFactoryLoader::GetInstance());
    EXPECT_EQ(TTraceFactory::GetLoader(), TTraceFactoryLoader::GetInstance());
}

TEST(TFactory, WithoutALoaderStaysUnregistered) {
    struct TLonely : TFactory<TLonely> {
        TLonely() : TFactory("lonely") {}
        static TFactoryLoader<TLonely> *GetLoader() { return nullptr; }
    };
    TLonely const factory;
    EXPECT_EQ(Bytes(factory.QueryType().QueryName()), "lonely");
}
