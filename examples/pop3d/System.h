#ifndef POP3D_SYSTEM_H
#define POP3D_SYSTEM_H

// Functions of the operating system that the standard library does not offer: sockets, the process ID, texts that the
// system gave the program, and requests to stop.

#include "tuzutil/TSTRING.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace pop3d::net {

using Handle = std::intptr_t;
constexpr Handle fsNone = -1;

// Call this function once per process, before any other function of this namespace. It returns false if the system's
// sockets cannot be used.
bool StartUp();

// Returns a listening socket on a numeric IPv4 address. If the port is 0, the system chooses the port. On failure,
// returns fsNone and stores the reason, in one line, in `problem`.
Handle Listen(char const *address, std::uint16_t port, std::string &problem);
std::uint16_t QueryPort(Handle listener); // 0 if the system does not say

// Returns the connection of the next client. If no client comes within `milliseconds`, or the connection cannot be
// accepted, returns fsNone.
Handle Accept(Handle listener, int milliseconds);
// Returns the IPv4 address of a client as a number, or 0 if the client is gone.
std::uint32_t QueryAddress(Handle client);
inline bool IsLoopback(Handle client) {
    return QueryAddress(client) >> 24 == 127;
}

// Waits for bytes. Returns the number of bytes received, 0 at the end of the data, or -1 on failure.
long Receive(Handle client, char *to, std::size_t count);
// Returns the number of bytes sent, 0 if there is no room at the moment, or -1 on failure. Does not wait.
long Send(Handle client, char const *from, std::size_t count);
// Waits until there is room to send, or until the connection has failed. If `milliseconds` pass before that, returns
// false.
bool AwaitRoom(Handle client, int milliseconds);
// Returns whether the client's end of the connection is open, as far as the system knows. Does not wait.
bool IsThere(Handle client);
// Ends the sending. Bytes that the client still sends can be received.
void EndSending(Handle client);
// Drops bytes that have arrived. Returns false if the client has ended the connection. Does not wait.
bool Drain(Handle client);
// Ends all reading and writing, even if another thread waits for it. The handle stays valid until Close().
void Shutdown(Handle client);
void Close(Handle handle);

} // namespace pop3d::net

namespace pop3d {

unsigned long ProcessId();

// Converts a text that the system gave the program, such as a command-line argument, to a form for messages.
TString Given(std::string const &text);

// Makes requests to stop set the flag that IsStopWanted() reads. On Linux, these are SIGINT and SIGTERM. The process
// then ignores SIGHUP (its terminal was closed) and SIGXFSZ (a file became too large), because they are no requests to
// stop. On Windows, the requests are Ctrl-C and the other console events.
void WatchForStop();
bool IsStopWanted();

} // namespace pop3d

#endif
