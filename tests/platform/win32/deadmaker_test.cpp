#include "tuzutil/SHAREMEM.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>

#include <windows.h>

namespace {

// The name of the mutex that the maker of a block holds.
std::string MakersMutex(std::string const &block) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (char const byte : block)
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
    char name[64];
    std::snprintf(name, sizeof name, "tuzutil.block.%08lx%08lx", static_cast<unsigned long>(hash >> 32),
                  static_cast<unsigned long>(hash & 0xFFFFFFFF));
    return name;
}

// A maker that ended between creating its block and writing into it: its mutex is abandoned, and the system closes its
// handle of the block a little later.
class TDeadMaker {
public:
    explicit TDeadMaker(std::string const &block) {
        fMutex = CreateMutexA(nullptr, FALSE, MakersMutex(block).c_str());
        std::thread([this] { EXPECT_EQ(WaitForSingleObject(fMutex, 0), WAIT_OBJECT_0); }).join();
        HANDLE const mapping =
            CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8192, block.c_str());
        EXPECT_NE(mapping, nullptr);
        fSystem = std::thread([mapping] {
            Sleep(30);
            CloseHandle(mapping);
        });
    }
    TDeadMaker(TDeadMaker const &) = delete;
    TDeadMaker &operator=(TDeadMaker const &) = delete;
    ~TDeadMaker() {
        fSystem.join();
        CloseHandle(fMutex);
    }

private:
    HANDLE fMutex;
    std::thread fSystem;
};

TEST(SharedMemory, OfAMakerThatEndedAtOnceIsNotOpened) {
    TDeadMaker const maker("tuzutil.deadmaker.open");
    ipcSharedMemory const memory("tuzutil.deadmaker.open");
    EXPECT_NE(memory.rdstate(), 0);
    EXPECT_EQ(memory.QueryError(), ERROR_FILE_NOT_FOUND);
}

TEST(SharedMemory, OfAMakerThatEndedAtOnceIsMadeAgain) {
    TDeadMaker const maker("tuzutil.deadmaker.make");
    int made = 0;
    auto const memory = ipcSharedMemory::OpenOrCreate("tuzutil.deadmaker.make", 100, [&](void *) { ++made; });
    EXPECT_EQ(made, 1);
}

} // namespace
