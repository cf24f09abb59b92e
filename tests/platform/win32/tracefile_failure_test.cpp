// Trace files on a system whose calls fail, or write only a part of what they are given.

#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <utility>
#include <windows.h>

namespace {

// What the calls of the system do.
struct TSystem {
    DWORD mostWritten = 0xFFFFFFFF; // by one call
    DWORD roomLeft = 0xFFFFFFFF;    // on the disk
    bool reads = true;
    bool hasBytes = true; // whether a read returns any bytes
    bool seeks = true;    // back from the end of a file
    bool mayRead = true;  // whether a file may be opened for reading
} fsSystem;

BOOL WINAPI WriteSome(HANDLE file, void const *bytes, DWORD count, DWORD *done, OVERLAPPED *overlapped) {
    if (fsSystem.roomLeft == 0) {
        *done = 0;
        SetLastError(ERROR_DISK_FULL);
        return FALSE;
    }
    BOOL const isWritten =
        WriteFile(file, bytes, std::min({count, fsSystem.mostWritten, fsSystem.roomLeft}), done, overlapped);
    fsSystem.roomLeft -= *done;
    return isWritten;
}

BOOL WINAPI ReadSome(HANDLE file, void *bytes, DWORD count, DWORD *done, OVERLAPPED *overlapped) {
    SetLastError(ERROR_CRC);
    return fsSystem.reads && ReadFile(file, bytes, fsSystem.hasBytes ? count : 0, done, overlapped);
}

BOOL WINAPI SeekSome(HANDLE file, LARGE_INTEGER distance, PLARGE_INTEGER position, DWORD from) {
    SetLastError(ERROR_SEEK);
    return (fsSystem.seeks || from != FILE_BEGIN) && SetFilePointerEx(file, distance, position, from);
}

HANDLE WINAPI OpenSome(char const *name, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security, DWORD how,
                       DWORD attributes, HANDLE like) {
    if ((access & FILE_READ_DATA) && !fsSystem.mayRead) {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    return CreateFileA(name, access, sharing, security, how, attributes, like);
}

} // namespace

#define WriteFile WriteSome
#define ReadFile ReadSome
#define CreateFileA OpenSome
#define SetFilePointerEx SeekSome
#include "platform/win32/trace_file.cpp"
#undef SetFilePointerEx
#undef CreateFileA
#undef ReadFile
#undef WriteFile

using platform::TTraceFileUse;

namespace {

class TraceFileFailure : public testing::Test {
protected:
    TraceFileFailure() { fsSystem = TSystem(); }

    platform::TraceFile *Open(TTraceFileUse use) { return platform::OpenTraceFile(path.c_str(), use, 0); }
    bool Write(platform::TraceFile *file, std::string const &text) {
        return platform::WriteTraceFile(file, text.data(), text.size());
    }
    std::string Content() const {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }

    TTempFolder const folder;
    std::string const path = folder.Native("trace.log").string();
};

} // namespace

TEST_F(TraceFileFailure, ARecordThatIsWrittenInPartsIsWhole) {
    platform::TraceFile *const file = Open(TTraceFileUse::alone);
    ASSERT_NE(file, nullptr);
    fsSystem.mostWritten = 3;
    EXPECT_TRUE(Write(file, "first record\n"));
    EXPECT_TRUE(Write(file, "second record\n"));
    platform::CloseTraceFile(file);
    EXPECT_EQ(Content(), "first record\r\nsecond record\r\n");
}

TEST_F(TraceFileFailure, AFullDiskCutsARecordAndTheNextBeginsALine) {
    platform::TraceFile *const file = Open(TTraceFileUse::alone);
    ASSERT_NE(file, nullptr);
    fsSystem.roomLeft = 5;
    EXPECT_FALSE(Write(file, "first record\n"));
    EXPECT_FALSE(Write(file, "second record\n"));
    fsSystem.roomLeft = 0xFFFFFFFF;
    EXPECT_TRUE(Write(file, "third record\n"));
    platform::CloseTraceFile(file);
    EXPECT_EQ(Content(), "first\r\nthird record\r\n");
}

TEST_F(TraceFileFailure, ALongRecordIsWholeInTheMiddleOfALine) {
    platform::TraceFile *const file = Open(TTraceFileUse::alone);
    ASSERT_NE(file, nullptr);
    std::string const text(20000, 'x');
    EXPECT_TRUE(Write(file, "cut"));
    EXPECT_TRUE(Write(file, text + "\n"));
    platform::CloseTraceFile(file);
    EXPECT_EQ(Content(), "cut\r\n" + text + "\r\n");
}

// Whether the file ends within a line is not known then. If the file may be read but the system fails, the record
// starts on a new line.
TEST_F(TraceFileFailure, WithoutReadingTheEndOfASharedFileRecordsAreAppended) {
    {
        std::ofstream out(path, std::ios::binary);
        out << "cut";
    }
    platform::TraceFile *file = Open(TTraceFileUse::joined);
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(Write(file, "one\n"));
    platform::CloseTraceFile(file);
    EXPECT_EQ(Content(), "cut\r\none\r\n");
    for (auto const &[works, content] :
         {std::pair(&TSystem::reads, "cut\r\none\r\n"), std::pair(&TSystem::seeks, "cut\r\none\r\n"),
          std::pair(&TSystem::hasBytes, "cutone\r\n"), std::pair(&TSystem::mayRead, "cutone\r\n")}) {
        std::ofstream(path, std::ios::binary) << "cut";
        fsSystem = TSystem();
        fsSystem.*works = false;
        file = Open(TTraceFileUse::joined);
        ASSERT_NE(file, nullptr);
        EXPECT_TRUE(Write(file, "one\n"));
        platform::CloseTraceFile(file);
        EXPECT_EQ(Content(), content);
    }
}

TEST_F(TraceFileFailure, ASharedFileThatIsEmptiedInTheMiddleOfALineBeginsAnew) {
    platform::TraceFile *const file = Open(TTraceFileUse::joined);
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(Write(file, "cut"));
    std::ofstream(path, std::ios::binary | std::ios::trunc).close();
    EXPECT_EQ(Content(), "");
    EXPECT_TRUE(Write(file, "one\n"));
    platform::CloseTraceFile(file);
    EXPECT_EQ(Content(), "one\r\n");
}

TEST_F(TraceFileFailure, AFileThatCannotBeOpenedIsNull) {
    folder.AddFolder("trace.log");
    for (TTraceFileUse const use : {TTraceFileUse::alone, TTraceFileUse::joined, TTraceFileUse::joinedOrBegun})
        EXPECT_EQ(Open(use), nullptr);
    EXPECT_FALSE(Write(nullptr, "lost\n"));
    platform::CloseTraceFile(nullptr);
}
