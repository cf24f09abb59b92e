#ifndef TUZUTIL_TRACEFIL_H
#define TUZUTIL_TRACEFIL_H

// TTraceFileStream: an output stream over a trace file. What is inserted in one piece goes to the system in one piece;
// nothing is held back.

#include <ostream>
#include <streambuf>

class TTraceFileBuf : public std::streambuf {
public:
    enum Sharing { exclusive, shared };

    TTraceFileBuf(char const *name, Sharing sharing) noexcept;
    ~TTraceFileBuf() override;

    bool IsOpen() const noexcept { return fFile != nullptr; }

protected:
    std::streamsize xsputn(char const *text, std::streamsize count) override;
    int_type overflow(int_type c) override;

private:
    void *fFile;
};

// The buffer stands before the stream that is built over it.
class TTraceFileStream : private TTraceFileBuf, public std::ostream {
public:
    TTraceFileStream(char const *name, Sharing sharing) : TTraceFileBuf(name, sharing), std::ostream(this) {
        if (!IsOpen())
            setstate(failbit);
    }

    using TTraceFileBuf::exclusive;
    using TTraceFileBuf::shared;
};

#endif
