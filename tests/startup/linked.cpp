// linked: a program that consists of this source, another source and two libraries. Each of these has a static object
// that uses tuzutil when it is constructed and when it is destroyed. The programs of this source differ only in the
// order in which the linker gets their parts.

#include "startup/objects.h"

#include <cstdio>

int First();
int Second();
int Other();

static TStaticUser fsUser("linked");

int main() {
    std::printf("main has %d parts\n", First() + Second() + Other());
    std::fflush(stdout);
    return 0;
}
