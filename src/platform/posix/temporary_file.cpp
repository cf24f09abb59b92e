// Files without a name, which the system deletes when the last descriptor is closed. The functions take no lock of this
// library. The thread is not cancelled within a call.

#include "platform/platform.h"

#include "platform/no_cancel.h"
#include "platform/posix/descriptor.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>

using platform::TempFile;

static_assert(sizeof(off_t) == 8);

namespace {

int DescriptorOf(TempFile file) noexcept {
    return static_cast<int>(file);
}

// Opens a file in the folder that the variable TMPDIR names. OpenTempFile() calls this function if tmpfile() gives no
// file.
int OpenElsewhere() noexcept {
    char const *const folder = ::secure_getenv("TMPDIR");
    return folder ? ::open(folder, O_TMPFILE | O_RDWR | O_EXCL | O_CLOEXEC, 0600) : -1;
}

} // namespace

TempFile platform::OpenTempFile(int &error) noexcept {
    TNoCancel const noCancel;
    FILE *const stream = ::tmpfile();
    int const file = stream ? ::fcntl(::fileno(stream), F_DUPFD_CLOEXEC, 0) : -1;
    error = errno;
    if (stream)
        ::fclose(stream);
    return TempFile{file >= 0 ? file : OpenElsewhere()};
}

std::ptrdiff_t platform::ReadTempFile(TempFile file, char *bytes, std::size_t count) noexcept {
    TNoCancel const noCancel;
    return KeepTrying([=] { return ::read(DescriptorOf(file), bytes, count); });
}

std::size_t platform::WriteTempFile(TempFile file, char const *bytes, std::size_t count) noexcept {
    TNoCancel const noCancel;
    return WriteAll(DescriptorOf(file), bytes, count);
}

std::int64_t platform::SeekTempFile(TempFile file, std::int64_t offset, TFileOrigin origin) noexcept {
    int const whence = origin == TFileOrigin::start ? SEEK_SET : origin == TFileOrigin::current ? SEEK_CUR : SEEK_END;
    return ::lseek(DescriptorOf(file), offset, whence);
}

void platform::CloseTempFile(TempFile file) noexcept {
    TNoCancel const noCancel;
    TDescriptor const closed(DescriptorOf(file));
}
