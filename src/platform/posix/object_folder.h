#ifndef TUZUTIL_PLATFORM_POSIX_OBJECT_FOLDER
#define TUZUTIL_PLATFORM_POSIX_OBJECT_FOLDER

// Finds the folder in which named locks and named memory are files, and makes the names of these files. All processes
// of a user find the same folder, unless their environments differ. The functions take no locks. REQUIRES: the caller
// has disabled cancellation.

#include <cstddef>

namespace platform {

constexpr std::size_t objectFileSize = 64; // bytes of a file name with its terminating zero

// Opens the user's private folder for named objects, and makes it if it does not exist. The variable XDG_RUNTIME_DIR
// names a run-time folder. If that folder belongs to the user, nobody else may write to it, and "tuzutil" exists in it
// or can be made, "tuzutil" in that folder is opened. If the user has no such folder, the same is tried with
// /run/user/UID. If there is none either, /dev/shm/tuzutil-UID is opened. Returns a descriptor, which the caller must
// close, or -1 with errno. errno is EACCES if the folder belongs to somebody else or others may use it. After other
// failures, for example a lack of descriptors, no other folder is tried.
int OpenObjectFolder() noexcept;

// Writes the file name of an object. This name consists of the kind, the version of the layout, the word size, and a
// hash of the object's name. Therefore a long name fits, and programs with another layout or word size use other files.
// "Local\x" means "x". Returns false with errno if the name has more than 260 bytes (ENAMETOOLONG), or contains a "\"
// other than that of "Local\" or "Global\" (ENOENT).
bool ObjectFileName(char const *kind, int version, char const *name, char (&file)[objectFileSize]) noexcept;

} // namespace platform

#endif
