#include "support/Library.h"

#include <dlfcn.h>
#include <filesystem>

bool LoadTestLibrary(std::string const &name) {
    auto const folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    return ::dlopen((folder / (name + ".so")).c_str(), RTLD_NOW) != nullptr;
}
