// A part of the program of linked.cpp: a library of its own, or one of the program's sources. NAME and FUNCTION are
// defined by the build.

#include "startup/objects.h"

static TStaticUser fsUser(NAME);
// Built before all objects of the same program or library that have no priority, and destroyed after them.
[[gnu::init_priority(102)]] static TStaticUser fsEarly(NAME "_early");

#ifdef _WIN32
__declspec(dllexport)
#else
__attribute__((visibility("default")))
#endif
    int FUNCTION();

int FUNCTION() {
    return 1;
}
