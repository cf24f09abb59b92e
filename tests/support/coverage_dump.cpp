// Part of the library only in a build with coverage counters. The counters are written when a process exits, but many
// tests let a process die, or leave a forked child by _exit(). This source writes the counters in these cases too.

#include <csignal>
#include <initializer_list>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" void __gcov_dump();

namespace {

void DumpAndDie(int signal) {
    __gcov_dump();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

[[gnu::constructor]] void CatchDeaths() {
    for (int const signal : {SIGABRT, SIGSEGV, SIGILL, SIGTRAP, SIGTERM})
        std::signal(signal, DumpAndDie);
}

} // namespace

// The program finds this function before that of the C library.
extern "C" __attribute__((visibility("default"))) void _exit(int status) {
    __gcov_dump();
    for (;;)
        ::syscall(SYS_exit_group, status);
}
