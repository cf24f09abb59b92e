// Static objects of a program that use the library before and after main(): also the earliest that a program can have,
// which its own compiler builds before all others.

#include "startup/objects.h"
#include "startup/printing.h"

#include <cstdio>

[[gnu::init_priority(102)]] static TTrace fsTrace = OpenTrace(); // destroyed after all that trace
[[gnu::init_priority(102)]] static TStaticUser fsEarly("early");
static TStaticUser fsUser("program");

int main() {
    static TStaticUser local("local");
    std::printf("main ends\n");
    return 0;
}
