#ifndef POP3D_SPOOL_H
#define POP3D_SPOOL_H

// Spool: a message on its way to a client, which may take its time: small ones in memory, others in a temporary file.

#include "tuzutil/TMPSTRM.h"

namespace pop3d {

// More than so many bytes are not kept in memory.
class SpoolLimit : public TTempStreamTest {
public:
    explicit SpoolLimit(unsigned long bytes) : fBytes(bytes) {}

    int Test(TTempStreamBuf *buf) override {
        unsigned long used = 0;
        for (TMemStreamBuffer const *block = buf->QueryFirstBuffer(); block; block = block->QueryNext())
            used += block->QueryUsed();
        return used >= fBytes;
    }

private:
    unsigned long fBytes;
};

class Spool : public TTempStream {
public:
    explicit Spool(unsigned long limit) : TTempStream(fsBlockSize, "pop3d", new SpoolLimit(limit)) {}

    // Hands everything on; false where it could not be read again, or not be taken.
    bool SendTo(std::ostream &to) {
        seekg(0);
        rdbuf()->WriteTo(to);
        return good() && to.good();
    }

private:
    static constexpr unsigned long fsBlockSize = 16384;
};

} // namespace pop3d

#endif
