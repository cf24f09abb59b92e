// Named memory. Blocks are objects of the system, which deletes a block as soon as no process has it open. Takes no
// lock of this library.

#include "platform/platform.h"

#include <windows.h>

using platform::Block;

namespace {

Block *FailWith(HANDLE mapping, DWORD error) noexcept {
    if (mapping)
        CloseHandle(mapping);
    SetLastError(error);
    return nullptr;
}

// Maps a block, which is a handle of the system, and closes it on failure.
Block *View(HANDLE mapping, void *&view) noexcept {
    view = mapping ? MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0) : nullptr;
    return view ? static_cast<Block *>(mapping) : FailWith(mapping, GetLastError());
}

} // namespace

Block *platform::CreateSharedMemory(char const *name, std::int32_t size, void *&view) noexcept {
    if (size < 1)
        return FailWith(nullptr, ERROR_INVALID_PARAMETER);
    SetLastError(ERROR_SUCCESS); // a successful call sets an error only if the block exists already
    HANDLE const mapping =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, static_cast<DWORD>(size), name);
    if (GetLastError() == ERROR_ALREADY_EXISTS)
        return FailWith(mapping, ERROR_ALREADY_EXISTS);
    return View(mapping, view);
}

Block *platform::OpenSharedMemory(char const *name, void *&view) noexcept {
    return View(OpenFileMappingA(FILE_MAP_WRITE, FALSE, name), view);
}

void platform::CloseSharedMemory(Block *block, void *view) noexcept {
    UnmapViewOfFile(view);
    CloseHandle(block);
}
