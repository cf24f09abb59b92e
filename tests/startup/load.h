#ifndef TUZUTIL_TESTS_STARTUP_LOAD_H
#define TUZUTIL_TESTS_STARTUP_LOAD_H

// Loads a library as the system does it. False where that fails.

#if defined(_WIN32)
#include <windows.h>
inline bool Load(char const *path) {
    return LoadLibraryA(path) != nullptr;
}
#else
#include <dlfcn.h>
inline bool Load(char const *path) {
    return dlopen(path, RTLD_NOW) != nullptr;
}
#endif

#endif
