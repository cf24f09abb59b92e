#ifndef TUZUTIL_TESTS_INCHILD_H
#define TUZUTIL_TESTS_INCHILD_H

#include <sys/wait.h>
#include <unistd.h>

// Runs a check in a forked child and returns what it answered; 255 where the child did not come to its end.
template <typename Check>
inline int InChild(Check check) {
    pid_t const child = ::fork();
    if (child == 0) {
        ::alarm(20);
        ::_exit(check());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 255;
}

#endif
