// program MODULE [unload]: traces from its first static object to its last, and from those of a library that it loads,
// and that it unloads again if it is told to. Prints what it traced.

#include "startup/objects.h"
#include "startup/printing.h"
#include "support/Module.h"

#include <cstdio>
#include <optional>

namespace {

TTrace fsTrace = OpenTrace(); // before all that trace, so destroyed after them
TStaticUser fsUser("program");

} // namespace

int main(int count, char **arguments) {
    static TStaticUser local("local");
    std::optional<TModule> library(std::in_place, arguments[1], count > 2);
    if (!library->IsLoaded()) {
        std::printf("cannot load %s\n", arguments[1]);
        return 1;
    }
    library.reset();
    if (count > 2 && TModule::IsInMemory(arguments[1])) {
        std::printf("cannot unload %s\n", arguments[1]);
        return 1;
    }
    std::printf("main ends\n");
    return 0;
}
