#ifndef TUZUTIL_TRACE_FILE_STREAM
#define TUZUTIL_TRACE_FILE_STREAM

// TTraceFileStream: an output stream over a trace file. What is inserted in one piece goes to the system in one piece;
// nothing is held back.

#include "platform/platform.h"

#include <ostream>
#include <streambuf>

class TTraceFileBuf : public std::streambuf {
public:
    using Use = platform::TTraceFileUse;

    TTraceFileBuf(char const *name, Use use) noexcept;
    ~TTraceFileBuf() override;

    bool IsOpen() const noexcept { return fFile != nullptr; }

protected:
    std::streamsize xsputn(char const *text, std::streamsize count) override;
    int_type overflow(int_type c) override;

private:
    platform::TraceFile *fFile;
};

// The buffer is a base that precedes the stream, so it is built first.
class TTraceFileStream : private TTraceFileBuf, public std::ostream {
public:
    using TTraceFileBuf::Use;

    TTraceFileStream(char const *name, Use use) : TTraceFileBuf(name, use), std::ostream(this) {
        if (!IsOpen())
            setstate(failbit);
    }
};

#endif
