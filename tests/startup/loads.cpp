// loads TUZUTIL LIBRARY: a program that is not linked with tuzutil. It loads and unloads tuzutil alone, and then a
// library that uses tuzutil, several times. A thread that has used the library in the first round lives to the end.
// Prints "done" at the end.

#include "support/Module.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <optional>
#include <thread>

#if defined(_WIN32)
constexpr bool fsStays = false;
#else
constexpr bool fsStays = true; // tuzutil stays, because the ends of threads call it
#endif

namespace {

// Returns whether tuzutil has left the memory or, on a system where it must stay, is still there. Each thread that
// tuzutil has started holds it until the thread ends, which may be a moment later.
bool EndsAsItMust(char const *tuzutil) {
    for (int i = 0; !fsStays && TModule::IsInMemory(tuzutil) && i < 2000; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return TModule::IsInMemory(tuzutil) == fsStays;
}

int Fail(char const *what, int number) {
    std::printf("%s: %d\n", what, number);
    return 1;
}

} // namespace

int main(int, char **arguments) {
    char const *const tuzutil = arguments[1];
    char const *const path = arguments[2];
    for (int i = 0; i < 3; ++i) {
        if (!TModule(tuzutil, true).IsLoaded())
            return Fail("tuzutil cannot be loaded", i);
        if (!EndsAsItMust(tuzutil))
            return Fail(fsStays ? "tuzutil has left the memory" : "tuzutil is still in memory", i);
    }
    std::atomic<int> used{-1};
    std::atomic<bool> ends{false};
    std::thread living;
    for (int i = 0; i < 5; ++i) {
        std::optional<TModule> library(std::in_place, path, true);
        auto const use = reinterpret_cast<int (*)()>(library->Find("UseTuzutil"));
        if (!use)
            return Fail("the library cannot be loaded", i);
        if (int const step = use())
            return Fail("the use failed at the step", step);
        if (i == 0) {
            living = std::thread([&] {
                used = use();
                while (!ends)
                    std::this_thread::yield();
            });
            while (used < 0)
                std::this_thread::yield();
            if (used != 0)
                return Fail("the use in the thread failed at the step", used);
        }
        library.reset();
        if (TModule::IsInMemory(path))
            return Fail("the library is in memory", i);
        if (!EndsAsItMust(tuzutil))
            return Fail(fsStays ? "tuzutil has left the memory" : "tuzutil is still in memory", i);
    }
    ends = true;
    living.join();
    std::puts("done");
    return 0;
}
