// mutex_holder NAME HELD RELEASE: takes the lock NAME, makes the file HELD, waits for the file RELEASE and releases the
// lock. Exit status: 0, or the lock state where the lock was not to be had.

#include "tuzutil/MUTEXSEM.h"

#include <chrono>
#include <fstream>
#include <thread>

int main(int argc, char **argv) {
    if (argc != 4)
        return 100;
    TMutexSemaphore lock(argv[1]);
    TMutexSemaphoreEntry const entry(lock, 20000);
    if (entry.State() != TMutexSemaphore::Locked)
        return entry.State();
    std::ofstream(argv[2]).put('x');
    while (!std::ifstream(argv[3]))
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return 0;
}
