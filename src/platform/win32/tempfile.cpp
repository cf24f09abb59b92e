#include "platform/platform.h"

#include <errno.h>
#include <io.h>
#include <stdio.h>
#include <windows.h>

namespace {

HANDLE HandleOf(platform::TTempFile file) noexcept {
    return reinterpret_cast<HANDLE>(file);
}

// Another handle of a file that goes with its last one.
HANDLE OwnHandleOf(FILE *stream) noexcept {
    HANDLE const self = GetCurrentProcess();
    auto const handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    HANDLE copy;
    return DuplicateHandle(self, handle, self, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS) ? copy : INVALID_HANDLE_VALUE;
}

// The runtime makes such files where many users may not: then in the user's folder for them.
HANDLE OpenElsewhere() noexcept {
    char folder[MAX_PATH + 1];
    char name[MAX_PATH + 1];
    DWORD const length = GetTempPathA(sizeof folder, folder);
    if (length == 0 || length >= sizeof folder || !GetTempFileNameA(folder, "tuz", 0, name))
        return INVALID_HANDLE_VALUE;
    HANDLE const file = CreateFileA(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        DeleteFileA(name);
    return file;
}

} // namespace

platform::TTempFile platform::OpenTempFile(int &error) noexcept {
    FILE *const stream = tmpfile();
    error = errno;
    HANDLE file = INVALID_HANDLE_VALUE;
    if (stream) {
        file = OwnHandleOf(stream);
        fclose(stream);
    }
    if (file == INVALID_HANDLE_VALUE)
        file = OpenElsewhere();
    static_assert(noTempFile == static_cast<TTempFile>(-1));
    return reinterpret_cast<TTempFile>(file);
}

std::ptrdiff_t platform::ReadTempFile(TTempFile file, char *bytes, std::size_t count) noexcept {
    DWORD read = 0;
    return ReadFile(HandleOf(file), bytes, static_cast<DWORD>(count), &read, nullptr)
               ? static_cast<std::ptrdiff_t>(read)
               : -1;
}

std::size_t platform::WriteTempFile(TTempFile file, char const *bytes, std::size_t count) noexcept {
    DWORD written = 0;
    WriteFile(HandleOf(file), bytes, static_cast<DWORD>(count), &written, nullptr);
    return written;
}

std::int64_t platform::SeekTempFile(TTempFile file, std::int64_t offset, TFileOrigin origin) noexcept {
    LARGE_INTEGER distance;
    LARGE_INTEGER position;
    distance.QuadPart = offset;
    DWORD const method = origin == TFileOrigin::start     ? FILE_BEGIN
                         : origin == TFileOrigin::current ? FILE_CURRENT
                                                          : FILE_END;
    return SetFilePointerEx(HandleOf(file), distance, &position, method) ? position.QuadPart : -1;
}

void platform::CloseTempFile(TTempFile file) noexcept {
    CloseHandle(HandleOf(file));
}
