#include "support/Module.h"

#include <dlfcn.h>
#include <unistd.h>

TModule::TModule(std::string const &name, bool unload) : fUnload(unload) {
    char own[4096];
    ssize_t const length = ::readlink("/proc/self/exe", own, sizeof own);
    std::string const path(own, length > 0 ? static_cast<std::size_t>(length) : 0);
    fModule = ::dlopen((path.substr(0, path.rfind('/') + 1) + name + ".dll").c_str(), RTLD_NOW);
}

TModule::~TModule() {
    if (fModule && fUnload)
        ::dlclose(fModule);
}

void *TModule::Find(char const *function) const {
    return fModule ? ::dlsym(fModule, function) : nullptr;
}
