#ifndef POP3D_SYSTEM_H
#define POP3D_SYSTEM_H

// What the server needs of the operating system beyond the standard library: sockets, UTF-8 and the wish to stop.

#include <cstddef>
#include <cstdint>
#include <string>

namespace pop3d::net {

using Handle = std::intptr_t;
constexpr Handle fsNone = -1;

// Once per process, before any other call. False where the system's sockets cannot be used.
bool StartUp();

// A listening socket on a numeric IPv4 address; port 0 lets the system choose. On failure fsNone, and the reason in one
// line in `problem`.
Handle Listen(char const *address, std::uint16_t port, std::string &problem);
std::uint16_t QueryPort(Handle listener);

// The next client, or fsNone when `milliseconds` have passed without one.
Handle Accept(Handle listener, int milliseconds);
bool IsLoopback(Handle client);

// Writing gives up after this time without progress.
void SetSendTimeout(Handle client, int seconds);
// The bytes moved, 0 at the end of the data, -1 on failure.
long Receive(Handle client, char *to, std::size_t count);
long Send(Handle client, char const *from, std::size_t count);
// Ends all reading and writing, also in another thread that waits; the handle stays valid until Close().
void Shutdown(Handle client);
void Close(Handle handle);

} // namespace pop3d::net

namespace pop3d {

unsigned long ProcessId();

// A text in the process's encoding, which that of messages is, in UTF-8: what goes out to people.
std::string Utf8(char const *text);

// Makes SIGINT, SIGTERM or Ctrl-C set the flag that IsStopWanted() reads.
void WatchForStop();
bool IsStopWanted();

} // namespace pop3d

#endif
