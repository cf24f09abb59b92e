#include "platform/platform.h"

#include "platform/no_cancel.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

static_assert(sizeof(off_t) == 8);

namespace {

// Where the system's own folder for such files cannot be used: in that of the environment.
int OpenElsewhere() noexcept {
    char const *const folder = ::secure_getenv("TMPDIR");
    return folder ? ::open(folder, O_TMPFILE | O_RDWR | O_EXCL | O_CLOEXEC, 0600) : -1;
}

} // namespace

platform::TTempFile platform::OpenTempFile(int &error) noexcept {
    TNoCancel const noCancel;
    FILE *const stream = ::tmpfile();
    int const file = stream ? ::fcntl(::fileno(stream), F_DUPFD_CLOEXEC, 0) : -1;
    error = errno;
    if (stream)
        ::fclose(stream);
    return file >= 0 ? file : OpenElsewhere();
}

std::ptrdiff_t platform::ReadTempFile(TTempFile file, char *bytes, std::size_t count) noexcept {
    TNoCancel const noCancel;
    ssize_t result;
    do
        result = ::read(static_cast<int>(file), bytes, count);
    while (result < 0 && errno == EINTR);
    return result;
}

std::size_t platform::WriteTempFile(TTempFile file, char const *bytes, std::size_t count) noexcept {
    TNoCancel const noCancel;
    std::size_t written = 0;
    while (written < count) {
        ssize_t const result = ::write(static_cast<int>(file), bytes + written, count - written);
        if (result < 0 && errno == EINTR)
            continue;
        if (result <= 0)
            break;
        written += static_cast<std::size_t>(result);
    }
    return written;
}

std::int64_t platform::SeekTempFile(TTempFile file, std::int64_t offset, TFileOrigin origin) noexcept {
    int const whence = origin == TFileOrigin::start ? SEEK_SET : origin == TFileOrigin::current ? SEEK_CUR : SEEK_END;
    return ::lseek(static_cast<int>(file), offset, whence);
}

void platform::CloseTempFile(TTempFile file) noexcept {
    TNoCancel const noCancel;
    ::close(static_cast<int>(file));
}
