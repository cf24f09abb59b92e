// A library that a program is linked with. It makes calls of the program fail, as orders.h says. It replaces the
// functions that the program, the library and the C++ runtime import. Its own imports stay as they are.

#include <winsock2.h>

#include "support/failing_calls_win32.cpp"

#include "serverfailures/orders.h"
#include "serverfailures/refuser_win32.h"

#include <thread>
#include <tlhelp32.h>

namespace replaced {

TUZUTIL_FAILING(DWORD, GetFileAttributesW, (wchar_t const *name), (name), ERROR_ACCESS_DENIED, INVALID_FILE_ATTRIBUTES)
TUZUTIL_FAILING(BOOL, GetFileInformationByHandle, (HANDLE file, BY_HANDLE_FILE_INFORMATION *found), (file, found),
                ERROR_NOT_ENOUGH_MEMORY, FALSE)
TUZUTIL_FAILING(DWORD, GetFileType, (HANDLE file), (file), ERROR_NOT_ENOUGH_MEMORY, FILE_TYPE_UNKNOWN)
TUZUTIL_FAILING(DWORD, GetFinalPathNameByHandleW, (HANDLE file, wchar_t *path, DWORD room, DWORD flags),
                (file, path, room, flags), ERROR_NOT_ENOUGH_MEMORY, 0)
TUZUTIL_FAILING(BOOL, SetFileInformationByHandle,
                (HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, void *information, DWORD size),
                (file, kind, information, size), ERROR_ACCESS_DENIED, FALSE)
TUZUTIL_FAILING(BOOL, DeleteFileW, (wchar_t const *name), (name), ERROR_ACCESS_DENIED, FALSE)
TUZUTIL_FAILING(BOOL, MoveFileExW, (wchar_t const *from, wchar_t const *to, DWORD flags), (from, to, flags),
                ERROR_ACCESS_DENIED, FALSE)
TUZUTIL_FAILING(BOOL, FlushFileBuffers, (HANDLE file), (file), ERROR_DISK_FULL, FALSE)
TUZUTIL_FAILING(BOOL, GetComputerNameW, (wchar_t * name, DWORD *size), (name, size), ERROR_NOT_ENOUGH_MEMORY, FALSE)
TUZUTIL_FAILING(int, WSAStartup, (WORD version, WSADATA *data), (version, data), WSAENOBUFS, WSAENOBUFS)
TUZUTIL_FAILING(SOCKET, socket, (int family, int type, int protocol), (family, type, protocol), WSAEMFILE,
                INVALID_SOCKET)
TUZUTIL_FAILING(int, bind, (SOCKET socket, sockaddr const *address, int size), (socket, address, size), WSAEADDRINUSE,
                -1)
TUZUTIL_FAILING(int, listen, (SOCKET socket, int backlog), (socket, backlog), WSAEADDRINUSE, -1)
TUZUTIL_FAILING(int, getsockname, (SOCKET socket, sockaddr *address, int *size), (socket, address, size), WSAENOBUFS,
                -1)
TUZUTIL_FAILING(SOCKET, accept, (SOCKET socket, sockaddr *address, int *size), (socket, address, size), WSAEMFILE,
                INVALID_SOCKET)
TUZUTIL_FAILING(int, select, (int count, fd_set *reads, fd_set *writes, fd_set *exceptions, PTIMEVAL time),
                (count, reads, writes, exceptions, time), WSAENOBUFS, -1)
TUZUTIL_FAILING(int, setsockopt, (SOCKET socket, int level, int name, char const *value, int size),
                (socket, level, name, value, size), WSAENOBUFS, -1)
TUZUTIL_FAILING(int, getpeername, (SOCKET socket, sockaddr *address, int *size), (socket, address, size), WSAENOTCONN,
                -1)
TUZUTIL_FAILING(int, ioctlsocket, (SOCKET socket, long command, u_long *value), (socket, command, value), WSAENOBUFS,
                -1)
TUZUTIL_FAILING(int, shutdown, (SOCKET socket, int how), (socket, how), WSAENOTCONN, -1)

static int WSAAPI recv(SOCKET socket, char *to, int count, int flags) {
    bool const isHalf = count > 1 && calls::MustFail("recv", calls::Kind::partial);
    return Fails("recv", WSAECONNRESET) ? -1 : ::recv(socket, to, isHalf ? count / 2 : count, flags);
}

static int WSAAPI send(SOCKET socket, char const *from, int count, int flags) {
    bool const isHalf = count > 1 && calls::MustFail("send", calls::Kind::partial);
    return Fails("send", WSAECONNRESET) ? -1 : ::send(socket, from, isHalf ? count / 2 : count, flags);
}

TUZUTIL_FAILING_RUNTIME(FILE *, fopen, (char const *name, char const *mode), (name, mode), EMFILE,
                        ERROR_TOO_MANY_OPEN_FILES, nullptr)
TUZUTIL_FAILING_RUNTIME(int, rename, (char const *from, char const *to), (from, to), EACCES, ERROR_ACCESS_DENIED, -1)

} // namespace replaced

namespace {

TRow const fsOfProgram[] = {
    TUZUTIL_ROW(CreateFileA),
    TUZUTIL_ROW(CreateFileW),
    TUZUTIL_ROW(ReadFile),
    TUZUTIL_ROW(WriteFile),
    TUZUTIL_ROW(GetFileAttributesW),
    TUZUTIL_ROW(GetFileInformationByHandle),
    TUZUTIL_ROW(GetFileType),
    TUZUTIL_ROW(GetFinalPathNameByHandleW),
    TUZUTIL_ROW(SetFileInformationByHandle),
    TUZUTIL_ROW(DeleteFileW),
    TUZUTIL_ROW(MoveFileExW),
    TUZUTIL_ROW(FlushFileBuffers),
    TUZUTIL_ROW(GetComputerNameW),
    TUZUTIL_ROW(WSAStartup),
    TUZUTIL_ROW(socket),
    TUZUTIL_ROW(bind),
    TUZUTIL_ROW(listen),
    TUZUTIL_ROW(getsockname),
    TUZUTIL_ROW(accept),
    TUZUTIL_ROW(select),
    TUZUTIL_ROW(setsockopt),
    TUZUTIL_ROW(getpeername),
    TUZUTIL_ROW(ioctlsocket),
    TUZUTIL_ROW(shutdown),
    TUZUTIL_ROW(recv),
    TUZUTIL_ROW(send),
    TUZUTIL_ROW(fopen),
    TUZUTIL_ROW(rename),
};

void ObeyAll() {
    WSADATA data;
    ::WSAStartup(MAKEWORD(2, 2), &data);
    SOCKET const connection = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in at{};
    at.sin_family = AF_INET;
    at.sin_port = htons(static_cast<std::uint16_t>(std::atoi(std::getenv("TUZUTIL_ORDERS"))));
    at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(connection, reinterpret_cast<sockaddr *>(&at), sizeof at) != 0)
        std::abort();
    char order[100];
    for (int count; (count = ::recv(connection, order, sizeof order - 1, 0)) > 0;) {
        order[count] = '\0';
        std::string const reply = Obey(order);
        int const size = static_cast<int>(reply.size());
        if (::send(connection, reply.data(), size, 0) != size)
            std::abort();
    }
}

} // namespace

void BeginToRefuse() {
    for (TRow const &row : fsOfProgram) {
        // No program imports all of these functions. The C++ runtime opens the files of streams.
        ReplaceImport(nullptr, row.name, row.replacement);
        ReplaceImport("libstdc++-6.dll", row.name, row.replacement);
    }
    if (std::getenv("TUZUTIL_ORDERS"))
        std::thread(ObeyAll).detach();
    if (char const *const order = std::getenv("TUZUTIL_ORDER"))
        Obey(order);
}

void EndRefusing() {
    if (!std::getenv("TUZUTIL_ORDER"))
        return;
    std::string const reply = Obey("stop");
    FILE *const file = std::fopen(std::getenv("TUZUTIL_COUNTED"), "wb");
    if (!file || std::fputs(reply.c_str(), file) < 0 || std::fclose(file) != 0)
        std::abort();
}

std::string Resources() {
    DWORD handles = 0;
    GetProcessHandleCount(GetCurrentProcess(), &handles);
    HANDLE const all = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    int threads = 0;
    for (BOOL isThere = Thread32First(all, &entry); isThere; isThere = Thread32Next(all, &entry))
        threads += entry.th32OwnerProcessID == GetCurrentProcessId();
    CloseHandle(all);
    return std::to_string(handles) + " handles, " + std::to_string(threads) + " threads";
}
