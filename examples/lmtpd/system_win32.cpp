#include "System.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <system_error>
#include <thread>

namespace lmtpd {

namespace {

// A link to a folder is no folder here.
Presence FindFolder(std::wstring const &path) {
    DWORD const attributes = GetFileAttributesW(path.c_str());
    DWORD const error = GetLastError();
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME ||
                       error == ERROR_FILENAME_EXCED_RANGE
                   ? Presence::missing
                   : Presence::unknown;
    bool const isFolder =
        (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
    return isFolder ? Presence::there : Presence::missing;
}

// The name has the time, the process and the machine in it, as is usual for a Maildir, so that no two programs choose
// the same name.
std::wstring NewName() {
    static unsigned int count = 0;
    wchar_t host[MAX_COMPUTERNAME_LENGTH + 1] = L"localhost";
    DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
    GetComputerNameW(host, &size);
    auto const now = std::chrono::system_clock::now().time_since_epoch();
    auto const microseconds = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    // All digits of the numbers, so that the names of messages sort by their times, even if the clock is coarse.
    return std::to_wstring(microseconds / 1000000) + L".M" +
           std::to_wstring(1000000 + microseconds % 1000000).substr(1) + L'P' + std::to_wstring(GetCurrentProcessId()) +
           L'Q' + std::to_wstring(1000000 + ++count).substr(1) + L'.' + host;
}

// Reads from the standard input in a thread of its own.
class Reader {
public:
    Reader() {
        std::thread([this] { Run(); }).detach();
    }
    Reader(Reader const &) = delete;
    Reader &operator=(Reader const &) = delete;

    long Receive(char *to, std::size_t count, std::chrono::seconds patience) {
        std::unique_lock<std::mutex> lock(fMutex);
        if (fCount == fNext) {
            fState = State::wanted;
            fChange.notify_all();
            if (!fChange.wait_for(lock, patience, [this] { return fState == State::done; }))
                return -1;
            fNext = 0;
        }
        if (fCount <= 0)
            return fCount;
        long const part = std::min(fCount - fNext, static_cast<long>(count));
        std::copy_n(fBytes.data() + fNext, part, to);
        fNext += part;
        return part;
    }

private:
    enum class State { idle, wanted, done };

    void Run() {
        std::unique_lock<std::mutex> lock(fMutex);
        for (;;) {
            fChange.wait(lock, [this] { return fState == State::wanted; });
            lock.unlock();
            DWORD received = 0;
            bool const isRead = ReadFile(GetStdHandle(STD_INPUT_HANDLE), fBytes.data(),
                                         static_cast<DWORD>(fBytes.size()), &received, nullptr);
            bool const isOver = !isRead && GetLastError() == ERROR_BROKEN_PIPE; // the other end is closed
            lock.lock();
            fCount = isRead || isOver ? static_cast<long>(received) : -1;
            fState = State::done;
            fChange.notify_all();
        }
    }

    std::mutex fMutex;
    std::condition_variable fChange;
    State fState = State::idle;
    std::array<char, 16384> fBytes;
    long fCount = 0; // the bytes that were read; 0 at the end of the data, -1 after a failure
    long fNext = 0;  // the first of them that the caller has not got
};

} // namespace

void PrepareStandardStreams() {}

// A read from a pipe waits without a limit. Therefore another thread reads, and this one waits for it.
long Receive(char *to, std::size_t count, int idleSeconds) {
    static auto *const reader = new Reader; // never destroyed, because its thread may still wait for bytes
    return reader->Receive(to, count, std::chrono::seconds(idleSeconds));
}

bool Send(char const *from, std::size_t count, int) {
    while (count > 0) {
        DWORD sent = 0;
        if (!WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), from, static_cast<DWORD>(count), &sent, nullptr) || sent == 0)
            return false;
        from += sent;
        count -= sent;
    }
    return true;
}

std::string LastProblem() {
    return std::system_category().message(static_cast<int>(GetLastError()));
}

struct NewMessage::System {
    explicit System(std::string const &mailbox) : outer(std::filesystem::path(mailbox).wstring()) {}

    Presence FindFolders() const {
        for (wchar_t const *const inner : {L"", L"\\tmp", L"\\new"})
            if (Presence const presence = FindFolder(outer + inner); presence != Presence::there)
                return presence;
        return Presence::there;
    }

    std::wstring outer;
    std::wstring name = NewName();
    HANDLE file = INVALID_HANDLE_VALUE;
    bool isCommitted = false;
};

Presence NewMessage::FindMaildir(std::string const &mailbox) {
    return System(mailbox).FindFolders();
}

// The file can be renamed and removed while it is open, because it is shared for that.
NewMessage::NewMessage(std::string const &mailbox) : fSystem(std::make_unique<System>(mailbox)) {
    if (fSystem->FindFolders() == Presence::there)
        fSystem->file =
            CreateFileW((fSystem->outer + L"\\tmp\\" + fSystem->name).c_str(), GENERIC_WRITE,
                        FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
}

NewMessage::~NewMessage() {
    if (!IsOpen())
        return;
    CloseHandle(fSystem->file);
    if (!fSystem->isCommitted)
        DeleteFileW((fSystem->outer + L"\\tmp\\" + fSystem->name).c_str());
}

bool NewMessage::IsOpen() const {
    return fSystem->file != INVALID_HANDLE_VALUE;
}

bool NewMessage::Write(char const *from, std::size_t count) {
    while (count > 0) {
        DWORD const part = count < 1 << 20 ? static_cast<DWORD>(count) : 1 << 20;
        DWORD written = 0;
        if (!WriteFile(fSystem->file, from, part, &written, nullptr) || written == 0)
            return false;
        from += written;
        count -= written;
    }
    return true;
}

// The bytes must be on the disk before the name is: otherwise a power failure could leave an empty message.
bool NewMessage::Commit() {
    std::wstring const from = fSystem->outer + L"\\tmp\\" + fSystem->name;
    std::wstring const to = fSystem->outer + L"\\new\\" + fSystem->name;
    fSystem->isCommitted =
        FlushFileBuffers(fSystem->file) && MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_WRITE_THROUGH);
    return fSystem->isCommitted;
}

} // namespace lmtpd
