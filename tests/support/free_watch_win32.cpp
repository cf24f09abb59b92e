#include "support/FreeWatch.h"

#include <windows.h>

#include <cstdlib>
#include <cstring>

namespace {

void WatchedFree(void *block) {
    NoteFree(block);
    std::free(block);
}

// Replaces the library's import of "free".
bool Install() {
    auto *const base = reinterpret_cast<char *>(GetModuleHandleA("tuzutil.dll"));
    auto *const dos = reinterpret_cast<IMAGE_DOS_HEADER *>(base);
    auto *const nt = reinterpret_cast<IMAGE_NT_HEADERS *>(base + dos->e_lfanew);
    auto *table = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR *>(
        base + nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    for (; table->Name; ++table) {
        auto *name = reinterpret_cast<IMAGE_THUNK_DATA *>(base + table->OriginalFirstThunk);
        auto *address = reinterpret_cast<IMAGE_THUNK_DATA *>(base + table->FirstThunk);
        for (; name->u1.AddressOfData; ++name, ++address) {
            if (name->u1.Ordinal & IMAGE_ORDINAL_FLAG)
                continue;
            auto *const import = reinterpret_cast<IMAGE_IMPORT_BY_NAME *>(base + name->u1.AddressOfData);
            if (std::strcmp(reinterpret_cast<char *>(import->Name), "free") != 0)
                continue;
            DWORD before;
            VirtualProtect(&address->u1.Function, sizeof address->u1.Function, PAGE_READWRITE, &before);
            address->u1.Function = reinterpret_cast<DWORD>(&WatchedFree);
            return true;
        }
    }
    return false;
}

bool const fsInstalled = Install();

} // namespace
