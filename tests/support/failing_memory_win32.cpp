// Replaces the functions that the library and the C++ runtime import from the C runtime.

#include "support/FailingMemory.h"

#include "support/ImportTable.h"

#include <cerrno>
#include <cstdlib>

namespace {

void *ScarceMalloc(std::size_t size) {
    return memory::Allocated(size, [=] { return std::malloc(size); });
}

void *ScarceCalloc(std::size_t count, std::size_t size) {
    return memory::Allocated(count * size, [=] { return std::calloc(count, size); });
}

void *ScarceRealloc(void *block, std::size_t size) {
    if (!block)
        return ScarceMalloc(size);
    if (!memory::MayAllocate(size)) {
        errno = ENOMEM;
        return nullptr;
    }
    if (size == 0)
        memory::NoteFree(block); // a size of 0 frees the block
    return std::realloc(block, size);
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

// The imports of the other runtime DLLs are not replaced. These DLLs allocate memory for the variables of a thread when
// the thread throws its first exception. They also allocate memory for the lock of the emergency memory for exceptions
// when this lock is first used. If one of these allocations fails, the runtime ends the process.
bool const fsInstalled = ReplaceImports("tuzutil.dll") && ReplaceImports("libstdc++-6.dll");

} // namespace
