// Names with a backslash, which only this system allows: in the library's form they would be paths.

#include "support/CaptureTrace.h"
#include "support/TempFolder.h"
#include "tuzutil/DIRECTRY.h"
#include "tuzutil/EXCEPTN.h"
#include "tuzutil/FILENAME.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace {

std::set<std::string> Listed(std::string const &path) {
    TDirectory folder(path.c_str());
    std::set<std::string> names;
    int isDirectory;
    TString name;
    for (TString entry = folder.FindFirst(&isDirectory, &name); entry; entry = folder.FindNext(&isDirectory, &name))
        names.insert(static_cast<char const *>(name));
    return names;
}

} // namespace

TEST(Backslash, InTheNameOfAnEntryLeavesItOutOfListings) {
    TTempFolder const folder;
    folder.AddFile("private\\key", "secret");
    folder.AddFile("public\\plain");
    std::filesystem::path const open = folder.Native("public");
    std::ofstream(open / "..\\private\\key") << "bait";
    std::filesystem::create_directory(open / "a\\b");
    {
        TCapture capture(TTrace::warning);
        EXPECT_EQ(Listed(folder.Name("public")), std::set<std::string>{"plain"});
        std::set<std::string> texts;
        for (TSeenEntry const &entry : capture.Entries()) {
            EXPECT_EQ(entry.category, "Directory");
            EXPECT_EQ(entry.file, "src/utility/DIRECTRY");
            texts.insert(entry.text);
        }
        std::string const begin = "Left out of " + folder.Name("public") + ", a backslash in its name: ";
        EXPECT_EQ(texts, (std::set<std::string>{begin + "..\\private\\key", begin + "a\\b"}));
    }
    std::filesystem::remove(open / "plain");
    EXPECT_EQ(Listed(folder.Name("public")), std::set<std::string>()); // also where it comes first
}

TEST(Backslash, InANativeNameIsRefused) {
    for (char const *name : {"a\\b", "\\", "/tmp/..\\x", "/tmp/a\\"}) {
        try {
            TFileName::FromNative(name);
            ADD_FAILURE() << name;
        } catch (TInvalidParameter const &problem) {
            EXPECT_STREQ(problem.text(0), "Backslash in a native name");
        }
    }
    EXPECT_TRUE(TFileName::FromNative("/tmp/a") == "\\tmp\\a");
    EXPECT_TRUE(TFileName::FromNative("").length() == 0);
    EXPECT_TRUE(TFileName::FromNative(nullptr).IsNull());
}

TEST(Backslash, EntriesAreReachedByTheSystemsNames) {
    TTempFolder const folder;
    std::filesystem::path const strange = folder.Native("mail") / "..\\private\\key";
    EXPECT_EQ(TDirectory::MakeTree(strange / "below"), 0);
    EXPECT_EQ(TDirectory::MakeDir(strange / "a\\b"), 0);
    std::set<std::filesystem::path> entries;
    for (std::filesystem::directory_entry const &entry : TDirectory(folder.Name("mail").c_str()).NativeEntries())
        entries.insert(entry.path());
    EXPECT_EQ(entries, std::set<std::filesystem::path>{strange});
    EXPECT_TRUE(std::filesystem::is_directory(strange / "a\\b"));
    EXPECT_FALSE(folder.HasFolder("private"));
    EXPECT_THROW(TDirectory{strange}, TInvalidParameter);
    EXPECT_THROW(TFileName{strange}, TInvalidParameter);
}
