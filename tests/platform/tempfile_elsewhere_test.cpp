// Temporary files where the runtime's own function has none to give: this program has its own copy of the platform's,
// above a function that always fails. On Windows nobody asks that one.

#include <cstdio>

[[maybe_unused]] static FILE *NoTempFile() {
    return nullptr;
}
#define tmpfile NoTempFile
#include TUZUTIL_TEMPFILE_SOURCE
#undef tmpfile

#include "support/Environment.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

namespace {

std::set<std::string> NamesIn(std::filesystem::path const &folder) {
    std::set<std::string> names;
    for (auto const &entry : std::filesystem::directory_iterator(folder)) {
        std::string const name = entry.path().filename().string();
        if (name.rfind("tuz", 0) == 0 && entry.path().extension() == ".tmp")
            names.insert(name);
    }
    return names;
}

} // namespace

TEST(TempFileElsewhere, IsWrittenReadAndGone) {
    // In a folder of its own, because other programs may have temporary files at the same time.
    TTempFolder const folder;
#if defined(_WIN32)
    TEnvironment const variable("TMP", folder.Native("").string().c_str());
#else
    TEnvironment const variable("TMPDIR", folder.Native("").string().c_str());
#endif
    int error = 0;
    platform::TempFile const file = platform::OpenTempFile(error);
    ASSERT_NE(file, platform::noTempFile);
    EXPECT_EQ(platform::WriteTempFile(file, "0123456789", 10), 10u);
    EXPECT_EQ(platform::SeekTempFile(file, -3, platform::TFileOrigin::end), 7);
    char bytes[10] = {};
    EXPECT_EQ(platform::ReadTempFile(file, bytes, 10), 3);
    EXPECT_STREQ(bytes, "789");
    EXPECT_EQ(platform::ReadTempFile(file, bytes, 10), 0);
    EXPECT_EQ(platform::SeekTempFile(file, -1, platform::TFileOrigin::start), -1);
    EXPECT_EQ(platform::SeekTempFile(file, 1, platform::TFileOrigin::start), 1);
    EXPECT_EQ(platform::SeekTempFile(file, 1, platform::TFileOrigin::current), 2);
    platform::CloseTempFile(file);
    EXPECT_EQ(NamesIn(folder.Native("")), std::set<std::string>());
}

#if defined(_WIN32)
TEST(TempFileElsewhere, WhereTheUsersFolderIsNotThereTheErrorIsThatOfTheRuntime) {
    TEnvironment const folder("TMP", "C:\\no\\such\\folder");
    int error = 0;
    EXPECT_EQ(platform::OpenTempFile(error), platform::noTempFile);
    EXPECT_EQ(error, ENOENT);
}
#else
TEST(TempFileElsewhere, WithoutAnyFolderThereIsNone) {
    for (char const *folder : {"/dev/null/none", ""}) {
        ::setenv("TMPDIR", folder, 1);
        int error = 0;
        EXPECT_EQ(platform::OpenTempFile(error), platform::noTempFile);
    }
}
#endif
