// Calls the functions of the system's interface IStream. An object may report more bytes than it was asked for, so the
// counts that it returns are limited. The functions take no locks.

#include "platform/platform.h"

#include <algorithm>
#include <objidl.h>

void platform::AddStreamReference(IStream &stream) {
    stream.AddRef();
}

void platform::ReleaseStream(IStream &stream) {
    stream.Release();
}

std::int32_t platform::ReadStream(IStream &stream, char *bytes, std::uint32_t count, std::uint32_t &read) {
    ULONG done = 0;
    std::int32_t const result = stream.Read(bytes, count, &done);
    read = static_cast<std::uint32_t>(std::min<ULONG>(done, count));
    return result;
}

std::int32_t platform::WriteStream(IStream &stream, char const *bytes, std::uint32_t count, std::uint32_t &written) {
    ULONG done = 0;
    std::int32_t const result = stream.Write(bytes, count, &done);
    written = static_cast<std::uint32_t>(std::min<ULONG>(done, count));
    return result;
}
