// linked: a program that consists of this source, another source and two libraries. Each of these has static objects
// that use tuzutil when they are constructed and when they are destroyed. The programs of this source differ only in
// whether their libraries and tuzutil are shared or static, and in the order in which the linker gets their parts.

#include "startup/objects.h"

#include <cstdio>

int First();
int Second();
int Other();

static TStaticUser fsUser("linked");
// Built before all objects of this program that have no priority, and destroyed after them.
[[gnu::init_priority(102)]] static TStaticUser fsEarly("linked_early");

int main() {
    fsEarly.CheckHandler();
    std::printf("main has %d parts\n", First() + Second() + Other());
    std::fflush(stdout);
    return 0;
}
