#ifndef TUZUTIL_PLATFORM_POSIX_OBJECT_FOLDER
#define TUZUTIL_PLATFORM_POSIX_OBJECT_FOLDER

// The folder that holds named locks and named memory as files, for all processes of a user, and the names of these
// files. Takes no locks. REQUIRES: the caller has disabled cancellation.

#include <cstddef>

namespace platform {

constexpr std::size_t objectFileSize = 64; // bytes of a file name with its terminating zero

// Opens the user's private folder for named objects, and makes it if it does not exist. The folder is "tuzutil" in the
// user's run-time folder (XDG_RUNTIME_DIR, or else /run/user/UID), if the run-time folder belongs to the user and
// nobody else may write to it. Otherwise the folder is /dev/shm/tuzutil-UID. Returns a descriptor, which the caller
// must close, or -1 with errno: EACCES if the folder belongs to somebody else or is open to others.
int OpenObjectFolder() noexcept;

// Writes the file name of an object: kind, layout version, word size, and a hash of the object's name. Therefore a long
// name fits, and programs with another layout or word size use other files. "Local\x" means "x". Returns false with
// errno if the name has more than 260 characters (ENAMETOOLONG), or contains a "\" other than that of "Local\" or
// "Global\" (ENOENT).
bool ObjectFileName(char const *kind, int version, char const *name, char (&file)[objectFileSize]) noexcept;

} // namespace platform

#endif
