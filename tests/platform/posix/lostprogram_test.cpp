// A program whose file is gone: the system no longer knows its name, and nothing stands in for a library that is not
// found.

#include "support/CaptureTrace.h"
#include "support/Expect.h"
#include "support/TempFolder.h"
#include "tuzutil/MSGSTRPM.h"
#include "tuzutil/NLSRESRC.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

char const fsLost[] = "TUZUTIL_TEST_LOST_PROGRAM"; // names the file of a copy that is to lose it

// Runs the current test in a copy of this program; its exit status.
int RunCopy(TTempFolder const &folder) {
    std::filesystem::path const copy = folder.Native("copy");
    std::filesystem::copy_file("/proc/self/exe", copy);
    testing::TestInfo const &test = *testing::UnitTest::GetInstance()->current_test_info();
    std::string const filter = std::string("--gtest_filter=") + test.test_suite_name() + "." + test.name();
    pid_t const child = ::fork();
    if (child == 0) {
        ::setenv(fsLost, copy.c_str(), 1);
        ::execl(copy.c_str(), copy.c_str(), filter.c_str(), static_cast<char *>(nullptr));
        ::_exit(254);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 255;
}

// Runs `body` in a copy of this program after its file is gone.
template <typename Body>
void WithoutProgram(Body body) {
    TTempFolder const folder;
    char const *const own = std::getenv(fsLost);
    if (!own) {
        EXPECT_EQ(RunCopy(folder), 0);
        return;
    }
    ASSERT_TRUE(std::filesystem::remove(own));
    body(folder);
}

} // namespace

TEST(TLostProgram, NothingIsFound) {
    WithoutProgram([](TTempFolder const &) {
        TSearchNLSPath search("no_such_texts");
        EXPECT_EQ(search.FindInPath(), nullptr);
        ExpectThrows<TAccessError>({.text = "Unable to find file no_such_texts", .file = "src/utility/NLSRESRC"},
                                   [&] { search.FindFile(); });
        ExpectThrows<TAccessError>({.text = "Unable to find file no_such_texts", .file = "src/utility/NLSRESRC"},
                                   [] { TNLSResourceDll texts("no_such_texts"); });
    });
}

TEST(TLostProgram, ItsDirectoryIsAnEmptyText) {
    WithoutProgram([](TTempFolder const &folder) {
        folder.AddFile("msgs.dll");
        TSearchNLSPath::fsNLSpath = ("%E" + folder.Name("%N")).c_str();
        TCapture capture;
        TSearchNLSPath search("msgs");
        EXPECT_STREQ(search.FindFile(TString("C")), folder.Name("msgs.dll").c_str());
        capture.ExpectOne(16, "NLSResource", ("Found file " + folder.Name("msgs.dll")).c_str(), "src/utility/NLSRESRC");
    });
}

TEST(TLostProgram, AStoreHasDefaultTexts) {
    WithoutProgram([](TTempFolder const &) {
        TSearchNLSPath::SetLang("German");
        TTextMessage::StoreID const mail(TString("Mail"), ExplicitInit);
        TCapture capture(8);
        TTextMessageStorePM const store(mail, "no_such_texts");
        capture.ExpectOne(8, "Message",
                          "For message store Mail, could not find DLL no_such_texts, TAccessError(Unable to find file "
                          "no_such_texts,1,1), Using C locale",
                          "src/utility/MSGSTRPM");
        EXPECT_STREQ(TTextMessage(mail, 1, 17, "default").QueryMessage(), "default");
        capture.ExpectNone();
    });
}
