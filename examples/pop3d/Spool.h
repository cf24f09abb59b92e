#ifndef POP3D_SPOOL_H
#define POP3D_SPOOL_H

// Spool: contains a message while it is sent to a client, which may be slow. A small message is kept in memory. A
// larger message is kept in a temporary file.

#include "tuzutil/TMPSTRM.h"

namespace pop3d {

// Moves the message to a temporary file when its next block is added and the message already has at least `bytes`
// bytes.
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

    // Writes the whole message to `to`. Returns false if the message cannot be read back, or if `to` fails.
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
