#ifndef POP3D_FILES_H
#define POP3D_FILES_H

// Files: messages as the owner of a mailbox cannot make them other than they look. Only regular files of the folder
// itself are opened; links are not followed, and pipes and devices are not waited for.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace pop3d::file {

using Handle = std::intptr_t;
constexpr Handle fsNone = -1;

// Which file it is, and as what it was last written.
struct Identity {
    std::uint64_t device = 0;
    std::uint64_t number = 0; // of the file on its device
    std::uint64_t size = 0;
    std::int64_t time = 0; // of the last change, in the system's units

    bool operator==(Identity const &) const = default;
};

class Folder {
public:
    // The mailbox itself if `name` is empty, or a folder in it. The mailbox may be a link; a folder in it may not.
    Folder(std::string const &mailbox, std::string const &name);
    ~Folder();

    bool IsOpen() const { return fSystem != nullptr; }
    bool HasFailed() const { return fHasFailed; } // it may be there, and could not be opened
    // A regular file in the folder; `identity` says which it is. False or fsNone for everything else.
    bool Identify(std::string const &name, Identity &identity) const;
    Handle Open(std::string const &name, Identity &identity) const;
    // Removes a file, unless another one has taken its place.
    bool Remove(std::string const &name, Identity const &identity) const;

private:
    struct System;
    std::unique_ptr<System> fSystem;
    bool fHasFailed = false;
};

// The bytes read, 0 at the end, -1 on failure.
long Read(Handle file, char *to, std::size_t count);
void Close(Handle file);

// Locks a mailbox against all other sessions, also those of other processes and under other spellings, until the handle
// is closed or the process ends. On failure fsNone; `isInUse` says whether another session is the reason.
Handle Lock(std::string const &mailbox, bool &isInUse);

} // namespace pop3d::file

#endif
