#ifndef POP3D_FILES_H
#define POP3D_FILES_H

// Files: access to the files of a mailbox. The owner of a mailbox may put links, pipes and devices into it. Therefore
// only regular files in the folder itself are opened. Links are not followed, and the server does not wait for pipes
// and devices.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace pop3d::file {

using Handle = std::intptr_t;
constexpr Handle fsNone = -1;

// Identifies a file and its state. If the file is replaced or changed, it gets another identity.
struct Identity {
    std::uint64_t device = 0;
    std::uint64_t number = 0; // of the file on its device
    std::uint64_t size = 0;
    std::int64_t time = 0; // of the last change, in the system's units

    bool operator==(Identity const &) const = default;
};

// What a name in a folder stands for.
enum class Kind {
    file,   // a regular file
    other,  // something else, or nothing
    unknown // the system cannot say, so there may be a regular file
};

class Folder {
public:
    // Opens the mailbox itself if `name` is empty, or otherwise the folder `name` in the mailbox. The mailbox may be a
    // link, but a folder in the mailbox may not.
    Folder(std::string const &mailbox, std::string const &name);
    ~Folder();

    bool IsOpen() const { return fSystem != nullptr; }
    bool HasFailed() const { return fHasFailed; } // true if the folder may exist, but could not be opened
    // Adds the names of all files and folders in the folder to `names`, in any order. Returns false if not all of them
    // could be read.
    bool List(std::vector<std::string> &names) const;
    // These functions find or open a regular file in the folder, and set `identity`. If `name` is not a regular file,
    // or the system cannot say, Open() returns fsNone.
    Kind Identify(std::string const &name, Identity &identity) const;
    Handle Open(std::string const &name, Identity &identity) const;
    // Removes the file if it still has this identity. Returns whether the file was removed.
    bool Remove(std::string const &name, Identity const &identity) const;

private:
    struct System;
    std::unique_ptr<System> fSystem;
    bool fHasFailed = false;
};

// Sets `identity` to the present state of an open file. Returns false if this state cannot be found out.
bool Identify(Handle file, Identity &identity);
// Returns the number of bytes read, 0 at the end of the file, or -1 on failure.
long Read(Handle file, char *to, std::size_t count);
void Close(Handle file);

// Locks a mailbox until the handle is closed or the process ends. No other session can then lock the mailbox, even in
// another process or by another path to the mailbox. On failure, returns fsNone. `isInUse` then says whether another
// session has the lock.
Handle Lock(std::string const &mailbox, bool &isInUse);

} // namespace pop3d::file

#endif
