// mutex_counter NAME FILE COUNT: adds 1 to the number in FILE, COUNT times, each under the lock NAME.

#include "tuzutil/MUTEXSEM.h"

#include <cstdlib>
#include <fstream>

int main(int argc, char **argv) {
    if (argc != 4)
        return 100;
    TMutexSemaphore lock(argv[1]);
    for (int count = std::atoi(argv[3]); count; --count) {
        TMutexSemaphoreEntry const entry(lock, TMutexSemaphore::fsInfinite);
        if (entry.State() != TMutexSemaphore::Locked)
            return entry.State();
        long number = 0;
        std::ifstream(argv[2]) >> number;
        std::ofstream(argv[2]) << number + 1;
    }
    return 0;
}
