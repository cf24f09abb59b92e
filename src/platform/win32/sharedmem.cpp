#include "platform/platform.h"

#include <windows.h>

namespace {

void *FailWith(HANDLE mapping, DWORD error) noexcept {
    if (mapping)
        CloseHandle(mapping);
    SetLastError(error);
    return nullptr;
}

void *View(HANDLE mapping, void *&view) noexcept {
    view = mapping ? MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0) : nullptr;
    return view ? mapping : FailWith(mapping, GetLastError());
}

} // namespace

void *platform::CreateSharedMemory(char const *name, std::int32_t size, void *&view) noexcept {
    if (size < 1)
        return FailWith(nullptr, ERROR_INVALID_PARAMETER);
    SetLastError(0); // success leaves what was there before, unless there is such a block
    HANDLE const mapping =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, static_cast<DWORD>(size), name);
    if (GetLastError() == ERROR_ALREADY_EXISTS)
        return FailWith(mapping, ERROR_ALREADY_EXISTS);
    return View(mapping, view);
}

void *platform::OpenSharedMemory(char const *name, void *&view) noexcept {
    return View(OpenFileMappingA(FILE_MAP_WRITE, FALSE, name), view);
}

void platform::CloseSharedMemory(void *block, void *view) noexcept {
    UnmapViewOfFile(view);
    CloseHandle(block);
}
