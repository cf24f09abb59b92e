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
        // A missing line end and the record go out together.
        std::size_t const size = text.size() + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 2;
        if (size <= sizeof fBuffer)
            return Append(fBuffer, Expand(text, fBuffer));
        char *const buffer = new (std::nothrow) char[size];
        bool const done = buffer && Append(buffer, Expand(text, buffer));
        delete[] buffer;
        return done;
    }

private:
    // Line ends become CR LF, and one comes first where the file stops within a line.
    std::size_t Expand(std::string_view text, char *out) const noexcept {
        char *at = out;
        if (fLineIsOpen) {
            *at++ = '\r';
            *at++ = '\n';
        }
        for (char const c : text) {
            if (c == '\n')
                *at++ = '\r';
            *at++ = c;
        }
        return static_cast<std::size_t>(at - out);
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

HANDLE Open(char const *name, DWORD access, DWORD sharing, DWORD disposition) noexcept {
    return CreateFileA(name, access, sharing, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Whoever has the file open writes to it: who gets it with nobody else writing is the first, and empties it. The system
// refuses that as long as anybody has it open to write, whatever readers do.
void EmptyUnlessInUse(char const *name) noexcept {
    HANDLE const handle = Open(name, GENERIC_WRITE, FILE_SHARE_READ, TRUNCATE_EXISTING);
    if (handle != INVALID_HANDLE_VALUE)
        CloseHandle(handle);
}

// Appending is the system's doing: also where nobody takes turns, no record falls into another.
HANDLE OpenShared(char const *name, bool mayBegin) noexcept {
    constexpr DWORD append = FILE_APPEND_DATA | SYNCHRONIZE;
    constexpr DWORD sharing = FILE_SHARE_READ | FILE_SHARE_WRITE;
    if (mayBegin)
        EmptyUnlessInUse(name);
    HANDLE const handle = Open(name, append | FILE_READ_DATA, sharing, OPEN_ALWAYS);
    // It may be written but not read: nobody looks at its last line then.
    return handle != INVALID_HANDLE_VALUE ? handle : Open(name, append, sharing, OPEN_ALWAYS);
}

} // namespace

void *platform::OpenTraceFile(char const *name, TTraceFileUse use, unsigned int) noexcept {
    bool const isShared = use != TTraceFileUse::alone;
    HANDLE const handle = isShared ? OpenShared(name, use == TTraceFileUse::joinedOrBegun)
                                   : Open(name, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, CREATE_ALWAYS);
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
