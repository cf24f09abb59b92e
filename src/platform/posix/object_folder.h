#ifndef TUZUTIL_PLATFORM_POSIX_OBJECT_FOLDER
#define TUZUTIL_PLATFORM_POSIX_OBJECT_FOLDER

// The folder in which locks and memory with names live as files, for all processes of a user, and the names of these
// files. Takes no locks. The caller holds back cancellation.

#include <cstddef>

namespace platform {

constexpr std::size_t objectFileSize = 64; // bytes of a file name with its terminating zero

// Opens the user's private folder for shared objects, and makes it if need be. It is "tuzutil" in the user's run-time
// folder (XDG_RUNTIME_DIR, or else /run/user/UID) if that folder is the user's and nobody else may write to it;
// otherwise it is /dev/shm/tuzutil-UID. Returns a descriptor, which the caller must close, or -1 with errno: EACCES if
// the folder belongs to somebody else or is open to others.
int OpenObjectFolder() noexcept;

// Writes the file name of an object: kind, layout version, word size and a hash of the object's name. So every name
// fits, and programs of another build use other files. "Local\x" means "x". Returns false with errno for a name of more
// than 260 characters (ENAMETOOLONG), and for one with a "\" other than that of "Local\" or "Global\" (ENOENT).
bool ObjectFileName(char const *kind, int version, char const *name, char (&file)[objectFileSize]) noexcept;

} // namespace platform

#endif
