#include "support/Module.h"

#include <windows.h>

TModule::TModule(std::string const &name, bool unload)
    : fModule(LoadLibraryA((name + ".dll").c_str())), fUnload(unload) {}

bool TModule::IsInMemory(std::string const &name) {
    return GetModuleHandleA((name + ".dll").c_str()) != nullptr;
}

TModule::~TModule() {
    if (fModule && fUnload)
        FreeLibrary(static_cast<HMODULE>(fModule));
}

void *TModule::Find(char const *function) const {
    return fModule ? reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(fModule), function)) : nullptr;
}
