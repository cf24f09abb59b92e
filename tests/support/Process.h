#ifndef TUZUTIL_TESTS_PROCESS_H
#define TUZUTIL_TESTS_PROCESS_H

// Helper programs that a test starts and ends, and a function for tests with threads. process_posix.cpp and
// process_win32.cpp define them for each system.

#include <cstdint>
#include <string>
#include <vector>

class TProcess {
public:
    // Starts a helper program that is beside the test program. If it cannot be started, Wait() returns -1.
    TProcess(std::string const &helper, std::vector<std::string> const &arguments);
    TProcess(TProcess const &) = delete;
    TProcess &operator=(TProcess const &) = delete;
    ~TProcess(); // kills the process if it still runs, and waits for its end

    void Kill(); // ends the process at once, without any clean-up, and waits for its end
    int Wait();  // returns the exit status, or -1 if the process was killed or never ran

private:
    std::intptr_t fProcess;
};

// Runs `body` in a thread that the system starts, and waits for the end of the thread. When `body` returns, it may
// still hold locks.
void RunThreadThatEnds(void (*body)(void *), void *argument);

#endif
