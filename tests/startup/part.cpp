// A part of the program of linked.cpp: a library of its own, or one of the program's sources. NAME and FUNCTION are
// defined by the build.

#include "startup/objects.h"

static TStaticUser fsUser(NAME);

#ifdef _WIN32
__declspec(dllexport)
#else
__attribute__((visibility("default")))
#endif
    int FUNCTION();

int FUNCTION() {
    return 1;
}
