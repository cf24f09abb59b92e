// Temporary files on a system whose calls fail.

#define _CRT_RAND_S // for rand_s()
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <vector>
#include <windows.h>

namespace {

// What the calls of the system do.
struct TSystem {
    std::vector<DWORD> errors; // of the next calls that make a file
    DWORD folderLength = 0;    // what the call for the folder returns, if hasFolder is false
    bool hasFolder = true;
    int failsRandomFrom = 0x100; // the number of the first word that the system does not give
    int made = 0;                // calls that make a file
    int words = 0;
} fsSystem;

DWORD WINAPI TakeTempPath(DWORD size, wchar_t *path) {
    return fsSystem.hasFolder ? GetTempPathW(size, path) : fsSystem.folderLength;
}

HANDLE WINAPI MakeFile(wchar_t const *name, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security, DWORD how,
                       DWORD attributes, HANDLE like) {
    auto const call = static_cast<std::size_t>(fsSystem.made++);
    if (call >= fsSystem.errors.size())
        return CreateFileW(name, access, sharing, security, how, attributes, like);
    SetLastError(fsSystem.errors[call]);
    return INVALID_HANDLE_VALUE;
}

int TakeRandom(unsigned int *bits) {
    return fsSystem.words++ >= fsSystem.failsRandomFrom ? EINVAL : ::rand_s(bits);
}

} // namespace

#define GetTempPathW TakeTempPath
#define CreateFileW MakeFile
#define rand_s TakeRandom
#include "platform/win32/temporary_file.cpp"
#undef rand_s
#undef CreateFileW
#undef GetTempPathW

namespace {

class TempFileFailure : public testing::Test {
protected:
    TempFileFailure() { fsSystem = TSystem(); }
};

int ErrorOfOpening() {
    int error = 0;
    TempFile const file = platform::OpenTempFile(error);
    if (file == platform::noTempFile)
        return error;
    platform::CloseTempFile(file);
    return 0;
}

} // namespace

TEST_F(TempFileFailure, OfTheSystemIsTheRuntimesErrorNumber) {
    struct {
        DWORD code;
        int number;
    } const rows[] = {
        {ERROR_FILE_NOT_FOUND, ENOENT},    {ERROR_PATH_NOT_FOUND, ENOENT},      {ERROR_INVALID_DRIVE, ENOENT},
        {ERROR_BAD_NETPATH, ENOENT},       {ERROR_TOO_MANY_OPEN_FILES, EMFILE}, {ERROR_ACCESS_DENIED, EACCES},
        {ERROR_SHARING_VIOLATION, EACCES}, {ERROR_WRITE_PROTECT, EACCES},       {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},
        {ERROR_OUTOFMEMORY, ENOMEM},       {ERROR_HANDLE_DISK_FULL, ENOSPC},    {ERROR_DISK_FULL, ENOSPC},
        {ERROR_GEN_FAILURE, EINVAL}};
    for (auto const &row : rows) {
        fsSystem = TSystem();
        fsSystem.errors = {row.code};
        EXPECT_EQ(ErrorOfOpening(), row.number) << row.code;
        EXPECT_EQ(fsSystem.made, 1) << row.code;
        EXPECT_EQ(ErrorOfOpening(), 0) << row.code; // the next try succeeds
    }
}

TEST_F(TempFileFailure, AnotherNameIsTriedIfAFileHasTheName) {
    fsSystem.errors = {ERROR_FILE_EXISTS, ERROR_ALREADY_EXISTS};
    EXPECT_EQ(ErrorOfOpening(), 0);
    EXPECT_EQ(fsSystem.made, 3);
    fsSystem = TSystem();
    fsSystem.errors.assign(100, ERROR_FILE_EXISTS);
    EXPECT_EQ(ErrorOfOpening(), EEXIST);
    EXPECT_EQ(fsSystem.made, 10);
}

TEST_F(TempFileFailure, WithoutAFolderOrRandomBitsNoFileIsMade) {
    fsSystem.hasFolder = false;
    EXPECT_EQ(ErrorOfOpening(), ENOENT);
    fsSystem.folderLength = MAX_PATH + 1;
    EXPECT_EQ(ErrorOfOpening(), ENOENT);
    fsSystem.hasFolder = true;
    fsSystem.failsRandomFrom = 2;
    EXPECT_EQ(ErrorOfOpening(), EINVAL);
    EXPECT_EQ(fsSystem.made, 0);
}

TEST_F(TempFileFailure, OfAReadOrASeekIsMinusOne) {
    TempFile const none = platform::noTempFile;
    char letter = 'x';
    EXPECT_EQ(platform::ReadTempFile(none, &letter, 1), -1);
    EXPECT_EQ(platform::WriteTempFile(none, &letter, 1), 0u);
    EXPECT_EQ(platform::SeekTempFile(none, 0, platform::TFileOrigin::start), -1);
}
