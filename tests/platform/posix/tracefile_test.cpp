#include "platform/posix/Processor.h"
#include "support/Environment.h"
#include "support/TempFolder.h"
#include "tuzutil/TRACESHF.h"
#include "tuzutil/TRACESTR.h"
#include "tuzutil/TXTMSG.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

TTrace::Category const fsCategory(1, "TraceFileTest");

void Entry(std::string const &text) {
    TTextMessage message("%s", TagVar(text.c_str()));
    message.SetDebugging("f", 1);
    TTrace::WriteEntry(TTrace::error, fsCategory, message);
}

std::string Content(std::filesystem::path const &path) {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// Files may not grow beyond a size, as on a full disk.
class TSizeLimit {
public:
    explicit TSizeLimit(rlim_t size) : fSignal(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &fFormer);
        rlimit const limit{size, fFormer.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~TSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &fFormer);
        std::signal(SIGXFSZ, fSignal);
    }

private:
    rlimit fFormer;
    void (*fSignal)(int);
};

std::vector<std::pair<int, std::string>> fsLogged;

} // namespace

// Takes the place of the system's log.
extern "C" __attribute__((visibility("default"))) void syslog(int priority, char const *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    char text[1000];
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    fsLogged.emplace_back(priority, text);
}

TEST(TTraceWindowsDebug, WithoutDebuggersWritesToTheSystemsLog) {
    TTraceWindowsDebug trace;
    trace.SetDisplayPrefix(0);
    Entry("100%d of it");
    ASSERT_EQ(fsLogged.size(), 1u);
    EXPECT_EQ(fsLogged[0].first, LOG_USER | LOG_DEBUG);
    EXPECT_EQ(fsLogged[0].second, "E [f:1] 100%d of it\n");
}

TEST(TraceFile, WithoutRoomLosesTheRecordAndEndsItsLine) {
    TTempFolder const folder;
    TTraceStream trace(folder.Name("trace.log").c_str());
    trace.SetDisplayPrefix(0);
    Entry("one");
    {
        TSizeLimit const limit(20);
        Entry("this one is cut");
        Entry("this one does not fit at all");
    }
    Entry("two");
    EXPECT_EQ(Content(folder.Native("trace.log")), "E [f:1] one\nE [f:1] \nE [f:1] two\n");
}

TEST(TraceFile, OfJsonWithoutRoomLosesTheRecordAndEndsItsLine) {
    for (rlim_t const more : {0u, 1u, 40u, 100u}) { // bytes of the record that still fit
        TTempFolder const folder;
        TTrace const trace(("json[tracejson](" + folder.Name("trace.json") + "),al").c_str());
        Entry("one");
        std::string const whole = Content(folder.Native("trace.json"));
        EXPECT_TRUE(whole.ends_with("\"text\":\"one\"}\n")) << whole;
        {
            TSizeLimit const limit(whole.size() + more);
            Entry("this one is cut");
            Entry("this one does not fit at all");
        }
        Entry("two");
        Entry("three");
        std::string const text = Content(folder.Native("trace.json"));
        EXPECT_TRUE(text.starts_with(whole)) << text;
        EXPECT_TRUE(std::regex_match(text.substr(whole.size()),
                                     std::regex((more ? "[{][^{}\n]*\n" : "") +
                                                std::string("[{][^{}\n]*\"two\"[}]\n[{][^{}\n]*\"three\"[}]\n"))))
            << text;
    }
}

TEST(TraceFile, ThatRotatesLosesTheRecordWithoutRoomAndEndsItsLine) {
    for (rlim_t const more : {0u, 1u, 5u}) {
        TTempFolder const folder;
        TTrace const trace(("rotate[tracerotate](" + folder.Name("trace.log") + ";1000;2),al").c_str());
        Entry("one");
        std::string const whole = Content(folder.Native("trace.log"));
        {
            TSizeLimit const limit(whole.size() + more);
            Entry("this one is cut");
            Entry("this one does not fit at all");
        }
        Entry("two");
        Entry("three");
        std::string const text = Content(folder.Native("trace.log"));
        EXPECT_TRUE(text.starts_with(whole)) << text;
        EXPECT_TRUE(std::regex_match(text.substr(whole.size()),
                                     std::regex((more ? "[^\n]{" + std::to_string(more) + "}\n" : "") +
                                                std::string("[^\n]* two\n[^\n]* three\n"))))
            << text;
    }
}

// What is lost does not count for the size of the file: it is not renamed before it is full.
TEST(TraceFile, ThatRotatesIsNotRenamedForRecordsThatAreLost) {
    TTempFolder const folder;
    TTrace const trace(("rotate[tracerotate](" + folder.Name("trace.log") + ";1000;2),al").c_str());
    Entry("one");
    {
        TSizeLimit const limit(Content(folder.Native("trace.log")).size());
        for (int i = 0; i < 100; ++i)
            Entry("this one does not fit");
    }
    Entry("two");
    EXPECT_FALSE(std::filesystem::exists(folder.Native("trace.log.1")));
    std::string const text = Content(folder.Native("trace.log"));
    EXPECT_TRUE(std::regex_match(text, std::regex("[^\n]* one\n[^\n]* two\n"))) << text;
}

TEST(TTraceSharedFile, WithoutRoomLosesTheRecordAndEndsItsLine) {
    TTempFolder const folder;
    TTraceSharedFile const trace(folder.Name("trace.log").c_str());
    Entry("one");
    std::size_t const size = Content(folder.Native("trace.log")).size();
    {
        TSizeLimit const limit(size + 5);
        Entry("this one is cut");
    }
    Entry("two");
    std::string const text = Content(folder.Native("trace.log"));
    EXPECT_TRUE(std::regex_match(text, std::regex("[^\n]* one\n\\d\\d/\\d\\d\n[^\n]* two\n"))) << text;
}

TEST(TTraceSharedFile, AnotherProgramsLockHoldsNobodyUp) {
    TTempFolder const folder;
    folder.AddFile("trace.log", "old\n");
    int const other = ::open(folder.Native("trace.log").c_str(), O_RDONLY);
    ASSERT_EQ(::flock(other, LOCK_EX), 0);
    {
        TTraceSharedFile const trace(folder.Name("trace.log").c_str());
        Entry("text");
    }
    ::close(other);
    EXPECT_TRUE(Content(folder.Native("trace.log")).ends_with(" E [f:1] text\n"));
}

TEST(TTraceSharedFile, AReadersLocksDoNotHaveAFileEmptiedThatIsInUse) {
    TTempFolder const folder;
    folder.AddFile("trace.log");
    std::string const name = folder.Name("trace.log");
    for (int const how : {LOCK_EX, LOCK_SH}) {
        int const reader = ::open(folder.Native("trace.log").c_str(), O_RDONLY);
        ASSERT_EQ(::flock(reader, how), 0);
        TTraceSharedFile const first(name.c_str());
        ASSERT_EQ(::flock(reader, LOCK_UN), 0);
        Entry("one");
        std::string const text = Content(folder.Native("trace.log"));
        EXPECT_TRUE(text.ends_with(" E [f:1] one\n")) << text;
        {
            TTraceSharedFile const second(name.c_str());
            EXPECT_EQ(Content(folder.Native("trace.log")), text);
        }
        TTraceSharedFile const third(name.c_str());
        EXPECT_EQ(Content(folder.Native("trace.log")), text);
        ::close(reader);
    }
}

TEST(TTraceSharedFile, AFileThatSomebodyHasLockedIsKept) {
    TTempFolder const folder;
    folder.AddFile("trace.log", "old\n");
    int const other = ::open(folder.Native("trace.log").c_str(), O_RDONLY);
    ASSERT_EQ(::flock(other, LOCK_SH), 0);
    TTraceSharedFile const trace(folder.Name("trace.log").c_str());
    ::close(other);
    EXPECT_EQ(Content(folder.Native("trace.log")), "old\n");
}

// A directory has the name of the lock's file.
TEST(TTraceSharedFile, WithoutTheLockOfAllProcessesNothingIsEmptied) {
    TTempFolder const folder;
    folder.AddFolder("run\\tuzutil\\mutex-1-" + ProcessorOfObjects() + "-8c03b5417baa3effcda289254da0336f");
    ::chmod(folder.Native("run").c_str(), 0700);
    ::chmod(folder.Native("run\\tuzutil").c_str(), 0700);
    TEnvironment const variable("XDG_RUNTIME_DIR", folder.Native("run").c_str());
    folder.AddFile("trace.log", "old\n");
    TTraceSharedFile const trace(folder.Name("trace.log").c_str());
    Entry("new");
    std::string const text = Content(folder.Native("trace.log"));
    EXPECT_TRUE(text.starts_with("old\n")) << text;
    EXPECT_TRUE(text.ends_with(" E [f:1] new\n")) << text;
}

TEST(TraceFile, IsItsOwnersOnlyUnlessTheProgramChoosesOtherwise) {
    TTempFolder const folder;
    mode_t const mask = ::umask(0);
    auto const modeOf = [&folder](char const *name) {
        struct stat status = {};
        EXPECT_EQ(::stat(folder.Native(name).c_str(), &status), 0);
        return status.st_mode & 07777;
    };
    TTraceStream const one(folder.Name("one.log").c_str());
    TTraceSharedFile const two(folder.Name("two.log").c_str());
    EXPECT_EQ(modeOf("one.log"), 0600u);
    EXPECT_EQ(modeOf("two.log"), 0600u);
    EXPECT_EQ(TTraceStreamBase::SetFileMode(07644), 0600u);
    EXPECT_EQ(TTraceStreamBase::QueryFileMode(), 0644u);
    TTraceStream const three(folder.Name("three.log").c_str());
    TTraceSharedFile const four(folder.Name("four.log").c_str());
    EXPECT_EQ(modeOf("three.log"), 0644u);
    EXPECT_EQ(modeOf("four.log"), 0644u);
    ::umask(027);
    TTraceStream const five(folder.Name("five.log").c_str());
    EXPECT_EQ(modeOf("five.log"), 0640u);
    EXPECT_EQ(TTraceStreamBase::SetFileMode(0600), 0644u);
    ::umask(mask);
}

TEST(TTraceSharedFile, WhatMayOnlyBeWrittenIsWritten) {
    TTempFolder const folder;
    folder.AddFile("trace.log");
    ::chmod(folder.Native("trace.log").c_str(), 0222);
    int status = -1;
    pid_t const child = ::fork(); // for whom the permissions count
    if (child == 0) {
        ::chmod(folder.Native("").c_str(), 0777);
        if (::getuid() == 0 && ::setuid(65534) != 0)
            ::_exit(2);
        TTraceSharedFile const trace(folder.Name("trace.log").c_str());
        Entry("text");
        ::_exit(0);
    }
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    ::chmod(folder.Native("trace.log").c_str(), 0666);
    EXPECT_TRUE(Content(folder.Native("trace.log")).ends_with(" E [f:1] text\n"));
}

// The last byte cannot be read, so the line before counts as complete: not each record comes after an empty line.
TEST(TTraceSharedFile, WhatMayOnlyBeWrittenGetsNoEmptyLines) {
    TTempFolder const folder;
    folder.AddFile("trace.log");
    ::chmod(folder.Native("trace.log").c_str(), 0222);
    int status = -1;
    std::fflush(nullptr);         // so that the child does not write the same again when it exits
    pid_t const child = ::fork(); // for whom the permissions count
    if (child == 0) {
        ::chmod(folder.Native("").c_str(), 0777);
        if (::getuid() == 0 && ::setuid(65534) != 0)
            ::_exit(2);
        ::prctl(PR_SET_DUMPABLE, 1); // the leak sanitizer looks into the process at its end
        {
            TTraceSharedFile const trace(folder.Name("trace.log").c_str());
            Entry("one");
            std::ofstream(folder.Native("trace.log"), std::ios::app) << "of another process\n";
            Entry("two");
        }
        std::exit(0);
    }
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    ::chmod(folder.Native("trace.log").c_str(), 0666);
    std::string const content = Content(folder.Native("trace.log"));
    EXPECT_TRUE(std::regex_match(content, std::regex(".* one\nof another process\n.* two\n"))) << content;
}

TEST(TTraceSharedFile, ThatSomebodyHasEmptiedBeginsWithTheNextRecord) {
    TTempFolder const folder;
    std::filesystem::path const path = folder.Native("trace.log");
    TTraceSharedFile const trace(folder.Name("trace.log").c_str());
    Entry("one");
    std::ofstream(path, std::ios::app) << "cut";
    std::filesystem::resize_file(path, 0);
    Entry("two");
    EXPECT_TRUE(std::regex_match(Content(path), std::regex(".* two\n"))) << Content(path);
}

TEST(TraceFile, ADeviceThatTakesNothingIsNoError) {
    TTraceStream const full("\\dev\\full");
    TTraceSharedFile const shared("\\dev\\full");
    TTrace const json("json[tracejson](\\dev\\full),al");
    TTrace const rotated("rotate[tracerotate](\\dev\\full;1000000;1),al");
    std::ostringstream out;
    TTraceStream behind(out);
    behind.SetDisplayPrefix(0);
    Entry("text");
    EXPECT_EQ(out.str(), "E [f:1] text\n");
}

TEST(TTraceSharedFile, AForkedChildWritesAsItself) {
    TTempFolder const folder;
    TTraceSharedFile const trace(folder.Name("trace.log").c_str());
    std::atomic<bool> done{false};
    std::thread writer([&] {
        while (!done)
            Entry("thread");
    });
    constexpr int children = 20, records = 50;
    std::vector<pid_t> pids;
    for (int i = 0; i < children; ++i) {
        pid_t const child = ::fork();
        if (child == 0) {
            ::alarm(20);
            for (int j = 0; j < records; ++j)
                Entry("child " + std::to_string(i));
            ::_exit(0);
        }
        pids.push_back(child);
        Entry("parent");
    }
    for (pid_t const child : pids) {
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    done = true;
    writer.join();

    std::regex const form("[0-9/:.-]{17} ([0-9A-F]{8}):([0-9A-F]{8}) E \\[f:1\\] (thread|parent|child (\\d+))");
    std::vector<int> seen(children);
    int parents = 0;
    std::istringstream in(Content(folder.Native("trace.log")));
    for (std::string line; std::getline(in, line);) {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(line, match, form)) << line;
        bool const isChild = match[4].matched;
        pid_t const expected = isChild ? pids[static_cast<std::size_t>(std::stoi(match[4]))] : ::getpid();
        EXPECT_EQ(static_cast<pid_t>(std::stoul(match[1], nullptr, 16)), expected);
        if (isChild) {
            ++seen[static_cast<std::size_t>(std::stoi(match[4]))];
            EXPECT_EQ(match[2], match[1]); // its only thread
        }
        parents += match[3] == "parent";
    }
    EXPECT_EQ(seen, std::vector<int>(children, records));
    EXPECT_EQ(parents, children);
}
