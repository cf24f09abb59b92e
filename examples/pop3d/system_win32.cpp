#include "Files.h"
#include "System.h"
#include "Texts.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <windows.h>

#include <atomic>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <utility>

namespace pop3d {

namespace {

std::atomic<bool> fsStop{false};

// In bytes. The buffer is small, because a slow client is noticed only when this buffer is full.
int const fsSendBuffer = 65536;

BOOL WINAPI WantStop(DWORD) {
    fsStop = true;
    return TRUE;
}

SOCKET Socket(net::Handle handle) {
    return static_cast<SOCKET>(handle);
}

// Waits until the socket can be read (or written, if `isForWriting` is true), or has failed. Returns false if the time
// passes before that, and true if the wait fails.
bool Await(net::Handle handle, bool isForWriting, int milliseconds) {
    fd_set watched;
    FD_ZERO(&watched);
    FD_SET(Socket(handle), &watched);
    timeval time{milliseconds / 1000, (milliseconds % 1000) * 1000};
    int const count = select(0, isForWriting ? nullptr : &watched, isForWriting ? &watched : nullptr, nullptr, &time);
    if (count < 0)
        Sleep(10); // so that the caller, who tries again, leaves the processor to others
    return count != 0;
}

// From then on, no call for this socket waits: not that of send() for a client that takes no bytes, nor that of
// accept() if the client has left again.
bool StopBlocking(SOCKET socket) {
    u_long isNonBlocking = 1;
    return ioctlsocket(socket, static_cast<long>(FIONBIO), &isNonBlocking) == 0;
}

} // namespace

namespace net {

bool StartUp() {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data) == 0;
}

Handle Listen(char const *address, std::uint16_t port, std::string &problem) {
    sockaddr_in at{};
    at.sin_family = AF_INET;
    at.sin_port = htons(port);
    at.sin_addr.s_addr = inet_addr(address);
    if (at.sin_addr.s_addr == INADDR_NONE) {
        problem = Tell(text::noAddress, address);
        return fsNone;
    }
    SOCKET const s = socket(AF_INET, SOCK_STREAM, 0);
    // Without this option, another process could listen on the same port at the same time.
    BOOL const on = TRUE;
    if (s != INVALID_SOCKET)
        setsockopt(s, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<char const *>(&on), sizeof on);
    if (s == INVALID_SOCKET || !StopBlocking(s) || bind(s, reinterpret_cast<sockaddr *>(&at), sizeof at) != 0 ||
        listen(s, SOMAXCONN) != 0) {
        int const error = WSAGetLastError();
        std::string const reason =
            error == WSAEADDRINUSE || error == WSAEACCES ? Tell(text::portInUse) : Tell(text::systemError, error);
        problem = Tell(text::cannotListen, address, port, reason.c_str());
        if (s != INVALID_SOCKET)
            closesocket(s);
        return fsNone;
    }
    return static_cast<Handle>(s);
}

std::uint16_t QueryPort(Handle listener) {
    sockaddr_in at{};
    int size = sizeof at;
    getsockname(Socket(listener), reinterpret_cast<sockaddr *>(&at), &size);
    return ntohs(at.sin_port);
}

Handle Accept(Handle listener, int milliseconds) {
    if (!Await(listener, false, milliseconds))
        return fsNone;
    SOCKET const s = accept(Socket(listener), nullptr, nullptr);
    if (s == INVALID_SOCKET) {
        // If the server has no room for the client, the client stays in the queue. Without the wait, accept() would
        // fail again at once.
        if (WSAGetLastError() == WSAEMFILE || WSAGetLastError() == WSAENOBUFS)
            Sleep(static_cast<DWORD>(milliseconds));
        return fsNone;
    }
    BOOL const on = TRUE;
    setsockopt(s, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<char const *>(&on), sizeof on);
    setsockopt(s, SOL_SOCKET, SO_SNDBUF, reinterpret_cast<char const *>(&fsSendBuffer), sizeof fsSendBuffer);
    if (StopBlocking(s))
        return static_cast<Handle>(s);
    closesocket(s);
    return fsNone;
}

std::uint32_t QueryAddress(Handle client) {
    sockaddr_in at{};
    int size = sizeof at;
    bool const isKnown = getpeername(Socket(client), reinterpret_cast<sockaddr *>(&at), &size) == 0;
    return isKnown && at.sin_family == AF_INET ? ntohl(at.sin_addr.s_addr) : 0;
}

// If another thread calls shutdown(), a recv() that waits does not return. Therefore this function waits in steps of
// 200 ms, and checks between them whether a stop is wanted.
long Receive(Handle client, char *to, std::size_t count) {
    for (;;) {
        if (Await(client, false, 200)) {
            int const received = recv(Socket(client), to, static_cast<int>(count), 0);
            if (received >= 0 || WSAGetLastError() != WSAEWOULDBLOCK)
                return received;
        }
        if (IsStopWanted())
            return -1;
    }
}

long Send(Handle client, char const *from, std::size_t count) {
    int const sent = send(Socket(client), from, static_cast<int>(count), 0);
    return sent < 0 && WSAGetLastError() == WSAEWOULDBLOCK ? 0 : sent;
}

bool AwaitRoom(Handle client, int milliseconds) {
    return Await(client, true, milliseconds);
}

bool IsThere(Handle client) {
    char next;
    int const count = recv(Socket(client), &next, 1, MSG_PEEK);
    return count > 0 || (count < 0 && WSAGetLastError() == WSAEWOULDBLOCK);
}

void EndSending(Handle client) {
    shutdown(Socket(client), SD_SEND);
}

bool Drain(Handle client) {
    char dropped[4096];
    int const count = recv(Socket(client), dropped, sizeof dropped, 0);
    return count > 0 || (count < 0 && WSAGetLastError() == WSAEWOULDBLOCK);
}

void Shutdown(Handle client) {
    shutdown(Socket(client), SD_BOTH);
}

void Close(Handle handle) {
    closesocket(Socket(handle));
}

} // namespace net

namespace file {

namespace {

HANDLE File(Handle handle) {
    return reinterpret_cast<HANDLE>(handle);
}

// If the path ends with a link, opens the link itself.
Handle OpenAt(std::wstring const &path, DWORD rights, DWORD flags = 0) {
    HANDLE const handle = CreateFileW(path.c_str(), rights, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, flags | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    return handle == INVALID_HANDLE_VALUE ? fsNone : reinterpret_cast<Handle>(handle);
}

// Returns the path of an open file. The path contains no links. On failure, returns an empty path.
std::wstring FinalPath(Handle handle) {
    std::wstring path(512, L'\0');
    for (;;) {
        auto const room = static_cast<DWORD>(path.size());
        DWORD const length = GetFinalPathNameByHandleW(File(handle), path.data(), room, VOLUME_NAME_DOS);
        path.resize(length);
        if (length < room)
            return path;
    }
}

// Returns whether the last call failed because the file or its folder does not exist.
bool IsMissing() {
    return GetLastError() == ERROR_FILE_NOT_FOUND || GetLastError() == ERROR_PATH_NOT_FOUND;
}

Kind Describe(Handle handle, Identity &identity) {
    BY_HANDLE_FILE_INFORMATION found;
    DWORD const others = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE | FILE_ATTRIBUTE_REPARSE_POINT;
    SetLastError(NO_ERROR);
    if (DWORD const type = GetFileType(File(handle)); type != FILE_TYPE_DISK)
        return type == FILE_TYPE_UNKNOWN && GetLastError() != NO_ERROR ? Kind::unknown : Kind::other;
    if (!GetFileInformationByHandle(File(handle), &found))
        return Kind::unknown;
    if ((found.dwFileAttributes & others) != 0)
        return Kind::other;
    auto const join = [](DWORD high, DWORD low) { return std::uint64_t{high} << 32 | low; };
    identity.device = found.dwVolumeSerialNumber;
    identity.number = join(found.nFileIndexHigh, found.nFileIndexLow);
    identity.size = join(found.nFileSizeHigh, found.nFileSizeLow);
    identity.time =
        static_cast<std::int64_t>(join(found.ftLastWriteTime.dwHighDateTime, found.ftLastWriteTime.dwLowDateTime));
    return Kind::file;
}

} // namespace

struct Folder::System {
    std::wstring path; // the path of the folder; it contains no links

    // Opens a name in this folder. Sets `handle` to an open file if the name is that of a regular file, and not of a
    // link to one, and otherwise to fsNone.
    Kind Open(std::string const &name, DWORD rights, Identity &identity, Handle &handle) const {
        std::wstring const wanted = path + L'\\' + std::filesystem::path(name).wstring();
        handle = OpenAt(wanted, rights, FILE_FLAG_BACKUP_SEMANTICS); // opens folders too
        if (handle == fsNone)
            return IsMissing() ? Kind::other : Kind::unknown;
        Kind kind = Describe(handle, identity);
        if (kind == Kind::file) {
            std::wstring const found = FinalPath(handle);
            if (_wcsicmp(found.c_str(), wanted.c_str()) == 0)
                return kind;
            kind = found.empty() ? Kind::unknown : Kind::other;
        }
        Close(handle);
        handle = fsNone;
        return kind;
    }
};

// Finds the path of the folder, without links in it. The mailbox may be a link, because the administrator named it in
// the users file. A folder in the mailbox must not be a link.
Folder::Folder(std::string const &mailbox, std::string const &name) {
    std::wstring const given = std::filesystem::path(mailbox).wstring();
    HANDLE const outer = CreateFileW(given.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                     OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    fHasFailed = outer == INVALID_HANDLE_VALUE && !IsMissing();
    if (outer == INVALID_HANDLE_VALUE)
        return;
    std::wstring path = FinalPath(reinterpret_cast<Handle>(outer));
    CloseHandle(outer);
    fHasFailed = path.empty();
    if (!path.empty() && !name.empty()) {
        path += L'\\' + std::filesystem::path(name).wstring();
        Handle const inner = OpenAt(path, 0, FILE_FLAG_BACKUP_SEMANTICS);
        fHasFailed = inner == fsNone && !IsMissing();
        if (inner == fsNone)
            return;
        std::wstring const found = FinalPath(inner);
        Close(inner);
        fHasFailed = found.empty();
        if (_wcsicmp(found.c_str(), path.c_str()) != 0)
            return;
    }
    if (!fHasFailed)
        fSystem = std::make_unique<System>(System{std::move(path)});
}

Folder::~Folder() = default;

bool Folder::List(std::vector<std::string> &names) const {
    std::error_code problem;
    for (std::filesystem::directory_iterator entry(fSystem->path, problem), end; !problem && entry != end;
         entry.increment(problem))
        names.push_back(entry->path().filename().string());
    return !problem;
}

Kind Folder::Identify(std::string const &name, Identity &identity) const {
    Handle handle = fsNone;
    Kind const kind = fSystem->Open(name, FILE_READ_ATTRIBUTES, identity, handle);
    if (handle != fsNone)
        Close(handle);
    return kind;
}

Handle Folder::Open(std::string const &name, Identity &identity) const {
    Handle handle = fsNone;
    fSystem->Open(name, GENERIC_READ, identity, handle);
    return handle;
}

bool Folder::Remove(std::string const &name, Identity const &identity) const {
    Identity found;
    Handle handle = fsNone;
    if (fSystem->Open(name, DELETE | FILE_READ_ATTRIBUTES, found, handle) != Kind::file)
        return false;
    FILE_DISPOSITION_INFO disposition{TRUE};
    bool const isRemoved = found == identity && SetFileInformationByHandle(File(handle), FileDispositionInfo,
                                                                           &disposition, sizeof disposition);
    Close(handle);
    return isRemoved;
}

bool Identify(Handle file, Identity &identity) {
    return Describe(file, identity) == Kind::file;
}

long Read(Handle file, char *to, std::size_t count) {
    DWORD read = 0;
    return ReadFile(File(file), to, static_cast<DWORD>(count), &read, nullptr) ? static_cast<long>(read) : -1;
}

void Close(Handle file) {
    CloseHandle(File(file));
}

// The lock is a file in the mailbox. Only one handle at a time can have this file open. The system removes the file
// when the handle is closed, even if the process ends unexpectedly.
Handle Lock(std::string const &mailbox, bool &isInUse) {
    std::wstring const path = (std::filesystem::path(mailbox) / ".pop3d-lock").wstring();
    HANDLE const handle =
        CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0, nullptr, OPEN_ALWAYS,
                    FILE_ATTRIBUTE_HIDDEN | FILE_FLAG_DELETE_ON_CLOSE | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    isInUse = handle == INVALID_HANDLE_VALUE && GetLastError() == ERROR_SHARING_VIOLATION;
    return handle == INVALID_HANDLE_VALUE ? fsNone : reinterpret_cast<Handle>(handle);
}

} // namespace file

unsigned long ProcessId() {
    return GetCurrentProcessId();
}

TString Given(std::string const &text) {
    int const length = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, text.data(), length, wide.data(), length)));
    return std::u16string(wide.begin(), wide.end());
}

void WatchForStop() {
    SetConsoleCtrlHandler(WantStop, TRUE);
}

bool IsStopWanted() {
    return fsStop;
}

} // namespace pop3d
