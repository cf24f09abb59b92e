#ifndef TUZUTIL_TESTS_STARTUP_LOAD_H
#define TUZUTIL_TESTS_STARTUP_LOAD_H

// Loads and unloads a library as the system does it. Load() returns null if it fails.

#if defined(_WIN32)
#include <windows.h>
inline void *Load(char const *path) {
    return LoadLibraryA(path);
}
inline bool Unload(void *library) {
    return FreeLibrary(static_cast<HMODULE>(library)) != 0;
}
inline bool IsLoaded(char const *path) {
    return GetModuleHandleA(path) != nullptr;
}
inline void *Find(void *library, char const *function) {
    return reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(library), function));
}
#else
#include <dlfcn.h>
inline void *Load(char const *path) {
    return dlopen(path, RTLD_NOW);
}
inline bool Unload(void *library) {
    return dlclose(library) == 0;
}
inline bool IsLoaded(char const *path) {
    void *const library = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    if (library)
        dlclose(library); // RTLD_NOLOAD counts as one more use
    return library != nullptr;
}
inline void *Find(void *library, char const *function) {
    return dlsym(library, function);
}
#endif

#endif
