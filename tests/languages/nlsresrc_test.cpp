#include "tuzutil/NLSRESRC.h"

#include "support/CaptureTrace.h"
#include "support/Expect.h"
#include "support/Languages.h"
#include "support/TempFolder.h"
#include "tuzutil/EXCEPTN.h"
#include "utility/languages/program_directory.h"
#include "utility/languages/require_open.h"

#include <gtest/gtest.h>

#include <clocale>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

char const fsFile[] = "src/utility/NLSRESRC";

std::string const fsLocaleAtStart = std::setlocale(LC_ALL, nullptr); // before anybody can change it

// The program's own name, as the library reports it where nothing else is found.
std::string Program() {
    return TSearchNLSPath("tuzutil no such library").FindInPath();
}

std::string ProgramFolder() {
    std::string const program = Program();
    return program.substr(0, program.rfind('\\'));
}

// Every test begins with the settings of start-up and a template that looks into a folder of its own.
class TSearchTest : public testing::Test {
protected:
    TSearchTest() : fTemplate(TSearchNLSPath::fsNLSpath) { TSearchNLSPath::fsNLSpath = ""; }
    ~TSearchTest() override {
        TSearchNLSPath::fsNLSpath = fTemplate;
        TSearchNLSPath::SetLang(nullptr);
    }

    void SetTemplate(std::string const &entries) { TSearchNLSPath::fsNLSpath = entries.c_str(); }
    std::string InFolder(std::string const &entry) const { return folder.Name(entry); }

    // What a search for a language finds, "(null)" for nothing.
    static std::string Find(char const *name, char const *lang) {
        TSearchNLSPath search(name);
        char const *const path = search.FindFile(TString(lang));
        return path ? path : "(null)";
    }

    // Copies a library that the build has made to a place below the folder.
    void AddLibrary(std::string const &relative) const {
        std::string const source = LanguageLibrary("German\\lengths.dll");
        std::filesystem::create_directories(folder.Native(relative).parent_path());
        std::filesystem::copy_file(static_cast<char const *>(TFileName(source.c_str()).QueryNative()),
                                   folder.Native(relative));
    }

    TTempFolder folder;

private:
    TString fTemplate;
};

// A file beside the program, or below a folder there, that goes away with its object.
class TFileBesideProgram {
public:
    explicit TFileBesideProgram(std::string const &relative) : name(ProgramFolder() + "\\" + relative) {
        std::filesystem::create_directories(Native().parent_path());
        std::ofstream(Native()) << "text";
    }
    TFileBesideProgram(TFileBesideProgram const &) = delete;
    TFileBesideProgram &operator=(TFileBesideProgram const &) = delete;
    ~TFileBesideProgram() {
        std::error_code ignored;
        std::filesystem::remove(Native(), ignored);
        std::filesystem::remove(Native().parent_path(), ignored); // where nothing else is in it
    }

    std::filesystem::path Native() const { return static_cast<char const *>(TFileName(name.c_str()).QueryNative()); }

    std::string const name;
};

std::vector<std::string> Texts(TCapture &capture) {
    std::vector<std::string> texts;
    for (TSeenEntry const &entry : capture.Entries()) {
        EXPECT_EQ(entry.category, "NLSResource");
        EXPECT_EQ(entry.file, fsFile);
        texts.push_back(std::to_string(entry.level) + " " + entry.text);
    }
    capture.Entries().clear();
    return texts;
}

using Lines = std::vector<std::string>;

} // namespace

TEST_F(TSearchTest, Example) {
    AddLibrary("German\\msgs.dll");
    std::string const entry = InFolder("%L\\%N");
    TSearchNLSPath::AddNLSpath(entry.c_str());
    TSearchNLSPath::SetLang("German");
    TSearchNLSPath search("msgs");
    EXPECT_EQ(std::string(search.FindFile()), InFolder("German\\msgs.dll"));
    TNLSResourceDll texts("msgs");
    EXPECT_EQ(Bytes(texts.loadMessage(1, 0)), "a");
}

TEST(TSearchSettings, AreThoseOfStartUp) {
    EXPECT_EQ(Bytes(TSearchNLSPath::fsLang_C), "C");
    EXPECT_EQ(Bytes(TSearchNLSPath::fsDefaultLocale), "English");
    EXPECT_EQ(Bytes(TSearchNLSPath::QueryLang()), "C");
    EXPECT_EQ(Bytes(TSearchNLSPath::fsNLSpath), "%E\\%L\\%N;%E\\%N;");
}

TEST(TSearchSettings, TheProcesssLocaleComesFromTheEnvironment) {
    EXPECT_EQ(fsLocaleAtStart, std::setlocale(LC_ALL, ""));
}

TEST_F(TSearchTest, TheLanguageIsWhatWasSet) {
    TSearchNLSPath::SetLang("German");
    EXPECT_EQ(Bytes(TSearchNLSPath::QueryLang()), "German");
    TSearchNLSPath::QueryLang() += "!";
    EXPECT_EQ(Bytes(TSearchNLSPath::QueryLang()), "German");
    TSearchNLSPath::SetLang("");
    EXPECT_EQ(Bytes(TSearchNLSPath::QueryLang()), "");
    TSearchNLSPath::SetLang(nullptr);
    EXPECT_EQ(Bytes(TSearchNLSPath::QueryLang()), "C");
    EXPECT_EQ(Bytes(TSearchNLSPath::fsLang_C), "C");
}

TEST_F(TSearchTest, EntriesAreAddedInFront) {
    SetTemplate("old");
    TSearchNLSPath::AddNLSpath("a;b");
    EXPECT_EQ(Bytes(TSearchNLSPath::fsNLSpath), "a;b;old");
    TSearchNLSPath::AddNLSpath("a;b");
    EXPECT_EQ(Bytes(TSearchNLSPath::fsNLSpath), "a;b;a;b;old");
    TSearchNLSPath::AddNLSpath(nullptr);
    EXPECT_EQ(Bytes(TSearchNLSPath::fsNLSpath), "a;b;a;b;old");
    TSearchNLSPath::AddNLSpath("");
    EXPECT_EQ(Bytes(TSearchNLSPath::fsNLSpath), ";a;b;a;b;old");
}

TEST_F(TSearchTest, TheFirstCandidateThatExistsWins) {
    SetTemplate(InFolder("one\\%L\\%N") + ";" + InFolder("two\\%N"));
    EXPECT_EQ(Find("msgs", "German"), "(null)");
    folder.AddFile("two\\msgs.dll");
    EXPECT_EQ(Find("msgs", "German"), InFolder("two\\msgs.dll"));
    folder.AddFile("one\\German\\msgs.dll");
    EXPECT_EQ(Find("msgs", "German"), InFolder("one\\German\\msgs.dll"));
    EXPECT_EQ(Find("msgs", "French"), InFolder("two\\msgs.dll"));
}

TEST_F(TSearchTest, TheDefaultTemplateLooksBesideTheProgram) {
    SetTemplate("%E\\%L\\%N;%E\\%N;");
    TFileBesideProgram const plain("tuzutil_search.dll");
    EXPECT_EQ(Find("tuzutil_search", "TuzGerman"), plain.name);
    TFileBesideProgram const german("TuzGerman\\tuzutil_search.dll");
    EXPECT_EQ(Find("tuzutil_search", "TuzGerman"), german.name);
    EXPECT_EQ(Find("tuzutil_search", "TuzFrench"), plain.name);
}

TEST_F(TSearchTest, InLanguageCTheProgramsDirectoryComesBeforeEnglish) {
    SetTemplate("%E\\%L\\%N;%E\\%N;");
    TFileBesideProgram const english("English\\tuzutil_english.dll");
    TCapture capture;
    TSearchNLSPath first("tuzutil_english");
    EXPECT_EQ(std::string(first.FindFile()), english.name);
    EXPECT_EQ(
        Texts(capture),
        (Lines{"16 Unable to find file tuzutil_english.dll with LANG C in path %E\\%L\\%N;%E\\%N;",
               "16 Locale is C, trying locale English to find file tuzutil_english", "16 Found file " + english.name}));
    TFileBesideProgram const plain("tuzutil_english.dll");
    TSearchNLSPath second("tuzutil_english");
    EXPECT_EQ(std::string(second.FindFile()), plain.name);
    EXPECT_EQ(Texts(capture), (Lines{"16 Found file " + plain.name}));
    TFileBesideProgram const neutral("C\\tuzutil_english.dll");
    TSearchNLSPath third("tuzutil_english");
    EXPECT_EQ(std::string(third.FindFile()), neutral.name);
}

TEST_F(TSearchTest, InAnotherLanguageEnglishIsNotTried) {
    // No other test loads a library of this name. Windows would find a loaded library, wherever it came from.
    SetTemplate(InFolder("%L\\%N"));
    folder.AddFile("English\\tuzutil_unloaded.dll");
    TSearchNLSPath::SetLang("German");
    TCapture capture;
    TSearchNLSPath search("tuzutil_unloaded");
    EXPECT_EQ(std::string(search.FindFile()), Program());
    EXPECT_EQ(Texts(capture),
              (Lines{"16 Unable to find file tuzutil_unloaded.dll with LANG German in path " + InFolder("%L\\%N")}));
}

TEST_F(TSearchTest, ANameWithADotIsTakenAsItIs) {
    SetTemplate(InFolder("%N"));
    folder.AddFile("msgs.res.dll");
    EXPECT_EQ(Find("msgs.res", "C"), "(null)");
    folder.AddFile("msgs.res");
    EXPECT_EQ(Find("msgs.res", "C"), InFolder("msgs.res"));
}

TEST_F(TSearchTest, TheSystemsOwnEndingComesSecond) {
    SetTemplate(InFolder("%N"));
    folder.AddFile("msgs.so");
#if defined(_WIN32)
    EXPECT_EQ(Find("msgs", "C"), "(null)");
#else
    EXPECT_EQ(Find("msgs", "C"), InFolder("msgs.so"));
#endif
    folder.AddFile("msgs.dll");
    EXPECT_EQ(Find("msgs", "C"), InFolder("msgs.dll"));
}

TEST_F(TSearchTest, ADirectoryIsNoCandidate) {
    SetTemplate(InFolder("one\\%N") + ";" + InFolder("two\\%N"));
    folder.AddFolder("one\\msgs.dll");
    EXPECT_EQ(Find("msgs", "C"), "(null)");
    folder.AddFile("two\\msgs.dll");
    EXPECT_EQ(Find("msgs", "C"), InFolder("two\\msgs.dll"));
}

TEST_F(TSearchTest, ACodePageIsADirectoryFirstInEveryEntry) {
    SetTemplate(InFolder("one\\%L\\%N") + ";" + InFolder("two\\%L\\%N"));
    folder.AddFile("two\\German.1252.x\\msgs.dll");
    EXPECT_EQ(Find("msgs", "German.1252.x"), InFolder("two\\German.1252.x\\msgs.dll"));
    folder.AddFile("two\\German\\1252.x\\msgs.dll");
    EXPECT_EQ(Find("msgs", "German.1252.x"), InFolder("two\\German\\1252.x\\msgs.dll"));
    folder.AddFile("one\\German.1252.x\\msgs.dll");
    EXPECT_EQ(Find("msgs", "German.1252.x"), InFolder("one\\German.1252.x\\msgs.dll"));
    folder.AddFile("one\\German\\1252.x\\msgs.dll");
    EXPECT_EQ(Find("msgs", "German.1252.x"), InFolder("one\\German\\1252.x\\msgs.dll"));
}

TEST_F(TSearchTest, EscapesAreReplacedWhereverTheyStand) {
    SetTemplate(InFolder("%L-%L%%N%X\\%N.%N"));
    folder.AddFile("German-German%msgs.dll%X\\msgs.dll.msgs.dll");
    EXPECT_EQ(Find("msgs", "German"), InFolder("German-German%msgs.dll%X\\msgs.dll.msgs.dll"));
}

TEST_F(TSearchTest, EscapesInALanguageAreReplacedAsWell) {
    SetTemplate(InFolder("%L\\file"));
    folder.AddFile("msgs.dll\\file");
    EXPECT_EQ(Find("msgs", "%N"), InFolder("msgs.dll\\file"));
    folder.AddFile("%E\\file");
    EXPECT_EQ(Find("msgs", "%E"), InFolder("%E\\file"));
}

TEST_F(TSearchTest, AnEntryThatBecomesTooLongForAnyFileIsLeftOut) {
    std::string marks;
    for (int i = 0; i < 1000; ++i)
        marks += "%N";
    folder.AddFile("msgs.dll");
    SetTemplate(marks + ";" + InFolder("%L") + ";" + InFolder("%N"));
    EXPECT_EQ(Find("msgs", marks.c_str()), InFolder("msgs.dll"));
    SetTemplate(InFolder("%L"));
    EXPECT_EQ(Find(std::string(5'000'000, 'm').c_str(), marks.c_str()), "(null)"); // would need 5 GB
}

TEST_F(TSearchTest, EmptyEntriesAreNoFiles) {
    SetTemplate(";;;" + InFolder("%N") + ";;");
    EXPECT_EQ(Find("msgs", "C"), "(null)");
    folder.AddFile("msgs.dll");
    EXPECT_EQ(Find("msgs", "C"), InFolder("msgs.dll"));
    SetTemplate("");
    EXPECT_EQ(Find("msgs", "C"), "(null)");
    SetTemplate(";");
    EXPECT_EQ(Find("msgs", ""), "(null)");
    EXPECT_EQ(Find("", ""), "(null)");
}

TEST_F(TSearchTest, AZeroInALanguageFindsNothing) {
    SetTemplate(InFolder("%L\\%N"));
    folder.AddFile("file");
    TSearchNLSPath search("msgs");
    EXPECT_EQ(search.FindFile(TString("..\\file\0", 8, ' ')), nullptr);
    EXPECT_EQ(search.FindFile(TString("file\0", 5, ' ')), nullptr);
    SetTemplate(InFolder("%L"));
    EXPECT_EQ(search.FindFile(TString("file\0x", 6, ' ')), nullptr);
    EXPECT_EQ(search.FindFile(TString()), nullptr);
    EXPECT_NE(search.FindFile(TString("file")), nullptr);
}

TEST_F(TSearchTest, WhatWasFoundIsKept) {
    SetTemplate(InFolder("%L\\%N"));
    folder.AddFile("German\\msgs.dll");
    TSearchNLSPath search("msgs");
    char *const path = search.FindFile(TString("German"));
    ASSERT_NE(path, nullptr);
    std::filesystem::remove(folder.Native("German\\msgs.dll"));
    TCapture capture;
    EXPECT_EQ(search.FindFile(TString("French")), path);
    EXPECT_EQ(search.FindFile(), path);
    EXPECT_EQ(search.FindInPath(), path);
    EXPECT_EQ(static_cast<char *>(search), path);
    capture.ExpectNone();
    EXPECT_EQ(std::string(path), InFolder("German\\msgs.dll"));
}

TEST_F(TSearchTest, CopiesHaveTheirOwnPath) {
    SetTemplate(InFolder("%N"));
    folder.AddFile("msgs.dll");
    auto search = std::make_unique<TSearchNLSPath>(TString("msgs"));
    TSearchNLSPath const before(*search);
    ASSERT_NE(search->FindFile(TString("C")), nullptr);
    TSearchNLSPath copy(*search);
    TSearchNLSPath assigned("other");
    assigned = *search;
    search = nullptr;
    std::filesystem::remove(folder.Native("msgs.dll"));
    EXPECT_EQ(std::string(copy.FindFile()), InFolder("msgs.dll"));
    TSearchNLSPath &same = assigned;
    assigned = same;
    EXPECT_EQ(std::string(assigned.FindFile()), InFolder("msgs.dll"));
    assigned = before;
    EXPECT_EQ(assigned.FindFile(TString("C")), nullptr);
}

TEST_F(TSearchTest, ConvertsToThePath) {
    SetTemplate(InFolder("%N"));
    folder.AddFile("msgs.dll");
    TSearchNLSPath search("msgs");
    EXPECT_EQ(std::string(static_cast<char *>(search)), InFolder("msgs.dll"));
}

TEST_F(TSearchTest, TheSystemFindsLibrariesByTheirNames) {
    for (char const *const name : {"beside_program", "beside_program.dll"}) {
        TSearchNLSPath search(name);
        EXPECT_EQ(std::string(search.FindInPath()), ProgramFolder() + "\\beside_program.dll");
    }
    AddLibrary("msgs.DLL");
    std::string const name = InFolder("msgs.DLL");
    TSearchNLSPath search(name.c_str());
    EXPECT_EQ(std::filesystem::path(search.FindInPath()).filename(), std::filesystem::path(name).filename());
}

TEST_F(TSearchTest, TheSystemsSearchAppendsItsEndingToAnyOther) {
    AddLibrary("msgs.res.dll");
    TSearchNLSPath search(InFolder("msgs.res").c_str());
    std::string const found = search.FindInPath();
    EXPECT_EQ(found.substr(found.rfind('\\')), "\\msgs.res.dll");
}

TEST_F(TSearchTest, WithoutAnyLibraryTheProgramIsFound) {
    std::string const program = Program();
    EXPECT_NE(program.find("\\nlsresrc_test"), std::string::npos);
    SetTemplate(InFolder("%L\\%N"));
    TSearchNLSPath search("tuzutil no such library");
    EXPECT_EQ(search.FindFile(TString("C")), nullptr);
    EXPECT_EQ(std::string(search.FindFile()), program);
    EXPECT_EQ(std::string(search.FindFile(TString("C"))), program); // kept like every other
}

TEST_F(TSearchTest, TheProgramOpensAsALibraryOfTexts) {
    TNLSResourceDll program("tuzutil no such library");
    EXPECT_EQ(program.isOpen(), 1);
    ExpectThrows<TAccessError>({.text = "Error getting message", .file = "src/utility/TDLL", .errorId = 2},
                               [&] { program.loadMessage(1, 0); });
}

TEST_F(TSearchTest, AFileThatIsNoLibraryCannotBeOpened) {
    SetTemplate(InFolder("%N"));
    folder.AddFile("msgs.dll", "this is not a library");
    try {
        TNLSResourceDll texts("msgs");
        ADD_FAILURE() << "opened";
    } catch (TAccessError &problem) {
        std::string const frame = "Unable to find or open " + InFolder("msgs.dll") + ", GetLastError=";
        EXPECT_EQ(std::string(problem.text(0)).substr(0, frame.size()), frame);
        EXPECT_STREQ(problem.locationAtIndex(0)->fileName(), "src/utility/TDLL");
    }
}

TEST(TNLSResourceDll, ALibraryThatIsNotOpenIsTriedOnceMore) {
    struct TLibrary {
        int opensAt; // the attempt that succeeds; 0 for none
        int attempts = 0;

        int isOpen() const { return opensAt != 0 && attempts >= opensAt; }
        void open() { ++attempts; }
    };
    TLibrary open{1, 1};
    RequireOpen(open, "msgs");
    EXPECT_EQ(open.attempts, 1);
    TLibrary late{1};
    RequireOpen(late, "msgs");
    EXPECT_EQ(late.attempts, 1);
    TLibrary never{0};
    ExpectThrows<TAccessError>({.text = "Unable to find or open msgs", .file = fsFile},
                               [&] { RequireOpen(never, "msgs"); });
    EXPECT_EQ(never.attempts, 1);
}

TEST_F(TSearchTest, EntriesAreWrittenAtTheirLevelsOnly) {
    TCapture capture(0xFFFFFFFF & ~0x10ul);
    SetTemplate(InFolder("%N"));
    EXPECT_EQ(Find("msgs", "C"), "(null)");
    folder.AddFile("msgs.dll");
    EXPECT_EQ(Find("msgs", "C"), InFolder("msgs.dll"));
    capture.ExpectNone();
}

TEST(TProgramDirectory, IsWhatStandsBeforeTheLastBackslash) {
    TCapture capture;
    EXPECT_EQ(Bytes(ProgramDirectory("C:\\mail\\server.exe")), "C:\\mail");
    EXPECT_EQ(Bytes(ProgramDirectory("\\server")), "");
    EXPECT_EQ(Bytes(ProgramDirectory("")), "");
    EXPECT_EQ(Bytes(ProgramDirectory(TString())), "");
    capture.ExpectNone();
    EXPECT_EQ(Bytes(ProgramDirectory("server.exe")), ".");
    capture.ExpectOne(8, "NLSResource", "Unable to find directory of EXE, using \".\" for %E", fsFile);
}
