#include "support/Module.h"

#include <windows.h>

static std::string PathOf(std::string const &name) {
    return name.find_first_of("/:") != std::string::npos ? name : name + ".dll";
}

TModule::TModule(std::string const &name, bool unload) : fModule(LoadLibraryA(PathOf(name).c_str())), fUnload(unload) {}

bool TModule::IsInMemory(std::string const &name) {
    return GetModuleHandleA(PathOf(name).c_str()) != nullptr;
}

TModule::~TModule() {
    if (fModule && fUnload)
        FreeLibrary(static_cast<HMODULE>(fModule));
}

void *TModule::Find(char const *function) const {
    return fModule ? reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(fModule), function)) : nullptr;
}
