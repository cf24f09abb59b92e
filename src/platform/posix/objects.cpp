#include "platform/posix/objects.h"

#include "tuzutil/MD5.h"

#include <errno.h>
#include <fcntl.h>
#include <initializer_list>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t fsLongestName = 260;
constexpr char fsLocal[] = "Local\\";
constexpr char fsGlobal[] = "Global\\";

bool BeginsWith(char const *name, char const *prefix) noexcept {
    return ::strncmp(name, prefix, ::strlen(prefix)) == 0;
}

void Close(int folder) noexcept {
    int const error = errno;
    ::close(folder);
    errno = error;
}

// Whether a folder is the user's, and closed to all others in the bits of `refused`.
bool IsOwn(int folder, mode_t refused) noexcept {
    struct stat status;
    return ::fstat(folder, &status) == 0 && status.st_uid == ::geteuid() && (status.st_mode & refused) == 0;
}

// A folder in which nobody else can put anything; -1 for none.
int OpenRuntimeFolder(char const *path) noexcept {
    int const folder = *path == '/' ? ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1;
    if (folder < 0 || IsOwn(folder, 022))
        return folder;
    Close(folder);
    return -1;
}

// Opens a private folder below another, and makes it if need be. `isMade`: it is there, whoever made it.
int OpenPrivate(int base, char const *name, bool &isMade) noexcept {
    isMade = ::mkdirat(base, name, 0700) == 0 || errno == EEXIST;
    int const folder = isMade ? ::openat(base, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC) : -1;
    if (folder < 0 || IsOwn(folder, 077))
        return folder;
    Close(folder);
    errno = EACCES;
    return -1;
}

} // namespace

int posix::OpenObjectFolder() noexcept {
    auto const user = static_cast<unsigned long>(::geteuid());
    char path[64];
    ::snprintf(path, sizeof path, "/run/user/%lu", user);
    char const *const variable = ::secure_getenv("XDG_RUNTIME_DIR");
    bool isMade = false;
    for (char const *const runtime : {variable, static_cast<char const *>(path)}) {
        int const base = runtime ? OpenRuntimeFolder(runtime) : -1;
        if (base < 0)
            continue;
        int const folder = OpenPrivate(base, "tuzutil", isMade);
        Close(base);
        if (isMade) // nobody but the user has made it: a bad one is not passed by
            return folder;
    }
    // The same for all processes of the user, and emptied when the machine starts; but others may be there first.
    ::snprintf(path, sizeof path, "/dev/shm/tuzutil-%lu", user);
    return OpenPrivate(AT_FDCWD, path, isMade);
}

bool posix::ObjectFileName(char const *kind, int version, char const *name, char (&file)[objectFileSize]) noexcept {
    if (::strlen(name) > fsLongestName) {
        errno = ENAMETOOLONG;
        return false;
    }
    if (BeginsWith(name, fsLocal))
        name += sizeof fsLocal - 1;
    char const *const own = BeginsWith(name, fsGlobal) ? name + sizeof fsGlobal - 1 : name;
    if (::strchr(own, '\\')) {
        errno = ENOENT;
        return false;
    }
    static_assert(noexcept(CalculateMD5::Calc(name, nullptr))); // takes no memory
    char digest[16];
    CalculateMD5::Calc(name, digest);
    int length = ::snprintf(file, sizeof file, "%s-%d-%zu-", kind, version, sizeof(void *) * 8);
    for (char const byte : digest)
        length += ::snprintf(file + length, sizeof file - static_cast<std::size_t>(length), "%02x",
                             static_cast<unsigned int>(static_cast<unsigned char>(byte)));
    return true;
}
