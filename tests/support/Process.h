#ifndef TUZUTIL_TESTS_PROCESS_H
#define TUZUTIL_TESTS_PROCESS_H

// Helper programs that a test starts and ends; and what tests with several processes need besides. Defined for each
// system in process_posix.cpp and process_win32.cpp.

#include <cstdint>
#include <string>
#include <vector>

class TProcess {
public:
    // Starts a helper, which stands beside the test program. Failing to start is a failure of Wait().
    TProcess(std::string const &helper, std::vector<std::string> const &arguments);
    TProcess(TProcess const &) = delete;
    TProcess &operator=(TProcess const &) = delete;
    ~TProcess(); // kills it if it still runs, and waits for its end

    void Kill(); // at once, without any clean-up; returns when it has ended
    int Wait();  // its exit status; -1 if it was killed or never ran

private:
    std::intptr_t fProcess;
};

// A thread that ends with all that it holds, without leaving its blocks: runs `body`, waits for its end.
void RunThreadThatEnds(void (*body)(void *), void *argument);

#endif
