// Traces from its first static object to its last, and from those of a library that it loads. Prints what it traced.

#include "startup/load.h"
#include "startup/objects.h"
#include "startup/printing.h"

#include <cstdio>

namespace {

TTrace fsTrace = OpenTrace(); // before all that trace, so destroyed after them
TStaticUser fsUser("program");

} // namespace

int main(int, char **arguments) {
    static TStaticUser local("local");
    if (!Load(arguments[1])) {
        std::printf("cannot load %s\n", arguments[1]);
        return 1;
    }
    std::printf("main ends\n");
    return 0;
}
