// Finds or makes the folder of named objects, and hashes the names of the objects. The functions take no locks and
// allocate nothing. A program with raised privileges does not trust its environment, so it ignores the variable
// XDG_RUNTIME_DIR.

#include "platform/posix/object_folder.h"

#include "platform/posix/descriptor.h"

#include <cstdint>
#include <errno.h>
#include <fcntl.h>
#include <initializer_list>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

using platform::TDescriptor;

namespace {

constexpr std::size_t fsLongestName = 260;
constexpr char fsLocal[] = "Local\\";
constexpr char fsGlobal[] = "Global\\";

// An emulator runs programs for another processor beside the system's own programs. Even if the words of both have the
// same size, their mutexes do not.
#ifdef __aarch64__
constexpr char fsProcessor[] = "arm";
#else
constexpr char fsProcessor[] = "";
#endif

bool BeginsWith(char const *name, char const *prefix) noexcept {
    return ::strncmp(name, prefix, ::strlen(prefix)) == 0;
}

// The 128-bit hash FNV-1a. An accidental collision of two names is too unlikely to matter. Only the user's own programs
// choose these names, so nobody gains from names that collide on purpose.
struct THash {
    explicit THash(char const *text) noexcept {
        for (; *text; ++text)
            value = (value ^ static_cast<unsigned char>(*text)) * fsPrime;
    }

    std::uint64_t High() const noexcept { return static_cast<std::uint64_t>(value >> 64); }
    std::uint64_t Low() const noexcept { return static_cast<std::uint64_t>(value); }

    __extension__ using TValue = unsigned __int128;
    static constexpr TValue fsPrime = TValue{1} << 88 | 0x13B;
    TValue value = TValue{0x6C62272E07BB0142} << 64 | 0x62B821756295C58D;
};

// Returns whether a folder belongs to the user and has a mode without the bits in `refused`. If not, sets errno.
bool IsOwn(int folder, mode_t refused) noexcept {
    struct stat status;
    if (::fstat(folder, &status) != 0)
        return false;
    errno = EACCES;
    return status.st_uid == ::geteuid() && (status.st_mode & refused) == 0;
}

// Returns whether the call that failed last has shown that the user has no such folder. Other failures, for example a
// lack of descriptors, may be over soon, and other processes will then use this folder. If this process now used
// another folder, it would not share its objects with these processes, although they use the same names.
bool IsNone() noexcept {
    for (int const error : {ENOENT, ENOTDIR, EACCES, EPERM, EROFS, ELOOP, ENAMETOOLONG}) {
        if (errno == error)
            return true;
    }
    return false;
}

// Opens a folder if it belongs to the user and nobody else can put anything into it. Otherwise returns -1 with errno.
int OpenRuntimeFolder(char const *path) noexcept {
    if (*path != '/') {
        errno = ENOENT;
        return -1;
    }
    TDescriptor folder(platform::OpenAt(AT_FDCWD, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder && IsOwn(folder.Get(), 022) ? folder.Take() : -1;
}

// Opens a private folder within another, and makes it if it does not exist. Returns -1 with errno on failure.
// `isThere` becomes true if the folder exists afterwards, no matter who made it.
int OpenPrivate(int base, char const *name, bool &isThere) noexcept {
    auto const open = [=] { return platform::OpenAt(base, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); };
    int opened = open();
    isThere = opened >= 0 || errno != ENOENT;
    if (!isThere) {
        // No test gets here: another process would have to make the folder between the two calls.
        isThere = ::mkdirat(base, name, 0700) == 0 || errno == EEXIST;
        opened = isThere ? open() : -1;
    }
    TDescriptor folder(opened);
    return folder && IsOwn(folder.Get(), 077) ? folder.Take() : -1;
}

} // namespace

int platform::OpenObjectFolder() noexcept {
    auto const user = static_cast<unsigned long>(::geteuid());
    char path[64];
    ::snprintf(path, sizeof path, "/run/user/%lu", user);
    char const *const variable = ::secure_getenv("XDG_RUNTIME_DIR");
    bool isThere = false;
    for (char const *const runtime : {variable ? variable : path, static_cast<char const *>(path)}) {
        TDescriptor const base(OpenRuntimeFolder(runtime));
        int const folder = base ? OpenPrivate(base.Get(), "tuzutil", isThere) : -1;
        if (folder >= 0 || (base && isThere) || !IsNone()) // only the user can make this folder
            return folder;
    }
    // A folder in /dev/shm is the same for all processes of the user, and /dev/shm is empty when the machine has
    // started. But somebody else may have made this folder first.
    ::snprintf(path, sizeof path, "/dev/shm/tuzutil-%lu", user);
    return OpenPrivate(AT_FDCWD, path, isThere);
}

bool platform::ObjectFileName(char const *kind, int version, char const *name, char (&file)[objectFileSize]) noexcept {
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
    THash const hash(name);
    ::snprintf(file, sizeof file, "%s-%d-%s%zu-%016llx%016llx", kind, version, fsProcessor, sizeof(void *) * 8,
               static_cast<unsigned long long>(hash.High()), static_cast<unsigned long long>(hash.Low()));
    return true;
}
