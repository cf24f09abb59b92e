#ifndef TUZUTIL_TRACE_FILE_STREAM
#define TUZUTIL_TRACE_FILE_STREAM

// TTraceFileStream: an output stream over a trace file. Each call of write() passes its bytes to the system in one
// piece and at once.

#include "platform/platform.h"

#include <cstdint>
#include <filesystem>
#include <ostream>
#include <streambuf>
#include <string_view>

class TTraceFileBuf : public std::streambuf {
public:
    using Use = platform::TTraceFileUse;

    TTraceFileBuf(char const *name, Use use);
    TTraceFileBuf(std::filesystem::path const &name, Use use);
    ~TTraceFileBuf() override;

    bool IsOpen() const noexcept { return fFile != nullptr; }
    std::filesystem::path const &Name() const noexcept { return fName; } // in the system's form
    // Writes the text to the file as std::ostream::write() does, but does not change the state of a stream. Bytes that
    // the system refuses are lost.
    void Append(std::string_view text) noexcept;
    std::uint32_t OpenError() const noexcept { return fError; } // the system's error code; 0 if the file is open

protected:
    std::streamsize xsputn(char const *text, std::streamsize count) override;
    int_type overflow(int_type c) override;

private:
    TTraceFileBuf(char const *name, std::filesystem::path &&path, Use use) noexcept;
    TTraceFileBuf(std::filesystem::path const &name, std::filesystem::path &&path, Use use) noexcept;
    // If `opened` is null, fError becomes LastError().
    TTraceFileBuf(platform::TraceFile *opened, std::filesystem::path &&name) noexcept;

    platform::TraceFile *fFile;
    std::uint32_t fError;
    std::filesystem::path fName;
};

// The buffer is the first base, so it is built before the stream that needs it.
class TTraceFileStream : private TTraceFileBuf, public std::ostream {
public:
    using TTraceFileBuf::Append;
    using TTraceFileBuf::Name;
    using TTraceFileBuf::OpenError;
    using TTraceFileBuf::Use;

    // The name is a `char const *` in the form of TFileName (with backslashes), or a std::filesystem::path in the
    // system's form.
    template <typename Name>
    TTraceFileStream(Name const &name, Use use) : TTraceFileBuf(name, use), std::ostream(this) {
        if (!IsOpen())
            setstate(failbit);
    }
};

#endif
