#ifndef TUZUTIL_TESTS_ROOF_FAILING_CALLS_POSIX_H
#define TUZUTIL_TESTS_ROOF_FAILING_CALLS_POSIX_H

// What the tests of failing calls ask this system: what the process holds, and which calls have failed. failing_calls.h
// includes this file.

#include "support/Environment.h"
#include "support/FailingCalls.h"
#include "support/TempFolder.h"

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

inline long ProcessNumber() {
    return ::getpid();
}

// The folder of named objects.
inline std::string RunFolderIn(TTempFolder const &folder) {
    folder.AddFolder("run");
    std::string const path = folder.Native("run");
    ::chmod(path.c_str(), 0700);
    return path;
}

// While an object of this class exists, the library keeps what it makes in a folder of the test.
class TOwnObjects {
public:
    explicit TOwnObjects(TTempFolder const &folder) : fRuntime("XDG_RUNTIME_DIR", RunFolderIn(folder).c_str()) {}

private:
    TEnvironment const fRuntime;
};

// Nothing of what the library keeps depends on the order in which threads run.
inline void Prepare() {}

// Removes the files that the system has refused to remove. The library never uses such a file again.
inline void RemoveUnfinished(TTempFolder const &folder) {
    for (auto const &each : std::filesystem::directory_iterator(folder.Native("run\\tuzutil"))) {
        if (each.path().filename().string().rfind("new-", 0) == 0)
            std::filesystem::remove(each.path());
    }
}

inline std::size_t CountIn(char const *folder) {
    std::filesystem::directory_iterator const files(folder);
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

// These functions count what the process has: threads, descriptors of open files, and mappings of the library's files.

inline std::size_t CountThreads() {
    return CountIn("/proc/self/task");
}

inline std::size_t CountHandles() {
    return CountIn("/proc/self/fd");
}

inline std::size_t CountMappings() {
    std::size_t count = 0;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        bool const isOurs = line.find("tuzutil-") != line.npos || line.find("/tuzutil/") != line.npos;
        count += isOurs && line.find(".so") == line.npos;
    }
    return count;
}

// Returns how many threads have waited for a block of shared memory that another thread fills.
inline long AwaitedBlocks() {
    return calls::AwaitedSharedLocks();
}

// The functions that the library calls for one purpose, for CountFailed().
namespace names {

using TNames = std::initializer_list<char const *>;

inline constexpr TNames recordWrites = {"write by syscall", "writev"};
inline constexpr TNames writes = {"write"};
inline constexpr TNames reads = {"read"};
inline constexpr TNames temporaryFiles = {"tmpfile"};
inline constexpr TNames directories = {"mkdir"};
inline constexpr TNames lists = {"opendir", "readdir"};
inline constexpr TNames removals = {"unlinkat"};
inline constexpr TNames threadStarts = {"pthread_create"};

} // namespace names

#endif
