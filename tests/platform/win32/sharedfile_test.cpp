#include "support/CaptureTrace.h"
#include "support/TempFolder.h"
#include "tuzutil/TRACESHF.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include <windows.h>

namespace {

TTrace::Category const fsCategory(1, "SharedFileTest");

void Entry(char const *text) {
    TTextMessage message("%s", TagVar(text));
    message.SetDebugging("f", 1);
    TTrace::WriteEntry(TTrace::error, fsCategory, message);
}

std::string Content(std::filesystem::path const &path) {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// Something else has the name of the lock, which cannot be made then.
TEST(TTraceSharedFile, WithoutTheLockRecordsAreWrittenAllTheSame) {
    HANDLE const other = CreateEventA(nullptr, FALSE, FALSE, "kelvoTraceFile");
    ASSERT_NE(other, nullptr);
    TTempFolder const folder;
    folder.AddFile("trace.log", "old\n");
    TCapture capture(TTrace::error);
    {
        TTraceSharedFile const trace(folder.Name("trace.log").c_str());
        capture.ExpectOne(4, "Utility", "Error 6 from CreateMutex(kelvoTraceFile)", "src/utility/MUTEXSEM");
        // That one was written before there was a file; and nobody knows whether others write to it.
        EXPECT_EQ(Content(folder.Native("trace.log")), "old\n");
        Entry("one");
        Entry("two");
    }
    CloseHandle(other);
    std::string const text = Content(folder.Native("trace.log"));
    EXPECT_NE(text.find(" E [f:1] one\n"), std::string::npos) << text;
    EXPECT_TRUE(text.ends_with(" E [f:1] two\n")) << text;
}

// One that lets others delete the file, which then stays until it closes it.
TEST(TTraceSharedFile, AViewerThatHasTheFileOpenDoesNotEndTheTrace) {
    TTempFolder const folder;
    folder.AddFile("trace.log", "old\n");
    HANDLE const viewer =
        CreateFileA(folder.Native("trace.log").string().c_str(), GENERIC_READ,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(viewer, INVALID_HANDLE_VALUE);
    {
        TTraceSharedFile const trace(folder.Name("trace.log").c_str());
        Entry("one");
    }
    CloseHandle(viewer);
    EXPECT_TRUE(Content(folder.Native("trace.log")).ends_with(" E [f:1] one\n"));
    EXPECT_EQ(Content(folder.Native("trace.log")).find("old"), std::string::npos);
}

} // namespace
