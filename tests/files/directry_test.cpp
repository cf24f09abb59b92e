#include "tuzutil/DIRECTRY.h"

#include "support/CaptureTrace.h"
#include "support/Expect.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

namespace {

char const fsFile[] = "src/utility/DIRECTRY";

TString Text(std::string const &text) {
    return TString(text.data(), static_cast<unsigned int>(text.size()), ' ');
}

// Entries without lines, which only one of them has for good.
std::vector<std::string> Texts(TCapture &capture) {
    std::vector<std::string> texts;
    for (TSeenEntry const &entry : capture.Entries()) {
        EXPECT_EQ(entry.category, "Directory");
        EXPECT_EQ(entry.file, fsFile);
        texts.push_back(std::to_string(entry.level) + " " + entry.text);
    }
    capture.Entries().clear();
    return texts;
}

using Lines = std::vector<std::string>;

// Every entry of a directory: its path, and its name with "/" behind it where it is a directory.
std::map<std::string, std::string> List(TDirectory &directory) {
    std::map<std::string, std::string> entries;
    int isDirectory = 17;
    TString name("untouched");
    TString path = directory.FindFirst(&isDirectory, &name);
    for (; path; path = directory.FindNext(&isDirectory, &name)) {
        EXPECT_TRUE(isDirectory == 0 || isDirectory == 1);
        EXPECT_TRUE(entries.emplace(Bytes(path), Bytes(name) + (isDirectory ? "/" : "")).second);
    }
    EXPECT_EQ(isDirectory, 0);
    EXPECT_TRUE(name.IsNull());
    return entries;
}

class TDirectoryTest : public testing::Test {
protected:
    TTempFolder folder;
    TCapture capture;
};

} // namespace

TEST_F(TDirectoryTest, Example) {
    EXPECT_EQ(TDirectory::MakeTree(Text(folder.Name("mail\\users\\anna"))), 0);
    TDirectory users(folder.Name("mail\\users").c_str());
    int isDirectory;
    TString name;
    std::string printed;
    for (TString path = users.FindFirst(&isDirectory, &name); path; path = users.FindNext(&isDirectory, &name))
        printed += Bytes(name) + (isDirectory ? "\\" : "") + "\n";
    EXPECT_EQ(printed, "anna\\\n");
}

TEST_F(TDirectoryTest, ListsFilesAndDirectoriesWithTheirPaths) {
    folder.AddFile("one.txt");
    folder.AddFile(".hidden");
    folder.AddFile("no extension");
    folder.AddFolder("sub.dir");
    TDirectory directory(folder.Name().c_str());
    std::map<std::string, std::string> const expected = {{folder.Name("one.txt"), "one.txt"},
                                                         {folder.Name(".hidden"), ".hidden"},
                                                         {folder.Name("no extension"), "no extension"},
                                                         {folder.Name("sub.dir"), "sub.dir/"}};
    EXPECT_EQ(List(directory), expected);
    EXPECT_EQ(List(directory), expected); // from the beginning again
    capture.ExpectNone();
}

TEST_F(TDirectoryTest, WithoutAPlaceForTheKindOnlyFilesAreListed) {
    folder.AddFile("a");
    folder.AddFile("b");
    folder.AddFolder("c");
    folder.AddFolder("d");
    TDirectory directory(folder.Name().c_str());
    std::set<std::string> paths;
    for (TString path = directory.FindFirst(); path; path = directory.FindNext())
        paths.insert(Bytes(path));
    EXPECT_EQ(paths, (std::set<std::string>{folder.Name("a"), folder.Name("b")}));
    EXPECT_TRUE(directory.FindNext().IsNull());
}

TEST_F(TDirectoryTest, AnEmptyDirectoryHasNoEntries) {
    TDirectory directory(folder.Name().c_str());
    EXPECT_TRUE(List(directory).empty());
    EXPECT_TRUE(directory.FindFirst().IsNull());
}

TEST_F(TDirectoryTest, WhatCannotBeOpenedHasNoEntries) {
    folder.AddFile("file");
    for (std::string const &name : {folder.Name("missing"), folder.Name("file"), std::string(9000, 'x')}) {
        TDirectory directory(name.c_str());
        EXPECT_TRUE(List(directory).empty());
        EXPECT_TRUE(directory.FindNext().IsNull());
    }
    TDirectory none(nullptr);
    EXPECT_TRUE(none.FindFirst().IsNull());
    capture.ExpectNone();
}

TEST_F(TDirectoryTest, NothingIsNextBeforeTheFirst) {
    TDirectory directory(folder.Name().c_str());
    int isDirectory = 17;
    TString name("untouched");
    EXPECT_TRUE(directory.FindNext(&isDirectory, &name).IsNull());
    EXPECT_EQ(isDirectory, 0);
    EXPECT_TRUE(name.IsNull());
    capture.ExpectNone();
}

TEST_F(TDirectoryTest, CopiesShareTheEnumerationAndEachClosesIt) {
    folder.AddFile("a");
    folder.AddFile("b");
    folder.AddFile("c");
    std::set<std::string> paths;
    {
        TDirectory first(folder.Name().c_str());
        paths.insert(Bytes(first.FindFirst()));
        {
            TDirectory second(first);
            paths.insert(Bytes(second.FindNext()));
            paths.insert(Bytes(first.FindNext()));
        }
        capture.ExpectNone();
        EXPECT_TRUE(first.FindNext().IsNull());
    }
    EXPECT_EQ(paths, (std::set<std::string>{folder.Name("a"), folder.Name("b"), folder.Name("c")}));
    std::string const text = "TDirectory::~TDirectory(): _findclose(" + folder.Name() + ") error 22: Invalid argument";
    capture.ExpectOne(4, "Directory", text.c_str(), fsFile);
}

TEST_F(TDirectoryTest, TheSecondCloseDoesNotTouchAnEnumerationBegunSince) {
    folder.AddFile("a");
    folder.AddFile("b");
    TDirectory other(folder.Name().c_str());
    {
        TDirectory first(folder.Name().c_str());
        EXPECT_TRUE(first.FindFirst());
        { TDirectory second(first); }
        EXPECT_TRUE(other.FindFirst()); // in the slot that has become free
        EXPECT_TRUE(first.FindNext().IsNull());
    }
    EXPECT_EQ(Texts(capture).size(), 1u);
    EXPECT_TRUE(other.FindNext());
    EXPECT_TRUE(other.FindNext().IsNull());
}

TEST_F(TDirectoryTest, AssignmentSharesAndClosesWhatWasOpen) {
    folder.AddFile("a");
    folder.AddFile("b");
    folder.AddFile("sub\\c");
    {
        TDirectory first(folder.Name("sub").c_str());
        TDirectory second(folder.Name().c_str());
        TDirectory &same = second;
        EXPECT_TRUE(second.FindFirst());
        second = same;
        EXPECT_TRUE(second.FindNext());
        TDirectory const shared(second);
        second = first;
        EXPECT_EQ(Bytes(second.FindFirst()), folder.Name("sub\\c"));
    }
    EXPECT_EQ(Texts(capture).size(), 1u); // of the copy, whose enumeration the assignment closed
}

TEST_F(TDirectoryTest, AssignmentOfACopyKeepsTheEnumerationThatBothShare) {
    folder.AddFile("a");
    folder.AddFile("b");
    {
        TDirectory first(folder.Name().c_str());
        EXPECT_TRUE(first.FindFirst());
        TDirectory second(first);
        second = first;
        EXPECT_TRUE(second.FindNext());
        EXPECT_TRUE(first.FindNext().IsNull());
    }
    EXPECT_EQ(Texts(capture).size(), 1u); // of the second one's end, which came after the first one's
}

TEST_F(TDirectoryTest, ManyEnumerationsAreOpenAtOnce) {
    folder.AddFile("a");
    folder.AddFile("b");
    std::vector<std::unique_ptr<TDirectory>> directories;
    for (int i = 0; i < 100; ++i) {
        directories.push_back(std::make_unique<TDirectory>(folder.Name().c_str()));
        EXPECT_TRUE(directories.back()->FindFirst());
    }
    for (auto const &directory : directories) {
        EXPECT_TRUE(directory->FindNext());
        EXPECT_TRUE(directory->FindNext().IsNull());
    }
    directories.clear();
    capture.ExpectNone();
}

TEST_F(TDirectoryTest, CombinesWithASeparatorWhateverIsThere) {
    EXPECT_EQ(Bytes(TDirectory::Combine("a", "b")), "a\\b");
    EXPECT_EQ(Bytes(TDirectory::Combine("a\\", "\\b")), "a\\\\\\b");
    EXPECT_EQ(Bytes(TDirectory::Combine("", "")), "\\");
    EXPECT_EQ(Bytes(TDirectory::Combine(TString(), "b")), "<NULL>\\b");
    EXPECT_EQ(Bytes(TDirectory::fsSeparator), "\\");
}

TEST_F(TDirectoryTest, MakesOneDirectory) {
    EXPECT_EQ(TDirectory::MakeDir(Text(folder.Name("a"))), 0);
    EXPECT_TRUE(folder.HasFolder("a"));
    capture.ExpectNone();
}

TEST_F(TDirectoryTest, MakingWhatExistsSucceeds) {
    folder.AddFile("file");
    EXPECT_EQ(TDirectory::MakeDir(Text(folder.Name())), 0);
    EXPECT_EQ(TDirectory::MakeDir(Text(folder.Name("file"))), 0);
    EXPECT_FALSE(folder.HasFolder("file"));
    capture.ExpectNone();
}

TEST_F(TDirectoryTest, SaysWhatItCouldNotMake) {
    std::string const name = folder.Name("missing\\a");
    EXPECT_EQ(TDirectory::MakeDir(Text(name)), 1);
    capture.ExpectOne(8, "Directory", ("Unable to create directory " + name + ": errno=2").c_str(), fsFile);
    EXPECT_EQ(TDirectory::MakeDir(TString("")), 1);
    capture.ExpectOne(8, "Directory", "Unable to create directory : errno=2", fsFile);
    EXPECT_EQ(TDirectory::MakeDir(TString()), 1);
    capture.ExpectOne(8, "Directory", "Unable to create directory (null): errno=2", fsFile);
}

TEST_F(TDirectoryTest, MakesATreeFromItsFirstMissingParentOn) {
    EXPECT_EQ(TDirectory::MakeTree(Text(folder.Name("a\\b\\c"))), 0);
    EXPECT_TRUE(folder.HasFolder("a\\b\\c"));
    EXPECT_EQ(Texts(capture),
              (Lines{"8 Unable to create directory " + folder.Name("a\\b\\c") + ": errno=2",
                     "8 Unable to create directory " + folder.Name("a\\b") + ": errno=2",
                     "16 Created directory " + folder.Name("a"), "16 Created directory " + folder.Name("a\\b"),
                     "16 Created directory " + folder.Name("a\\b\\c")}));
    EXPECT_EQ(TDirectory::MakeTree(Text(folder.Name("a\\b\\c"))), 0);
    EXPECT_EQ(Texts(capture), (Lines{"16 Created directory " + folder.Name("a\\b\\c")}));
}

TEST_F(TDirectoryTest, MakesATreeWhoseNameEndsInASeparator) {
    EXPECT_EQ(TDirectory::MakeTree(Text(folder.Name("a\\b\\"))), 0);
    EXPECT_TRUE(folder.HasFolder("a\\b"));
}

TEST_F(TDirectoryTest, ARelativePathOfTwoPartsIsNotSplit) {
    EXPECT_EQ(TDirectory::MakeTree("tuzutil no such directory\\b"), 2);
    ASSERT_EQ(capture.Entries().size(), 2u);
    EXPECT_EQ(capture.Entries()[1].line, 457u);
    EXPECT_EQ(Texts(capture), (Lines{"8 Unable to create directory tuzutil no such directory\\b: errno=2",
                                     "4 Unable to create directory tuzutil no such directory\\b"}));
    EXPECT_EQ(TDirectory::MakeTree("tuzutil no such directory/b/c"), 2);
    EXPECT_EQ(Texts(capture), (Lines{"8 Unable to create directory tuzutil no such directory/b/c: errno=2",
                                     "4 Unable to create directory tuzutil no such directory/b/c"}));
}

TEST_F(TDirectoryTest, SaysCreatedAlsoWhereAParentFailed) {
    EXPECT_EQ(TDirectory::MakeTree("tuzutil no such directory\\b\\c"), 2);
    EXPECT_EQ(Texts(capture), (Lines{"8 Unable to create directory tuzutil no such directory\\b\\c: errno=2",
                                     "8 Unable to create directory tuzutil no such directory\\b: errno=2",
                                     "4 Unable to create directory tuzutil no such directory\\b",
                                     "16 Created directory tuzutil no such directory\\b\\c"}));
}

TEST_F(TDirectoryTest, AFileInTheWayFailsBelowIt) {
    folder.AddFile("file");
    EXPECT_EQ(TDirectory::MakeTree(Text(folder.Name("file\\a\\b"))), 1);
    Lines const lines = Texts(capture);
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[2], "16 Created directory " + folder.Name("file"));
    EXPECT_EQ(lines[3].find("8 Unable to create directory " + folder.Name("file\\a") + ": errno="), 0u);
    EXPECT_EQ(lines[4], "16 Created directory " + folder.Name("file\\a"));
    EXPECT_EQ(lines[5], "16 Created directory " + folder.Name("file\\a\\b"));
}

TEST_F(TDirectoryTest, ATextWithoutAPathIsNoTree) {
    for (TString const &path : {TString(""), TString()}) {
        EXPECT_EQ(TDirectory::MakeTree(path), 2);
        EXPECT_EQ(Texts(capture), (Lines{"8 Unable to create directory : errno=2", "4 Unable to create directory "}));
    }
}

TEST_F(TDirectoryTest, APathMayHaveAnyNumberOfSeparators) {
    capture.trace.SetLevel(0);
    EXPECT_EQ(TDirectory::MakeTree(Text(folder.Name("a") + std::string(50000, '\\'))), 1);
    EXPECT_TRUE(folder.HasFolder("a"));
}

TEST_F(TDirectoryTest, TakesAndGivesPathsOfTheStandardLibrary) {
    std::filesystem::path const base = folder.Native("base");
    EXPECT_EQ(TDirectory::MakeDir(base), 0);
    EXPECT_EQ(TDirectory::MakeDir(base), 0); // it exists
    EXPECT_EQ(TDirectory::MakeDir(base / "missing" / "below"), 1);
    EXPECT_EQ(TDirectory::MakeTree(base / "users" / "anna"), 0);
    EXPECT_EQ(TDirectory::MakeTree(base / "users" / "anna"), 0);
    EXPECT_EQ(Texts(capture),
              (Lines{"8 Unable to create directory " + (base / "missing" / "below").string() + ": errno=2",
                     "16 Created directory " + (base / "users" / "anna").string()}));

    folder.AddFile("base\\letter");
    TDirectory const directory(base);
    std::map<std::filesystem::path, bool> entries;
    for (std::filesystem::directory_entry const &entry : directory.NativeEntries())
        entries.emplace(entry.path(), entry.is_directory());
    EXPECT_EQ(entries, (std::map<std::filesystem::path, bool>{{base / "letter", false}, {base / "users", true}}));
    TDirectory const missing(base / "missing");
    EXPECT_THROW(missing.NativeEntries(), std::filesystem::filesystem_error);
}

TEST_F(TDirectoryTest, AFileInTheWayOfAPathIsAsWithTexts) {
    folder.AddFile("letter");
    EXPECT_EQ(TDirectory::MakeDir(folder.Native("letter")), 0);
    EXPECT_EQ(TDirectory::MakeDir(Text(folder.Name("letter"))), 0);
    capture.ExpectNone();
}
