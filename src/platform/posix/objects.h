#ifndef TUZUTIL_POSIX_OBJECTS_H
#define TUZUTIL_POSIX_OBJECTS_H

// Where objects with names live that all processes of a user share.

#include <cstddef>

namespace posix {

constexpr std::size_t objectFileSize = 64; // room for a file name with its terminator

// Opens the user's private folder for shared objects, which it makes if need be: "tuzutil" in the user's run-time
// folder (XDG_RUNTIME_DIR, or else /run/user/UID) where that is the user's and nobody else may write to it; otherwise
// /dev/shm/tuzutil-UID. Returns a descriptor, or -1 with errno: EACCES where something else has taken its place.
int OpenObjectFolder() noexcept;

// Writes the file name of an object: kind, layout version, word size and a digest of the name, so that any name fits
// and programs of another build stay apart. "Local\x" is "x". False with errno ENOENT for another "\" but that of
// "Global\", ENAMETOOLONG for more than 260 characters.
bool ObjectFileName(char const *kind, int version, char const *name, char (&file)[objectFileSize]) noexcept;

} // namespace posix

#endif
