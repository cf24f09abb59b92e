#include "platform/platform.h"

#include <windows.h>

#include <algorithm>
#include <new>
#include <string_view>

namespace {

class TTraceFile {
public:
    TTraceFile(HANDLE handle, bool isShared) noexcept : fHandle(handle), fIsShared(isShared) {}
    TTraceFile(TTraceFile const &) = delete;
    TTraceFile &operator=(TTraceFile const &) = delete;
    ~TTraceFile() { CloseHandle(fHandle); }

    bool Write(std::string_view text) noexcept {
        LARGE_INTEGER end{};
        SetFilePointerEx(fHandle, LARGE_INTEGER{}, &end, FILE_END);
        if (fIsShared && end.QuadPart != fEnd)
            LookAtOthers(end.QuadPart);
        if (fLineIsOpen && !Append("\r\n", 2))
            return false;
        auto const lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
        if (text.size() + lines > sizeof fBuffer)
            return WriteLong(text, text.size() + lines);
        return Append(fBuffer, Expand(text, fBuffer));
    }

private:
    // Line ends become CR LF.
    static std::size_t Expand(std::string_view text, char *out) noexcept {
        char *at = out;
        for (char const c : text) {
            if (c == '\n')
                *at++ = '\r';
            *at++ = c;
        }
        return static_cast<std::size_t>(at - out);
    }

    bool WriteLong(std::string_view text, std::size_t size) noexcept {
        char *const buffer = new (std::nothrow) char[size];
        bool const done = buffer && Append(buffer, Expand(text, buffer));
        delete[] buffer;
        return done;
    }

    bool Append(char const *text, std::size_t count) noexcept {
        while (count != 0) {
            DWORD const part = static_cast<DWORD>(std::min<std::size_t>(count, 0x40000000));
            DWORD done = 0;
            bool const isWritten = WriteFile(fHandle, text, part, &done, nullptr) != FALSE;
            if (done != 0)
                fLineIsOpen = text[done - 1] != '\n';
            fEnd += done;
            text += done;
            count -= done;
            if (!isWritten || done == 0)
                return false;
        }
        return true;
    }

    // Another process may have written since we did, and may have ended within a line.
    void LookAtOthers(std::int64_t end) noexcept {
        char last = '\n';
        LARGE_INTEGER at;
        at.QuadPart = end - 1;
        DWORD done = 0;
        fLineIsOpen = end > 0 && SetFilePointerEx(fHandle, at, nullptr, FILE_BEGIN) &&
                      ReadFile(fHandle, &last, 1, &done, nullptr) && done == 1 && last != '\n';
        SetFilePointerEx(fHandle, LARGE_INTEGER{}, nullptr, FILE_END);
        fEnd = end;
    }

    HANDLE fHandle;
    bool fIsShared;
    bool fLineIsOpen = false;
    std::int64_t fEnd = 0;
    char fBuffer[8192];
};

} // namespace

void *platform::OpenTraceFile(char const *name, bool isShared) noexcept {
    // A shared file cannot be deleted while somebody has it open: then this one joins.
    if (isShared)
        DeleteFileA(name);
    HANDLE const handle =
        CreateFileA(name, isShared ? GENERIC_READ | GENERIC_WRITE : GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, isShared ? OPEN_ALWAYS : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return nullptr;
    auto *const file = new (std::nothrow) TTraceFile(handle, isShared);
    if (!file)
        CloseHandle(handle);
    return file;
}

bool platform::WriteTraceFile(void *file, char const *text, std::size_t count) noexcept {
    return file && static_cast<TTraceFile *>(file)->Write({text, count});
}

void platform::CloseTraceFile(void *file) noexcept {
    delete static_cast<TTraceFile *>(file);
}
