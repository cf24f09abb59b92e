#include "System.h"

#include "Texts.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <windows.h>

#include <atomic>
#include <cstring>

namespace pop3d {

namespace {

std::atomic<bool> fsStop{false};

BOOL WINAPI WantStop(DWORD) {
    fsStop = true;
    return TRUE;
}

SOCKET Socket(net::Handle handle) {
    return static_cast<SOCKET>(handle);
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
    // Without it another process could listen on the same port beside us.
    BOOL const on = TRUE;
    if (s != INVALID_SOCKET)
        setsockopt(s, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<char const *>(&on), sizeof on);
    if (s == INVALID_SOCKET || bind(s, reinterpret_cast<sockaddr *>(&at), sizeof at) != 0 ||
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
    fd_set watched;
    FD_ZERO(&watched);
    FD_SET(Socket(listener), &watched);
    timeval time{milliseconds / 1000, (milliseconds % 1000) * 1000};
    if (select(0, &watched, nullptr, nullptr, &time) <= 0)
        return fsNone;
    SOCKET const s = accept(Socket(listener), nullptr, nullptr);
    if (s == INVALID_SOCKET) {
        // Where there is no room for the client it stays in the queue: asked at once again, the answer is the same.
        if (WSAGetLastError() == WSAEMFILE || WSAGetLastError() == WSAENOBUFS)
            Sleep(static_cast<DWORD>(milliseconds));
        return fsNone;
    }
    BOOL const on = TRUE;
    setsockopt(s, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<char const *>(&on), sizeof on);
    return static_cast<Handle>(s);
}

bool IsLoopback(Handle client) {
    sockaddr_in at{};
    int size = sizeof at;
    return getpeername(Socket(client), reinterpret_cast<sockaddr *>(&at), &size) == 0 && at.sin_family == AF_INET &&
           (ntohl(at.sin_addr.s_addr) >> 24) == 127;
}

void SetSendTimeout(Handle client, int seconds) {
    DWORD const time = static_cast<DWORD>(seconds) * 1000;
    setsockopt(Socket(client), SOL_SOCKET, SO_SNDTIMEO, reinterpret_cast<char const *>(&time), sizeof time);
}

// A shutdown from another thread does not reach a recv() that waits, so the wait goes in steps.
long Receive(Handle client, char *to, std::size_t count) {
    for (;;) {
        fd_set watched;
        FD_ZERO(&watched);
        FD_SET(Socket(client), &watched);
        timeval time{0, 200000};
        int const ready = select(0, &watched, nullptr, nullptr, &time);
        if (ready > 0)
            break;
        if (ready < 0 || IsStopWanted())
            return -1;
    }
    return recv(Socket(client), to, static_cast<int>(count), 0);
}

long Send(Handle client, char const *from, std::size_t count) {
    return send(Socket(client), from, static_cast<int>(count), 0);
}

void Shutdown(Handle client) {
    shutdown(Socket(client), SD_BOTH);
}

void Close(Handle handle) {
    closesocket(Socket(handle));
}

} // namespace net

unsigned long ProcessId() {
    return GetCurrentProcessId();
}

std::string Utf8(char const *text) {
    int const length = static_cast<int>(std::strlen(text));
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, text, length, wide.data(), length)));
    int const count = static_cast<int>(wide.size());
    std::string bytes(wide.size() * 3, '\0');
    bytes.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, wide.data(), count, bytes.data(),
                                                              static_cast<int>(bytes.size()), nullptr, nullptr)));
    return bytes;
}

void WatchForStop() {
    SetConsoleCtrlHandler(WantStop, TRUE);
}

bool IsStopWanted() {
    return fsStop;
}

} // namespace pop3d
