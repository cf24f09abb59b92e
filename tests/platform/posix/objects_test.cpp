// Where the objects live that all processes of a user share.

#include "platform/posix/object_folder.cpp"

#include "platform/posix/Processor.h"
#include "support/Environment.h"
#include "support/Process.h"
#include "support/TempFolder.h"
#include "tuzutil/MUTEXSEM.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <thread>

namespace {

// The native name of the folder that is opened; "" for none.
std::string Opened() {
    int const folder = platform::OpenObjectFolder();
    if (folder < 0)
        return "";
    std::error_code error;
    std::string const name = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(folder), error).string();
    ::close(folder);
    return name;
}

std::string Resolved(TTempFolder const &folder, std::string const &relative) {
    return (std::filesystem::canonical(folder.Native("")) / relative).string();
}

class ObjectFolder : public testing::Test {
protected:
    ObjectFolder() {
        fRuntime.AddFolder("run");
        ::chmod(fRuntime.Native("run").c_str(), 0700);
    }

    std::string Run() const { return fRuntime.Native("run").string(); }

    TTempFolder fRuntime;
    TEnvironment const fNone{"XDG_RUNTIME_DIR"};
};

} // namespace

TEST_F(ObjectFolder, StandsInTheUsersRunTimeFolderForNobodyElse) {
    TEnvironment const variable("XDG_RUNTIME_DIR", Run().c_str());
    EXPECT_EQ(Opened(), Resolved(fRuntime, "run/tuzutil"));
    struct stat status;
    ASSERT_EQ(::stat((Run() + "/tuzutil").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700u);
    EXPECT_EQ(Opened(), Resolved(fRuntime, "run/tuzutil"));
}

TEST_F(ObjectFolder, StandsElsewhereWhereTheVariableNamesNoPrivateFolder) {
    std::string const elsewhere = Opened();
    EXPECT_NE(elsewhere, "");
    EXPECT_EQ(elsewhere.find(Resolved(fRuntime, "")), std::string::npos);
    std::filesystem::path const former = std::filesystem::current_path();
    std::filesystem::current_path(fRuntime.Native(""));
    for (std::string const &name : {std::string(), std::string("run"), Run() + "/none", std::string("/dev/null")}) {
        TEnvironment const variable("XDG_RUNTIME_DIR", name.c_str());
        EXPECT_EQ(Opened(), elsewhere) << name;
    }
    std::filesystem::current_path(former);
    for (mode_t const mode : {0770u, 0707u, 0777u, 01777u}) { // others may put something in its place
        ::chmod(Run().c_str(), mode);
        TEnvironment const variable("XDG_RUNTIME_DIR", Run().c_str());
        EXPECT_EQ(Opened(), elsewhere) << std::oct << mode;
    }
    EXPECT_FALSE(std::filesystem::exists(Run() + "/tuzutil"));
    TEnvironment const variable("XDG_RUNTIME_DIR", ::geteuid() == 0 ? "/proc/self/fdinfo/../.." : "/");
    EXPECT_EQ(Opened(), elsewhere); // nothing can be made there
}

// The owner could read what this user shares, or put something else in its place. Only root can give a folder away, so
// other users look at one of root's.
TEST_F(ObjectFolder, StandsElsewhereWhereTheVariableNamesAFolderOfAnotherUser) {
    std::string const elsewhere = Opened();
    platform::TDescriptor const own(::open(Run().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(own);
    EXPECT_TRUE(IsOwn(own.Get(), 022));
    bool const isRoot = ::geteuid() == 0;
    ASSERT_TRUE(!isRoot || ::chown(Run().c_str(), 65534, 65534) == 0);
    std::string const ofAnother = isRoot ? Run() : "/usr";
    platform::TDescriptor const folder(::open(ofAnother.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(folder);
    EXPECT_FALSE(IsOwn(folder.Get(), 022));
    EXPECT_EQ(errno, EACCES);
    TEnvironment const variable("XDG_RUNTIME_DIR", ofAnother.c_str());
    EXPECT_EQ(Opened(), elsewhere);
    EXPECT_FALSE(std::filesystem::exists(ofAnother + "/tuzutil"));
}

TEST_F(ObjectFolder, IsRefusedWhereItIsALinkOrOpenToOthers) {
    TEnvironment const variable("XDG_RUNTIME_DIR", Run().c_str());
    std::filesystem::create_directory_symlink(fRuntime.Native(""), Run() + "/tuzutil");
    EXPECT_EQ(Opened(), "");
    std::filesystem::remove(Run() + "/tuzutil");
    std::filesystem::create_directory(Run() + "/tuzutil");
    ::chmod((Run() + "/tuzutil").c_str(), 0750);
    EXPECT_EQ(Opened(), "");
    EXPECT_EQ(errno, EACCES);
}

TEST_F(ObjectFolder, OfTwoProcessesIsTheSame) {
    TEnvironment const variable("XDG_RUNTIME_DIR", Run().c_str());
    std::string const held = fRuntime.Native("held").string();
    std::string const release = fRuntime.Native("release").string();
    TProcess holder("mutex_holder", {"objects.lock", held, release});
    while (!std::filesystem::exists(held))
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    TMutexSemaphore lock("objects.lock");
    {
        TMutexSemaphoreEntry const entry(lock, 0);
        EXPECT_EQ(entry.State(), TMutexSemaphore::TimedOut);
    }
    fRuntime.AddFile("release");
    EXPECT_EQ(holder.Wait(), 0);
    TMutexSemaphoreEntry const entry(lock, 0);
    EXPECT_EQ(entry.State(), TMutexSemaphore::Locked);
}

TEST(ObjectFile, HasANameMadeOfKindVersionProcessorAndAHashOfTheName) {
    char file[platform::objectFileSize];
    std::string const mutex = "mutex-1-" + ProcessorOfObjects() + "-";
    ASSERT_TRUE(platform::ObjectFileName("mutex", 1, "a", file));
    EXPECT_EQ(file, mutex + "d228cb696f1a8caf78912b704e4a8964");
    ASSERT_TRUE(platform::ObjectFileName("mutex", 1, "foobar", file));
    EXPECT_EQ(file, mutex + "343e1662793c64bf6f0d3597ba446f18");
    ASSERT_TRUE(platform::ObjectFileName("mutex", 1, "Local\\a", file)); // the same object as "a"
    EXPECT_EQ(file, mutex + "d228cb696f1a8caf78912b704e4a8964");
    ASSERT_TRUE(platform::ObjectFileName("memory", 12, std::string(260, 'x').c_str(), file));
    EXPECT_EQ(std::string(file).find("memory-12-"), 0u);
    EXPECT_EQ(std::string(file).size(), ("memory-12-" + ProcessorOfObjects() + "-").size() + 32);
}

TEST(ObjectFile, IsRefusedForANameThatIsTooLongOrHasABackslash) {
    char file[platform::objectFileSize];
    EXPECT_FALSE(platform::ObjectFileName("mutex", 1, std::string(261, 'x').c_str(), file));
    EXPECT_EQ(errno, ENAMETOOLONG);
    for (char const *const name : {"a\\b", "Local\\a\\b", "Session\\a"}) {
        EXPECT_FALSE(platform::ObjectFileName("mutex", 1, name, file)) << name;
        EXPECT_EQ(errno, ENOENT);
    }
}
