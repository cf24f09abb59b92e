#include "platform/posix/objects.h"

#include "tuzutil/MD5.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
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

} // namespace

int posix::OpenObjectFolder() noexcept {
    // The same for all processes of the user, whatever their environment; emptied when the machine starts.
    char path[64];
    ::snprintf(path, sizeof path, "/dev/shm/tuzutil-%lu", static_cast<unsigned long>(::geteuid()));
    if (::mkdir(path, 0700) != 0 && errno != EEXIST)
        return -1;
    int const folder = ::open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folder < 0)
        return -1;
    struct stat status;
    if (::fstat(folder, &status) == 0 && status.st_uid == ::geteuid() && (status.st_mode & 077) == 0)
        return folder;
    ::close(folder);
    errno = EACCES;
    return -1;
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
