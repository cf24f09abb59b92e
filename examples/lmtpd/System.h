#ifndef LMTPD_SYSTEM_H
#define LMTPD_SYSTEM_H

// Functions of the operating system that the standard library does not offer.

#include "Presence.h"

#include <cstddef>
#include <memory>
#include <string>

namespace lmtpd {

void PrepareStandardStreams(); // call this function once, before Receive() and Send()

// Waits for bytes from the standard input. Returns the number of bytes received, 0 at the end of the data, or -1 on
// failure and if nothing comes for `idleSeconds`.
long Receive(char *to, std::size_t count, int idleSeconds);
// Sends all bytes to the standard output. Returns false on failure, and if the client takes no bytes for `idleSeconds`.
// On Windows, waits for the client without a limit.
bool Send(char const *from, std::size_t count, int idleSeconds);

std::string LastProblem(); // the system's text about the last call that failed

// A new message in a Maildir: a mailbox that is a folder with the folders "tmp" and "new" in it. The message is written
// to a file in "tmp", and becomes visible in "new" when it is complete. If a Maildir or one of its two folders is a
// link, no message is stored in it.
class NewMessage {
public:
    static Presence FindMaildir(std::string const &mailbox);

    explicit NewMessage(std::string const &mailbox); // makes an empty file
    ~NewMessage();                                   // removes the file unless Commit() has been successful
    NewMessage(NewMessage const &) = delete;
    NewMessage &operator=(NewMessage const &) = delete;

    bool IsOpen() const; // false if the file could not be made
    bool Write(char const *from, std::size_t count);
    // Makes the message visible. Returns true only if neither the end of this process nor a power failure can remove
    // the message any more. If the last step fails, the message is visible, although the result is false.
    bool Commit();

private:
    struct System;
    std::unique_ptr<System> fSystem;
};

} // namespace lmtpd

#endif
