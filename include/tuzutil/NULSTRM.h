#ifndef TUZUTIL_NULSTRM_H
#define TUZUTIL_NULSTRM_H

// TNulStream: discards everything that is written to it, and is always at the end of file.
//
// Example:
//     ToNulStream out;
//     out << "nobody reads this"; // succeeds
//     TiNulStream in;
//     int c = in.get();           // end of file
//
// Ownership:  Each stream owns its buffer.
// Threads:    One thread at a time may use a stream.
// Failures:   No function fails.
// Surprises:
// - The buffer has no storage: it passes every byte to overflow(), which returns 0 for success.
class TNulStream;

#include "tuzutil/EXPORT.h"

#include <istream>
#include <ostream>
#include <streambuf>

// The buffer of the null streams.
class TUZUTIL_API TNulStreamBuf : public std::streambuf {
public:
    TNulStreamBuf();
    ~TNulStreamBuf() override;

protected:
    int sync() override;                    // returns 0
    int_type overflow(int_type c) override; // returns 0 for success
    int_type underflow() override;          // returns the end of file
    virtual int doallocate();               // returns 0 and allocates nothing
};

class TUZUTIL_API TNulStream : public std::iostream {
public:
    TNulStream();
    ~TNulStream() override;

    TNulStreamBuf *rdbuf() { return &fBuf; } // the buffer of this stream

private:
    TNulStreamBuf fBuf;
};

// An istream that is always at the end of file.
class TUZUTIL_API TiNulStream : public std::istream {
public:
    TiNulStream();
    ~TiNulStream() override;

    TNulStreamBuf *rdbuf() { return &fBuf; } // the buffer of this stream

private:
    TNulStreamBuf fBuf;
};

// An ostream that discards what is written to it.
class TUZUTIL_API ToNulStream : public std::ostream {
public:
    ToNulStream();
    ~ToNulStream() override;

    TNulStreamBuf *rdbuf() { return &fBuf; } // the buffer of this stream

private:
    TNulStreamBuf fBuf;
};

#endif
