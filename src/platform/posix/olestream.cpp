#include "platform/platform.h"

#include "tuzutil/OLESTRM.h"

#include <algorithm>

void platform::AddStreamReference(IStream &stream) {
    stream.AddRef();
}

void platform::ReleaseStream(IStream &stream) {
    stream.Release();
}

std::int32_t platform::ReadStream(IStream &stream, char *bytes, std::uint32_t count, std::uint32_t &read) {
    unsigned long done = 0;
    std::int32_t const result = stream.Read(bytes, count, &done);
    read = static_cast<std::uint32_t>(std::min<unsigned long>(done, count));
    return result;
}

std::int32_t platform::WriteStream(IStream &stream, char const *bytes, std::uint32_t count, std::uint32_t &written) {
    unsigned long done = 0;
    std::int32_t const result = stream.Write(bytes, count, &done);
    written = static_cast<std::uint32_t>(std::min<unsigned long>(done, count));
    return result;
}
