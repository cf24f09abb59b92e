// Calls the functions of an IStream. This system has no such interface, so the public header OLESTRM.h declares one.
// The sources of src/platform must not include public headers, so the declaration is repeated here word for word. The
// tests of OLESTRM make objects with the header's declaration, and call them through this one. The functions take no
// locks.

#include "platform/platform.h"

#include <algorithm>

struct IStream {
    virtual unsigned long AddRef() = 0;
    virtual unsigned long Release() = 0;
    virtual std::int32_t Read(void *bytes, unsigned long count, unsigned long *read) = 0;
    virtual std::int32_t Write(void const *bytes, unsigned long count, unsigned long *written) = 0;

protected:
    ~IStream() = default;
};

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
