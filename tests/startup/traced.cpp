// traced MODE [MODULE]: a program that traces wherever the environment says. It prints "main ran" last.
//   lines    one entry each from a static constructor, main(), a function that runs at exit, and a static destructor
//   module   the same with MODULE loaded, which traces too
//   faulty   the same, and opens a destination by a faulty configuration
//   threads  threads that still write entries while the program ends

#include "support/Module.h"
#include "tuzutil/TRACEP.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>

namespace {

// Never destroyed, as threads use it to the end, and in static memory, where categories belong.
alignas(TTrace::Category) unsigned char fsPlace[sizeof(TTrace::Category)];
TTrace::Category const &fsCategory = *new (fsPlace) TTrace::Category(8, "Traced");

void Say(char const *what, int number = 0) {
    TTracePoint::Write(TTrace::error, fsCategory, {"traced.cpp", 1}, "%s %d", what, number);
}

struct TFirst {
    TFirst() { Say("built"); }
    ~TFirst() { Say("destroyed"); }
} fsFirst;

void StartThreads() {
    static std::atomic<int> begun{0};
    for (int i = 0; i < 4; ++i)
        std::thread([i] {
            for (;; ++begun)
                Say("thread", i);
        }).detach();
    while (begun < 100)
        std::this_thread::yield();
}

} // namespace

int main(int count, char **arguments) {
    std::string const mode = count > 1 ? arguments[1] : "";
    std::atexit([] { Say("at exit"); });
    Say("main");
    if (mode == "module" && !TModule(arguments[2], false).IsLoaded())
        return 1;
    if (mode == "faulty")
        TTrace const trace("stdout,no,Prtocol,1,TagVra");
    if (mode == "threads")
        StartThreads();
    std::printf("main ran\n");
    return 0;
}
