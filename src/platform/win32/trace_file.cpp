// Opens, writes and closes the files of trace records. Every write appends to the file. The system tells whether
// another writer has the file open. The functions take no locks. REQUIRES: while a file is opened as joinedOrBegun, the
// caller holds the named lock that all processes use.

#include "platform/platform.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <windows.h>

// Invariant: fLineIsOpen tells whether the first fEnd bytes of the file end within a line.
struct platform::TraceFile {
    TraceFile(HANDLE handle, bool isShared) noexcept : fHandle(handle), fIsShared(isShared) {}
    TraceFile(TraceFile const &) = delete;
    TraceFile &operator=(TraceFile const &) = delete;
    ~TraceFile() { CloseHandle(fHandle); }

    bool Write(std::string_view text) noexcept {
        std::int64_t const end = GoToEnd();
        if (fIsShared && end != fEnd)
            LookAtOthers(end);
        // A missing line end and the record are written together.
        std::size_t const size = text.size() + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 2;
        if (size <= sizeof fBuffer)
            return Append(fBuffer, Expand(text, fBuffer));
        char *const buffer = new (std::nothrow) char[size];
        // No test gets here: memory would have to be lacking for a long record, or the disk be full after its first
        // part.
        bool const done = buffer && Append(buffer, Expand(text, buffer));
        // No test gets here: memory would have to be lacking for a long record.
        delete[] buffer;
        return done;
    }

private:
    // Writes the text to `out`, with CR LF for each LF. If the file ends within a line, CR LF comes before the text.
    // Returns the number of bytes written.
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
            // No test gets here: the system would have to write nothing and report success.
            if (!isWritten || done == 0)
                return false;
        }
        return true;
    }

    // Returns the present end of the file, and sets the position there. If the system does not do so, asks for the size
    // of the file. If it does not tell it either, the file counts as unchanged.
    std::int64_t GoToEnd() noexcept {
        LARGE_INTEGER end;
        bool const isKnown = SetFilePointerEx(fHandle, LARGE_INTEGER{}, &end, FILE_END) || GetFileSizeEx(fHandle, &end);
        return isKnown ? end.QuadPart : fEnd;
    }

    // Inspects the last byte of the file. `end` is the present end of the file. Another process may have written after
    // this process wrote last, and may have been killed in the middle of a line.
    void LookAtOthers(std::int64_t end) noexcept {
        char last = '\n';
        LARGE_INTEGER at;
        at.QuadPart = end - 1;
        DWORD done = 0;
        bool const isRead = end == 0 || (SetFilePointerEx(fHandle, at, nullptr, FILE_BEGIN) &&
                                         ReadFile(fHandle, &last, 1, &done, nullptr));
        // If the byte cannot be read, an empty line is better than two records on one line. But if this process may
        // only write to the file, each record would come after an empty line.
        bool const isUnknown = !isRead && GetLastError() != ERROR_ACCESS_DENIED;
        fLineIsOpen = isUnknown || (done == 1 && last != '\n');
        SetFilePointerEx(fHandle, LARGE_INTEGER{}, nullptr, FILE_END);
        fEnd = end;
    }

    HANDLE fHandle;
    bool fIsShared;
    bool fLineIsOpen = false; // whether the file ends within a line
    std::int64_t fEnd = 0;    // the end of the file when this process last wrote or inspected it
    char fBuffer[8192];
};

namespace {

HANDLE Open(char const *name, DWORD access, DWORD sharing, DWORD disposition) noexcept {
    return CreateFileA(name, access, sharing, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

HANDLE Open(wchar_t const *name, DWORD access, DWORD sharing, DWORD disposition) noexcept {
    return CreateFileW(name, access, sharing, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Empties a file, unless a process has it open for writing: in this case, the system refuses to open it here. Every
// process that shares the file has it open for writing. Processes that only read the file do not prevent the call.
template <typename Character>
void EmptyUnlessInUse(Character const *name) noexcept {
    HANDLE const handle = Open(name, GENERIC_WRITE, FILE_SHARE_READ, TRUNCATE_EXISTING);
    if (handle != INVALID_HANDLE_VALUE)
        CloseHandle(handle);
}

// Opens a file in such a way that the system appends what is written. Therefore records do not overwrite each other,
// even if writers do not take turns.
template <typename Character>
HANDLE OpenShared(Character const *name, bool mayBegin) noexcept {
    constexpr DWORD append = FILE_APPEND_DATA | SYNCHRONIZE;
    constexpr DWORD sharing = FILE_SHARE_READ | FILE_SHARE_WRITE;
    if (mayBegin)
        EmptyUnlessInUse(name);
    HANDLE const handle = Open(name, append | FILE_READ_DATA, sharing, OPEN_ALWAYS);
    if (handle != INVALID_HANDLE_VALUE || GetLastError() != ERROR_ACCESS_DENIED)
        return handle;
    return Open(name, append, sharing, OPEN_ALWAYS); // the last line of the file is not inspected then
}

template <typename Character>
platform::TraceFile *OpenFile(Character const *name, platform::TTraceFileUse use) noexcept {
    using platform::TTraceFileUse;
    bool const isShared = use != TTraceFileUse::alone;
    HANDLE const handle = isShared ? OpenShared(name, use == TTraceFileUse::joinedOrBegun)
                                   : Open(name, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, CREATE_ALWAYS);
    if (handle == INVALID_HANDLE_VALUE)
        return nullptr;
    auto *const file = new (std::nothrow) platform::TraceFile(handle, isShared);
    if (!file)
        CloseHandle(handle);
    return file;
}

} // namespace

platform::TraceFile *platform::OpenTraceFile(char const *name, TTraceFileUse use, unsigned int) noexcept {
    return OpenFile(name, use);
}

platform::TraceFile *platform::OpenNativeTraceFile(wchar_t const *name, TTraceFileUse use, unsigned int) noexcept {
    return OpenFile(name, use);
}

bool platform::WriteTraceFile(TraceFile *file, char const *text, std::size_t count) noexcept {
    return file && file->Write({text, count});
}

void platform::CloseTraceFile(TraceFile *file) noexcept {
    delete file;
}
