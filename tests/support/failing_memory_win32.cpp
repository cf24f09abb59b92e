// Replaces what the library and the language's runtime import from the C runtime.

#include "support/FailingMemory.h"

#include <windows.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

template <typename Allocate>
void *Allocated(Allocate allocate) noexcept {
    void *const block = memory::MayAllocate() ? allocate() : nullptr;
    memory::NoteBlock(block);
    if (!block)
        errno = ENOMEM;
    return block;
}

void *ScarceMalloc(std::size_t size) {
    return Allocated([=] { return std::malloc(size); });
}

void *ScarceCalloc(std::size_t count, std::size_t size) {
    return Allocated([=] { return std::calloc(count, size); });
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

struct {
    char const *name;
    void *replacement;
} const fsReplaced[] = {{"malloc", reinterpret_cast<void *>(&ScarceMalloc)},
                        {"calloc", reinterpret_cast<void *>(&ScarceCalloc)},
                        {"realloc", reinterpret_cast<void *>(&ScarceRealloc)},
                        {"free", reinterpret_cast<void *>(&ScarceFree)}};

void Replace(char const *import, DWORD &address) {
    for (auto const &each : fsReplaced) {
        if (std::strcmp(import, each.name) != 0)
            continue;
        DWORD before;
        VirtualProtect(&address, sizeof address, PAGE_READWRITE, &before);
        address = reinterpret_cast<DWORD>(each.replacement);
    }
}

bool ReplaceImports(char const *module) {
    auto *const base = reinterpret_cast<char *>(GetModuleHandleA(module));
    if (!base)
        return false;
    auto *const dos = reinterpret_cast<IMAGE_DOS_HEADER *>(base);
    auto *const nt = reinterpret_cast<IMAGE_NT_HEADERS *>(base + dos->e_lfanew);
    auto *table = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR *>(
        base + nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    for (; table->Name; ++table) {
        auto *name = reinterpret_cast<IMAGE_THUNK_DATA *>(base + table->OriginalFirstThunk);
        auto *address = reinterpret_cast<IMAGE_THUNK_DATA *>(base + table->FirstThunk);
        for (; name->u1.AddressOfData; ++name, ++address) {
            if (!(name->u1.Ordinal & IMAGE_ORDINAL_FLAG))
                Replace(reinterpret_cast<char *>(
                            reinterpret_cast<IMAGE_IMPORT_BY_NAME *>(base + name->u1.AddressOfData)->Name),
                        address->u1.Function);
        }
    }
    return true;
}

// Not those of the runtime's other libraries. The first exception of a thread takes memory there, for the thread's own
// variables, and the reserve that exceptions are thrown from takes some for its lock when it is first used; without it
// the runtime ends the process, and a library cannot help that.
bool const fsInstalled = ReplaceImports("tuzutil.dll") && ReplaceImports("libstdc++-6.dll");

} // namespace
