#include "support/Library.h"

#include <windows.h>

bool LoadTestLibrary(std::string const &name) {
    return LoadLibraryA((name + ".dll").c_str()) != nullptr;
}
