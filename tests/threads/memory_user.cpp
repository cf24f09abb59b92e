// memory_user create|open NAME SIZE READY RELEASE: has the block NAME, adds 1 to each of its SIZE bytes, makes the file
// READY, and waits for the file RELEASE. Exit status: the state of the block.

#include "tuzutil/SHAREMEM.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

int main(int argc, char **argv) {
    if (argc != 6)
        return 100;
    long const size = std::atol(argv[3]);
    auto const memory = argv[1] == std::string("create") ? std::make_unique<ipcSharedMemory>(argv[2], size)
                                                         : std::make_unique<ipcSharedMemory>(argv[2]);
    if (!*memory)
        return memory->rdstate();
    for (long i = 0; i < size; ++i)
        ++static_cast<char *>(memory->Pointer())[i];
    std::ofstream(argv[4]).put('x');
    while (!std::ifstream(argv[5]))
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return memory->rdstate();
}
