// TNulStreamBuf and the three streams over it: they discard everything that is written, and have nothing to read. They
// allocate nothing, take no locks and cannot fail.

#include "tuzutil/NULSTRM.h"

TNulStreamBuf::TNulStreamBuf() = default;

TNulStreamBuf::~TNulStreamBuf() = default;

int TNulStreamBuf::sync() {
    return 0;
}

std::streambuf::int_type TNulStreamBuf::overflow(int_type) {
    return 0;
}

std::streambuf::int_type TNulStreamBuf::underflow() {
    return traits_type::eof();
}

int TNulStreamBuf::doallocate() {
    return 0;
}

TNulStream::TNulStream() : std::iostream(nullptr) {
    init(&fBuf);
}

TNulStream::~TNulStream() = default;

TiNulStream::TiNulStream() : std::istream(nullptr) {
    init(&fBuf);
}

TiNulStream::~TiNulStream() = default;

ToNulStream::ToNulStream() : std::ostream(nullptr) {
    init(&fBuf);
}

ToNulStream::~ToNulStream() = default;
