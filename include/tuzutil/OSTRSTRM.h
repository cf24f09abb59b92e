#ifndef TUZUTIL_OSTRSTRM_H
#define TUZUTIL_OSTRSTRM_H

// oStringStream: an output stream into a growing block of memory, in the manner of the classic ostrstream.
//
// Example:
//     oStringStream out;
//     out << "port " << 110 << std::ends;
//     TString text(out.str()); // "port 110"
//     out.freeze(0);           // the stream frees its block again
//
// Ownership:  str() freezes: the block then belongs to the caller (release it with free()) until freeze(0).
// Threads:    one thread at a time.
// Failures:   a write that cannot get memory, or that meets a frozen block, sets the stream's bad bit.
// Surprises:  nothing is terminated unless std::ends is written. Formatting is independent of the global locale.

#include "tuzutil/EXPORT.h"

#include <ostream>
#include <streambuf>

class TUZUTIL_API oStringStreamBuf : public std::streambuf {
public:
    explicit oStringStreamBuf(int step = 100);
    ~oStringStreamBuf() override;
    oStringStreamBuf(oStringStreamBuf const &) = delete;
    oStringStreamBuf &operator=(oStringStreamBuf const &) = delete;

    char *str();                 // freezes and returns the block
    void freeze(int frozen);     // 0: the stream owns the block again
    int pcount() const noexcept; // bytes written so far

protected:
    int_type overflow(int_type c) override;

private:
    int fStep;
    int fSize = 0; // of the block
    bool fFrozen = false;
};

class TUZUTIL_API oStringStream : public std::ostream {
public:
    explicit oStringStream(int step = 100); // bytes by which the block grows at least
    ~oStringStream() override;

    char *str() { return fBuf.str(); }
    void freeze(int frozen = 1) { fBuf.freeze(frozen); }
    int pcount() const noexcept { return fBuf.pcount(); }
    oStringStreamBuf *rdbuf() { return &fBuf; }

private:
    oStringStreamBuf fBuf;
};

#endif
