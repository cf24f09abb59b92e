// program MODULE [unload]: traces from its first static object to its last, and from those of a library that it loads,
// and that it unloads again if it is told to. Prints what it traced.

#include "startup/load.h"
#include "startup/objects.h"
#include "startup/printing.h"

#include <cstdio>

namespace {

TTrace fsTrace = OpenTrace(); // before all that trace, so destroyed after them
TStaticUser fsUser("program");

} // namespace

int main(int count, char **arguments) {
    static TStaticUser local("local");
    void *const library = Load(arguments[1]);
    if (!library) {
        std::printf("cannot load %s\n", arguments[1]);
        return 1;
    }
    if (count > 2 && (!Unload(library) || IsLoaded(arguments[1]))) {
        std::printf("cannot unload %s\n", arguments[1]);
        return 1;
    }
    std::printf("main ends\n");
    return 0;
}
