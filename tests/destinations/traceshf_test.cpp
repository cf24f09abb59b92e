#include "tuzutil/TRACESHF.h"

#include "destinations/shared_tracer.h"
#include "support/CaptureTrace.h"
#include "support/Expect.h"
#include "support/Process.h"
#include "support/TempFolder.h"
#include "tuzutil/MUTEXSEM.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <regex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

TTrace::Category const fsCategory(1, "SharedFileTest");

char const fsPrefix[] = "\\d\\d/\\d\\d-\\d\\d:\\d\\d:\\d\\d\\.\\d\\d [0-9A-F]{8}:[0-9A-F]{8} ";
constexpr std::size_t fsPrefixLength = 37;

void Entry(unsigned long level, char const *text) {
    TTextMessage message("%s", TagVar(text));
    message.SetDebugging("src/file.cpp", 7);
    TTrace::WriteEntry(level, fsCategory, message);
}

std::string Content(std::filesystem::path const &path, std::ios_base::openmode mode = std::ios_base::in) {
    std::ifstream in(path, mode);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The texts of the lines, without prefix and source.
std::vector<std::string> Texts(std::filesystem::path const &path) {
    std::ifstream in(path);
    std::vector<std::string> texts;
    for (std::string line; std::getline(in, line);)
        texts.push_back(line.substr(std::min(line.size(), fsPrefixLength + std::string(" [file.cpp:7] ").size())));
    return texts;
}

using TTexts = std::vector<std::string>;

} // namespace

TEST(TTraceSharedFile, LinesHaveProcessAndThread) {
    TTempFolder const folder;
    TTraceSharedFile trace(folder.Name("trace.log").c_str());
    Entry(TTrace::warning, "text");
    std::string const line = Content(folder.Native("trace.log"));
    EXPECT_TRUE(std::regex_match(line, std::regex(std::string(fsPrefix) + "W \\[file\\.cpp:7\\] text\n"))) << line;
    TTextMessage const plain("no source");
    TTrace::WriteEntry(TTrace::error, fsCategory, plain);
    std::string const both = Content(folder.Native("trace.log"));
    EXPECT_TRUE(std::regex_match(both.substr(line.size()),
                                 std::regex(std::string(fsPrefix) + "E \\[\\?{4}\\.\\?{3}:0\\] no source\n")))
        << both;
}

TEST(TTraceSharedFile, ThePrefixIsLongWhateverIsSet) {
    TTempFolder const folder;
    TTraceSharedFile trace(folder.Name("trace.log").c_str());
    trace.SetDisplayPrefix(0);
    Entry(TTrace::error, "text");
    EXPECT_TRUE(std::regex_match(Content(folder.Native("trace.log")),
                                 std::regex(std::string(fsPrefix) + "E \\[file\\.cpp:7\\] text\n")));
    auto const &destination = dynamic_cast<TTraceSharedFileBase const &>(*trace.QueryPointer());
    TString prefix;
    destination.FormatPrefix(prefix, TTrace::warning);
    EXPECT_EQ(prefix.length(), fsPrefixLength);
    EXPECT_TRUE(std::regex_match(Bytes(prefix), std::regex(std::string(fsPrefix) + "W"))) << Data(prefix);
    trace.FormatPrefix(prefix, TTrace::warning); // that of every destination
    EXPECT_EQ(Bytes(prefix), "W");
}

TEST(TTraceSharedFile, MayBeAPathOfAnyCharacters) {
    TTempFolder folder;
#if defined(_WIN32)
    std::filesystem::path const path = folder.Native("") / u"\u65E5\u672C.log";
#else
    std::filesystem::path const path = folder.Native("") / u"\u65E5\\\u672C.log";
#endif
    {
        TTraceSharedFile const one(path);
        TTraceSharedFile const other(path); // joins it
        EXPECT_EQ(other.QueryPath(), path);
        Entry(TTrace::error, "twice");
    }
    EXPECT_EQ(Texts(path), (TTexts{"twice", "twice"}));
}

TEST(TTraceSharedFile, TheHandleSharesItsDestination) {
    TTraceSharedFile none;
    EXPECT_FALSE(none.QueryPointer());
    EXPECT_EQ(none.QueryPath(), std::filesystem::path());
    TTempFolder const folder;
    TTraceSharedFile const trace(folder.Name("trace.log").c_str());
    EXPECT_EQ(trace.QueryPath(), folder.Native("trace.log"));
    TTraceSharedFile copy(trace);
    none = copy;
    copy.SetLevel(TTrace::error);
    EXPECT_EQ(trace.QueryLevel(), 4u);
    EXPECT_EQ(none.QueryLevel(), 4u);
    Entry(TTrace::error, "once");
    EXPECT_EQ(Texts(folder.Native("trace.log")), TTexts{"once"});
}

TEST(TTraceSharedFile, TheFirstDiscardsTheContentAndTheNextJoin) {
    TTempFolder const folder;
    std::string const name = folder.Name("trace.log");
    folder.AddFile("trace.log", "old\n");
    auto first = std::make_unique<TTraceSharedFile>(name.c_str());
    EXPECT_EQ(Content(folder.Native("trace.log")), "");
    Entry(TTrace::error, "one");
    auto second = std::make_unique<TTraceSharedFile>(name.c_str());
    Entry(TTrace::error, "two");
    EXPECT_EQ(Texts(folder.Native("trace.log")), (TTexts{"one", "two", "two"}));
    first.reset();
    auto third = std::make_unique<TTraceSharedFile>(name.c_str()); // the second one still has it
    second.reset();
    Entry(TTrace::error, "three");
    EXPECT_EQ(Texts(folder.Native("trace.log")), (TTexts{"one", "two", "two", "three"}));
    third.reset();
    TTraceSharedFile const fourth(name.c_str());
    EXPECT_EQ(Content(folder.Native("trace.log")), "");
}

TEST(TTraceSharedFile, AnUnfinishedLineIsEndedFirst) {
    TTempFolder const folder;
    TTraceSharedFile const trace(folder.Name("trace.log").c_str());
    Entry(TTrace::error, "one");
    std::ofstream(folder.Native("trace.log"), std::ios::app) << "of a process that was killed";
    Entry(TTrace::error, "two");
    std::ofstream(folder.Native("trace.log"), std::ios::app) << "whole\n";
    Entry(TTrace::error, "three");
    std::string text = Content(folder.Native("trace.log"));
    text = std::regex_replace(text, std::regex(fsPrefix), "");
    EXPECT_EQ(text,
              "E [file.cpp:7] one\nof a process that was killed\nE [file.cpp:7] two\nwhole\nE [file.cpp:7] three\n");
}

TEST(TTraceSharedFile, WithoutItsDirectoryNothingIsWrittenAndNothingRaised) {
    TTempFolder const folder;
    TTraceSharedFile trace(folder.Name("none\\trace.log").c_str());
    TTraceSharedFile const nameless(static_cast<char const *>(nullptr));
    Entry(TTrace::error, "lost");
    EXPECT_FALSE(folder.HasFolder("none"));
    EXPECT_TRUE(trace.QueryPointer());
}

TEST(TTraceSharedFile, RecordsWaitForTheLockOfAllProcesses) {
    TTempFolder const folder;
    TTraceSharedFile const trace(folder.Name("trace.log").c_str());
    TMutexSemaphore lock("kelvoTraceFile");
    auto entry = std::make_unique<TMutexSemaphoreEntry>(lock, TMutexSemaphore::fsInfinite);
    ASSERT_EQ(entry->State(), TMutexSemaphore::Locked);
    std::atomic<bool> isWritten{false};
    std::thread writer([&] {
        Entry(TTrace::error, "text");
        isWritten = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(isWritten);
    EXPECT_EQ(Content(folder.Native("trace.log")), "");
    entry.reset();
    writer.join();
    EXPECT_EQ(Texts(folder.Native("trace.log")), TTexts{"text"});
}

TEST(TTraceSharedFile, AFileThatAnotherProcessHasOpenIsJoined) {
    TTempFolder const folder;
    std::string const name = folder.Name("trace.log");
    folder.AddFile("trace.log", "old\n");
    {
        TProcess holder("shared_tracer",
                        {folder.Native("trace.log").string(), "0", "0", folder.Native("open").string()});
        while (!std::filesystem::exists(folder.Native("open")))
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::ofstream(folder.Native("trace.log"), std::ios::app) << "of the holder\n";
        TTraceSharedFile const trace(name.c_str());
        Entry(TTrace::error, "one");
        std::string const text = Content(folder.Native("trace.log"));
        EXPECT_TRUE(text.starts_with("of the holder\n")) << text;
        EXPECT_EQ(Texts(folder.Native("trace.log")).back(), "one");
        holder.Kill();
    }
    TTraceSharedFile const trace(name.c_str()); // nobody has it now
    EXPECT_EQ(Content(folder.Native("trace.log")), "");
}

// The proof: eight processes at once, two of them killed.

namespace {

constexpr unsigned fsWriters = 8;
constexpr unsigned fsRecords = 5000;

// What a file holds of one writer.
struct TSeenWriter {
    unsigned last = 0; // the number of its last whole record
    unsigned torn = 0; // lines of it that are not whole
};

class TSharedTraceCheck {
public:
    // False for a line that nobody can have written.
    bool Take(std::string_view line) {
        std::string_view rest = line.substr(std::min(line.size(), fsPrefixLength));
        if (!rest.starts_with(" [w"))
            return TakeTorn(line);
        unsigned writer = 0, number = 0;
        std::size_t const colon = rest.find(':'), bracket = rest.find("] ");
        if (colon == std::string_view::npos || bracket == std::string_view::npos)
            return TakeTorn(line);
        writer = static_cast<unsigned>(std::stoul(std::string(rest.substr(3))));
        number = static_cast<unsigned>(std::stoul(std::string(rest.substr(colon + 1))));
        if (writer >= fsWriters)
            return false;
        std::string const payload = SharedPayload(writer, number);
        char expected[16];
        std::snprintf(expected, sizeof expected, "%08x ", SharedChecksum(payload));
        if (rest.substr(bracket + 2) != expected + payload) {
            ++writers[writer].torn;
            return true;
        }
        if (number != writers[writer].last + 1)
            return false; // lost, twice, or out of order
        writers[writer].last = number;
        return true;
    }

    std::array<TSeenWriter, fsWriters> writers;
    unsigned tornByNobody = 0;

private:
    // The beginning of a line whose writer is not told.
    bool TakeTorn(std::string_view) { return ++tornByNobody <= 2; }
};

// Waits until the file has grown to a size, a minute at most.
void AwaitSize(std::filesystem::path const &path, std::uintmax_t size) {
    for (int i = 0; i < 60000 && std::filesystem::file_size(path) < size; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

} // namespace

TEST(TTraceSharedFile, EveryLineOfEightProcessesIsWholeOnceAndInOrder) {
    TTempFolder const folder;
    std::filesystem::path const path = folder.Native("trace.log");
    std::filesystem::path const gate = folder.Native("gate");
    TTraceSharedFile const holder(folder.Name("trace.log").c_str()); // who starts late still joins
    std::vector<std::unique_ptr<TProcess>> processes;
    for (unsigned i = 0; i < fsWriters; ++i)
        processes.push_back(std::make_unique<TProcess>(
            "shared_tracer",
            std::vector<std::string>{path.string(), std::to_string(i), std::to_string(fsRecords), gate.string()}));
    folder.AddFile("gate");

    // The first two are killed somewhere in their first half, when all of them write.
    std::random_device seed;
    std::mt19937 random(seed());
    constexpr std::uintmax_t half = std::uintmax_t{fsWriters} * fsRecords / 2 * 3000;
    std::uintmax_t const first = std::uniform_int_distribution<std::uintmax_t>(1, half)(random);
    std::uintmax_t const second = std::uniform_int_distribution<std::uintmax_t>(first, half)(random);
    AwaitSize(path, first);
    processes[0]->Kill();
    AwaitSize(path, second);
    processes[1]->Kill();
    for (unsigned i = 2; i < fsWriters; ++i)
        EXPECT_EQ(processes[i]->Wait(), 0);

    TSharedTraceCheck check;
    std::ifstream in(path); // text: line ends are those of the system
    std::size_t lines = 0;
    for (std::string line; std::getline(in, line); ++lines)
        ASSERT_TRUE(check.Take(line)) << "line " << lines + 1 << ", killed at " << first << " and " << second << ": "
                                      << line.substr(0, 100);
    for (unsigned i = 2; i < fsWriters; ++i) {
        EXPECT_EQ(check.writers[i].last, fsRecords) << "writer " << i;
        EXPECT_EQ(check.writers[i].torn, 0u) << "writer " << i;
    }
    for (unsigned i = 0; i < 2; ++i) {
        EXPECT_LT(check.writers[i].last, fsRecords) << "writer " << i << " was killed too late to tell anything";
        EXPECT_LE(check.writers[i].torn, 1u) << "writer " << i;
    }
}
