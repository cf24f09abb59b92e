#include "support/Module.h"

#include <dlfcn.h>
#include <unistd.h>

static std::string PathOf(std::string const &name) {
    if (name.find_first_of("/:") != std::string::npos)
        return name;
    char own[4096];
    ssize_t const length = ::readlink("/proc/self/exe", own, sizeof own);
    std::string const path(own, length > 0 ? static_cast<std::size_t>(length) : 0);
    return path.substr(0, path.rfind('/') + 1) + name + ".dll";
}

TModule::TModule(std::string const &name, bool unload)
    : fModule(::dlopen(PathOf(name).c_str(), RTLD_NOW)), fUnload(unload) {}

bool TModule::IsInMemory(std::string const &name) {
    void *const module = ::dlopen(PathOf(name).c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (module)
        ::dlclose(module);
    return module != nullptr;
}

TModule::~TModule() {
    if (fModule && fUnload)
        ::dlclose(fModule);
}

void *TModule::Find(char const *function) const {
    return fModule ? ::dlsym(fModule, function) : nullptr;
}
