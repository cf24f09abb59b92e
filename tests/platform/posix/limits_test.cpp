// Limits of the process and of its files: little memory, folders that cannot be written, and files and folders that
// somebody removes or renames while the library uses them.

#include "platform/posix/InChild.h"
#include "support/TempFolder.h"
#include "tuzutil/CONCSTRM.h"
#include "tuzutil/DIRECTRY.h"
#include "tuzutil/DOTBYTE.h"
#include "tuzutil/EXCEPTN.h"
#include "tuzutil/LINESTRM.h"
#include "tuzutil/MEMSTRM.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TRACESHF.h"
#include "tuzutil/TRACESTR.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

TTrace::Category const fsCategory(8, "Limits");

void Entry(char const *text) {
    TTracePoint::Write(TTrace::error, fsCategory, {"f", 1}, "%s", text);
}

std::string Content(std::filesystem::path const &path) {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The user "nobody" has no rights in the folders of the tests. If the test does not run as root, its own user has none
// in a folder without permissions.
bool GiveUpRights() {
    return ::geteuid() != 0 || (::setgid(65534) == 0 && ::setuid(65534) == 0);
}

struct TReadOnlyFolder {
    TReadOnlyFolder() {
        fFolder.AddFile("old.log", "old\n");
        ::chmod(fFolder.Native("old.log").c_str(), 0444);
        ::chmod(fFolder.Native("").c_str(), 0555);
    }
    ~TReadOnlyFolder() { ::chmod(fFolder.Native("").c_str(), 0755); }
    std::string Name(char const *file) const { return fFolder.Name(file); }
    std::filesystem::path Native(char const *file) const { return fFolder.Native(file); }

private:
    TTempFolder fFolder;
};

} // namespace

TEST(ReadOnlyFolder, TakesNoTraceFileAndOtherDestinationsGoOn) {
    TReadOnlyFolder const folder;
    EXPECT_EQ(InChild([&] {
                  if (!GiveUpRights())
                      return 1;
                  std::ostringstream out;
                  TTraceStream behind(out);
                  behind.SetDisplayPrefix(0);
                  TTraceStream const made(folder.Name("new.log").c_str());
                  TTraceStream const old(folder.Name("old.log").c_str());
                  TTraceSharedFile const shared(folder.Name("shared.log").c_str());
                  Entry("text");
                  return out.str() == "E [f:1] text\n" ? 0 : 2;
              }),
              0);
    EXPECT_EQ(Content(folder.Native("old.log")), "old\n");
    EXPECT_FALSE(std::filesystem::exists(folder.Native("new.log")));
    EXPECT_FALSE(std::filesystem::exists(folder.Native("shared.log")));
}

TEST(ReadOnlyFolder, TakesNoFolder) {
    TReadOnlyFolder const folder;
    EXPECT_EQ(InChild([&] {
                  if (!GiveUpRights())
                      return 1;
                  if (TDirectory::MakeDir(folder.Name("made").c_str()) != 1)
                      return 2;
                  return TDirectory::MakeTree(folder.Name("made\\below").c_str()) == 1 ? 0 : 3;
              }),
              0);
    EXPECT_FALSE(std::filesystem::exists(folder.Native("made")));
}

TEST(TraceFile, ThatIsRenamedKeepsItsEntriesAndTheNextDestinationBeginsAFileOfItsOwn) {
    TTempFolder const folder;
    {
        TTraceStream first(folder.Name("trace.log").c_str());
        first.SetDisplayPrefix(0);
        Entry("one");
        std::filesystem::rename(folder.Native("trace.log"), folder.Native("trace.old"));
        Entry("two");
        EXPECT_FALSE(std::filesystem::exists(folder.Native("trace.log")));
        TTraceStream second(folder.Name("trace.log").c_str());
        second.SetDisplayPrefix(0);
        Entry("three");
    }
    EXPECT_EQ(Content(folder.Native("trace.old")), "E [f:1] one\nE [f:1] two\nE [f:1] three\n");
    EXPECT_EQ(Content(folder.Native("trace.log")), "E [f:1] three\n");
}

// If the second process took the files for the same because of their names, it would not empty the file.
TEST(TTraceSharedFile, ThatIsRemovedIsAnotherFileForWhoeverComesLater) {
    TTempFolder const folder;
    TTraceSharedFile const first(folder.Name("trace.log").c_str());
    Entry("one");
    std::filesystem::remove(folder.Native("trace.log"));
    folder.AddFile("trace.log", "of somebody else\n");
    EXPECT_EQ(InChild([&] {
                  TTraceSharedFile const second(folder.Name("trace.log").c_str());
                  Entry("two");
                  return 0;
              }),
              0);
    Entry("three");
    std::string const text = Content(folder.Native("trace.log"));
    EXPECT_TRUE(text.ends_with(" E [f:1] two\n")) << text;
    EXPECT_EQ(text.find("somebody"), text.npos);
    EXPECT_EQ(text.find("one"), text.npos);
    EXPECT_EQ(text.find("three"), text.npos);
}

TEST(TraceFile, MayLieInAFolderThatIsRemovedMeanwhile) {
    TTempFolder const folder;
    folder.AddFolder("logs");
    std::ostringstream out;
    TTraceStream behind(out);
    behind.SetDisplayPrefix(0);
    TTraceStream const trace(folder.Name("logs\\trace.log").c_str());
    Entry("one");
    std::filesystem::remove_all(folder.Native("logs"));
    Entry("two");
    EXPECT_EQ(out.str(), "E [f:1] one\nE [f:1] two\n");
    EXPECT_FALSE(std::filesystem::exists(folder.Native("logs")));
}

TEST(Enumeration, EndsIfItsFolderIsRemovedMeanwhile) {
    TTempFolder const folder;
    std::set<std::string> added;
    for (int i = 0; i < 2000; ++i) {
        std::string const name = "a file whose name is not short " + std::to_string(i);
        folder.AddFile("listed\\" + name);
        added.insert(name);
    }
    TDirectory listed(folder.Name("listed").c_str());
    int isDirectory = 0;
    TString name;
    std::set<std::string> seen;
    ASSERT_TRUE(static_cast<bool>(listed.FindFirst(&isDirectory, &name)));
    seen.insert(static_cast<char const *>(name));
    std::filesystem::remove_all(folder.Native("listed"));
    while (listed.FindNext(&isDirectory, &name)) {
        EXPECT_TRUE(added.contains(static_cast<char const *>(name))) << static_cast<char const *>(name);
        EXPECT_TRUE(seen.insert(static_cast<char const *>(name)).second) << "twice";
        EXPECT_EQ(isDirectory, 0);
    }
    EXPECT_LT(seen.size(), added.size()); // the system had read only a part of the names
}

TEST(Enumeration, BegunAgainClosesTheFolderThatItHadOpen) {
    TTempFolder const folder;
    for (char const *const file : {"one", "two", "three"})
        folder.AddFile(file);
    auto const openFiles = [] {
        std::filesystem::directory_iterator const files("/proc/self/fd");
        return std::distance(begin(files), end(files));
    };
    auto const before = openFiles();
    {
        TDirectory listed(folder.Name().c_str());
        EXPECT_TRUE(static_cast<bool>(listed.FindFirst()));
        EXPECT_TRUE(static_cast<bool>(listed.FindFirst()));
        EXPECT_EQ(openFiles(), before + 1);
    }
    EXPECT_EQ(openFiles(), before);
}

TEST(Enumeration, GoesOnIfItsFolderIsRenamedMeanwhile) {
    TTempFolder const folder;
    for (char const *const file : {"listed\\one", "listed\\two"})
        folder.AddFile(file);
    std::filesystem::create_directory_symlink("..", folder.Native("listed\\link"));
    TDirectory listed(folder.Name("listed").c_str());
    int isDirectory = 0;
    TString name;
    std::set<std::string> seen;
    TString path = listed.FindFirst(&isDirectory, &name);
    std::filesystem::rename(folder.Native("listed"), folder.Native("renamed"));
    for (; path; path = listed.FindNext(&isDirectory, &name))
        seen.insert(std::string(static_cast<char const *>(name)) + (isDirectory ? "/" : ""));
    EXPECT_EQ(seen, (std::set<std::string>{"link/", "one", "two"}));
}

TEST(Enumeration, ListsALinkAsWhatItLeadsTo) {
    TTempFolder const folder;
    folder.AddFile("listed\\one");
    folder.AddFolder("elsewhere");
    std::filesystem::create_directory_symlink("../elsewhere", folder.Native("listed\\to_folder"));
    std::filesystem::create_symlink("one", folder.Native("listed\\to_file"));
    std::filesystem::create_symlink("nothing", folder.Native("listed\\to_nothing"));
    TDirectory listed(folder.Name("listed").c_str());
    int isDirectory = 0;
    TString name;
    std::set<std::string> seen;
    for (TString path = listed.FindFirst(&isDirectory, &name); path; path = listed.FindNext(&isDirectory, &name))
        seen.insert(std::string(static_cast<char const *>(name)) + (isDirectory ? "/" : ""));
    EXPECT_EQ(seen, (std::set<std::string>{"one", "to_file", "to_folder/", "to_nothing"}));
}

#if !defined(__SANITIZE_ADDRESS__) &&                                                                                  \
    !defined(__SANITIZE_THREAD__) // a sanitizer needs more address space than any limit

// Runs `check` in a child that may use 64 MiB more than now.
template <typename Check>
static int WithLittleMemory(Check check) {
    return InChild([&] {
        std::ifstream status("/proc/self/statm");
        rlim_t pages = 0;
        status >> pages;
        rlim_t const size = pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE)) + (64u << 20);
        rlimit const limit = {size, size};
        return ::setrlimit(RLIMIT_AS, &limit) == 0 ? check() : 1;
    });
}

TEST(LittleMemory, FillsAMemoryStreamUntilItFailsAndKeepsWhatItHolds) {
    EXPECT_EQ(WithLittleMemory([] {
                  TMemStream stream(1000000);
                  std::string const block(10000, 'x');
                  std::size_t written = 0;
                  for (; stream.write(block.data(), static_cast<std::streamsize>(block.size())); ++written) {
                      if (written > 100000)
                          return 2; // the limit is not effective
                  }
                  if (!stream.bad() || written < 1000)
                      return 3;
                  stream.clear();
                  for (std::size_t i = 0; i < written * block.size(); ++i) {
                      if (stream.get() != 'x')
                          return 4;
                  }
                  return 0;
              }),
              0);
}

namespace {

// A line of 300 MiB that does not end.
class TEndlessBuf : public std::streambuf {
protected:
    int_type underflow() override {
        if (fLeft == 0)
            return traits_type::eof();
        fLeft -= fBlock.size();
        setg(fBlock.data(), fBlock.data(), fBlock.data() + fBlock.size());
        return traits_type::to_int_type(fBlock[0]);
    }

private:
    std::string fBlock = std::string(1 << 16, 'x');
    std::size_t fLeft = 300u << 20;
};

// Counts what is read from the stream in blocks.
std::size_t CountOf(std::istream &in) {
    std::string block(1 << 16, '\0');
    std::size_t count = 0;
    while (in.read(block.data(), static_cast<std::streamsize>(block.size())), in.gcount() > 0)
        count += static_cast<std::size_t>(in.gcount());
    return count;
}

} // namespace

TEST(LittleMemory, IsEnoughToReadALineWithoutAnEnd) {
    EXPECT_EQ(WithLittleMemory([] {
                  TEndlessBuf first, second;
                  std::istream one(&first), two(&second);
                  std::string line;
                  if (TiLineStream(&one).ReadLine(line, 1000) != TLineRead::end || line != std::string(1000, 'x'))
                      return 2;
                  TiLineStream in(&two);
                  return CountOf(in) == 300u << 20 ? 0 : 3;
              }),
              0);
}

TEST(LittleMemory, IsEnoughForABodyOfOneLineWithoutAnEnd) {
    EXPECT_EQ(WithLittleMemory([] {
                  TEndlessBuf first, second;
                  std::istream one(&first), two(&second);
                  TiDotByteStream in(one);
                  if (CountOf(in) != 300u << 20 || in.IsTerminated())
                      return 2;
                  TiConcatStream joined(1, 16384, two);
                  joined.SetWholeLines(1);
                  return CountOf(joined) == (300u << 20) + 2 ? 0 : 3; // it adds the line end
              }),
              0);
}

TEST(LittleMemory, GrowsAStringUntilItThrowsAndKeepsIt) {
    EXPECT_EQ(WithLittleMemory([] {
                  TString text("begin");
                  TString const more(nullptr, 1 << 20, 'x');
                  unsigned int length = 0;
                  try {
                      for (int i = 0; i < 10000; ++i) {
                          length = text.length();
                          text += more;
                      }
                      return 2; // the limit is not effective
                  } catch (TOutOfMemory const &) {
                      return text.length() == length && text.indexOf("beginx") == 1 ? 0 : 3;
                  }
              }),
              0);
}

#endif
