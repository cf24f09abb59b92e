#ifndef POP3D_SYSTEM_H
#define POP3D_SYSTEM_H

// What the server needs of the operating system beyond the standard library: sockets, the text that the system gave the
// program, and requests to stop.

#include "tuzutil/TSTRING.h"

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
// The IPv4 address of a client, as a number; 0 if it is gone.
std::uint32_t QueryAddress(Handle client);
inline bool IsLoopback(Handle client) {
    return QueryAddress(client) >> 24 == 127;
}

// The bytes received, 0 at the end of the data, -1 on failure. Waits.
long Receive(Handle client, char *to, std::size_t count);
// The bytes sent, 0 if there is no room at the moment, -1 on failure. Does not wait.
long Send(Handle client, char const *from, std::size_t count);
// Whether there is room to send, or a failure to be told of, before `milliseconds` have passed.
bool AwaitRoom(Handle client, int milliseconds);
// Whether the client's end is open, as far as is known. Does not wait.
bool IsThere(Handle client);
// Ends the sending; what the client still sends can be received.
void EndSending(Handle client);
// Drops what has been received; false after the client's end. Does not wait.
bool Drain(Handle client);
// Ends all reading and writing, also in another thread that waits; the handle stays valid until Close().
void Shutdown(Handle client);
void Close(Handle handle);

} // namespace pop3d::net

namespace pop3d {

unsigned long ProcessId();

// Text that the system gave the program, such as a word of the command line, in a form for messages.
TString Given(std::string const &text);

// Makes SIGINT, SIGTERM or Ctrl-C set the flag that IsStopWanted() reads. Other signals that would end the process, but
// are no wish to stop, do not: a terminal that is closed, and a file that grows too large.
void WatchForStop();
bool IsStopWanted();

} // namespace pop3d

#endif
