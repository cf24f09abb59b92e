#ifndef TUZUTIL_TESTS_IMPORTTABLE_H
#define TUZUTIL_TESTS_IMPORTTABLE_H

// Only for Windows. Tests use this to replace a function that a loaded library imports, for example from the C runtime.

#include <windows.h>

#include <cstring>

// Replaces all imports with the given name by the address of a function of the same type. Returns false if the library
// is not loaded, or if it imports nothing with that name.
inline bool ReplaceImport(char const *module, char const *name, void *function) {
    auto *const base = reinterpret_cast<char *>(GetModuleHandleA(module));
    if (!base)
        return false;
    auto *const dos = reinterpret_cast<IMAGE_DOS_HEADER *>(base);
    auto *const nt = reinterpret_cast<IMAGE_NT_HEADERS *>(base + dos->e_lfanew);
    auto *table = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR *>(
        base + nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    bool isFound = false;
    for (; table->Name; ++table) {
        auto *entry = reinterpret_cast<IMAGE_THUNK_DATA *>(base + table->OriginalFirstThunk);
        auto *address = reinterpret_cast<IMAGE_THUNK_DATA *>(base + table->FirstThunk);
        for (; entry->u1.AddressOfData; ++entry, ++address) {
            if (entry->u1.Ordinal & IMAGE_ORDINAL_FLAG)
                continue;
            auto *const import = reinterpret_cast<IMAGE_IMPORT_BY_NAME *>(base + entry->u1.AddressOfData);
            if (std::strcmp(reinterpret_cast<char *>(import->Name), name) != 0)
                continue;
            DWORD before;
            VirtualProtect(&address->u1.Function, sizeof address->u1.Function, PAGE_READWRITE, &before);
            address->u1.Function = reinterpret_cast<DWORD_PTR>(function);
            isFound = true;
        }
    }
    return isFound;
}

#endif
