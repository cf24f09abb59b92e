// memory_user create|open NAME SIZE READY RELEASE: has the block NAME, adds 1 to each of its SIZE bytes, makes the file
// READY, and waits for the file RELEASE. Exit status: the state of the block.
//
// memory_user fill NAME SIZE READY RELEASE: opens or creates the block NAME. If it creates the block, it sets the first
// half of its bytes to 1, makes the file READY, waits for the file RELEASE, sets the second half to 1, and keeps the
// block until the file RELEASE.end exists. Exit status: 10 if it created the block, 11 if it opened a block whose bytes
// are all 1, 12 for other bytes, else the state.

#include "tuzutil/SHAREMEM.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

namespace {

void Await(char const *file) {
    while (!std::ifstream(file))
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

int Fill(char const *name, long size, char const *ready, char const *release) {
    auto const memory = ipcSharedMemory::OpenOrCreate(name, size, [&](void *block) {
        auto *const bytes = static_cast<char *>(block);
        std::fill_n(bytes, size / 2, '\1');
        std::ofstream(ready).put('x');
        Await(release);
        std::fill_n(bytes + size / 2, size - size / 2, '\1');
    });
    if (!memory)
        return memory.rdstate();
    auto const *const bytes = static_cast<char const *>(memory.Pointer());
    if (memory.TrueSize() != size || std::count(bytes, bytes + size, '\1') != size)
        return 12;
    if (!memory.Owner())
        return 11;
    Await((release + std::string(".end")).c_str());
    return 10;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 6)
        return 100;
    long const size = std::atol(argv[3]);
    if (argv[1] == std::string("fill"))
        return Fill(argv[2], size, argv[4], argv[5]);
    auto const memory = argv[1] == std::string("create") ? std::make_unique<ipcSharedMemory>(argv[2], size)
                                                         : std::make_unique<ipcSharedMemory>(argv[2]);
    if (!*memory)
        return memory->rdstate();
    for (long i = 0; i < size; ++i)
        ++static_cast<char *>(memory->Pointer())[i];
    std::ofstream(argv[4]).put('x');
    Await(argv[5]);
    return memory->rdstate();
}
