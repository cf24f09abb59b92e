#ifndef TUZUTIL_OSTRSTRM_H
#define TUZUTIL_OSTRSTRM_H

// oStringStream: an output stream that writes to a growing block of memory, like the classic ostrstream.
//
// Example:
//     oStringStream out;
//     out << "port " << 110 << std::ends;
//     TString text(out.str()); // "port 110"
//     out.freeze(0);           // the stream owns its block again
//
// Ownership:  str() freezes the stream: the block then belongs to the caller. The caller must either release it with
//             free() or return it to the stream with freeze(0).
// Threads:    One thread at a time may use a stream.
// Failures:   A write sets the bad bit if the block is frozen, if the block would exceed INT_MAX bytes, or if there is
//             no memory.
// Surprises:
// - The text has no terminating zero unless std::ends is written.
// - Formatting does not depend on the global locale.
class oStringStream;

#include "tuzutil/EXPORT.h"

#include <ostream>
#include <streambuf>

// The buffer of oStringStream: one block of memory, which grows.
class TUZUTIL_API oStringStreamBuf : public std::streambuf {
public:
    explicit oStringStreamBuf(int step = 100); // at least 1, see oStringStream
    ~oStringStreamBuf() override;
    oStringStreamBuf(oStringStreamBuf const &) = delete;
    oStringStreamBuf &operator=(oStringStreamBuf const &) = delete;

    char *str();                 // freezes the stream and returns the block; null if there is no memory
    void freeze(int frozen);     // if 0, the stream owns the block again
    int pcount() const noexcept; // bytes written so far

protected:
    int_type overflow(int_type c) override; // fails if the block is frozen

private:
    int fStep;
    int fSize = 0; // size of the block
    bool fFrozen = false;
};

class TUZUTIL_API oStringStream : public std::ostream {
public:
    explicit oStringStream(int step = 100); // the least number of bytes by which the block grows
    ~oStringStream() override;

    // These functions give access to the buffer of this stream, see oStringStreamBuf.
    char *str() { return fBuf.str(); }
    void freeze(int frozen = 1) { fBuf.freeze(frozen); }
    int pcount() const noexcept { return fBuf.pcount(); }
    oStringStreamBuf *rdbuf() { return &fBuf; }

private:
    oStringStreamBuf fBuf;
};

#endif
