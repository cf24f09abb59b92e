// Replaces what the library and the language's runtime import from the C runtime.

#include "support/FailingMemory.h"

#include "support/ImportTable.h"

#include <cstdlib>

namespace {

void *ScarceMalloc(std::size_t size) {
    return memory::Allocated([=] { return std::malloc(size); });
}

void *ScarceCalloc(std::size_t count, std::size_t size) {
    return memory::Allocated([=] { return std::calloc(count, size); });
}

void *ScarceRealloc(void *block, std::size_t size) {
    if (!block)
        return ScarceMalloc(size);
    return memory::MayAllocate() ? std::realloc(block, size) : nullptr;
}

void ScarceFree(void *block) {
    memory::NoteFree(block);
    std::free(block);
}

bool ReplaceImports(char const *module) {
    struct {
        char const *name;
        void *replacement;
    } const rows[] = {{"malloc", reinterpret_cast<void *>(&ScarceMalloc)},
                      {"calloc", reinterpret_cast<void *>(&ScarceCalloc)},
                      {"realloc", reinterpret_cast<void *>(&ScarceRealloc)},
                      {"free", reinterpret_cast<void *>(&ScarceFree)}};
    bool isAny = false;
    for (auto const &row : rows)
        isAny = ReplaceImport(module, row.name, row.replacement) || isAny;
    return isAny;
}

// Not those of the runtime's other libraries. The first exception of a thread takes memory there, for the thread's own
// variables, and the reserve that exceptions are thrown from takes some for its lock when it is first used; without it
// the runtime ends the process, and a library cannot help that.
bool const fsInstalled = ReplaceImports("tuzutil.dll") && ReplaceImports("libstdc++-6.dll");

} // namespace
