// Threads that are cancelled in the device below a stream of the library.

#include "platform/posix/Cancelled.h"
#include "tuzutil/BINSTRM.h"
#include "tuzutil/CONCSTRM.h"
#include "tuzutil/DOTBYTE.h"
#include "tuzutil/LINESTRM.h"

#include <gtest/gtest.h>

#include <istream>
#include <streambuf>
#include <string>

namespace {

// Every transfer is a point at which a thread can be cancelled.
class TCancelledDevice : public std::streambuf {
protected:
    int_type underflow() override {
        CancelHere();
        return traits_type::eof();
    }
    std::streamsize xsgetn(char *, std::streamsize) override {
        CancelHere();
        return 0;
    }
    std::streamsize xsputn(char const *, std::streamsize count) override {
        CancelHere();
        return count;
    }
};

template <typename Use>
void ExpectCancelled(Use use) {
    TCancelledDevice device;
    std::iostream stream(&device);
    EXPECT_TRUE(IsCancelledIn([&] { use(stream); }));
    EXPECT_TRUE(stream.bad());
}

} // namespace

TEST(StreamCancel, AThreadIsCancelledWhileItReads) {
    ExpectCancelled([](std::iostream &device) {
        int value = 0;
        TiBinaryStream(device) >> value;
    });
    ExpectCancelled([](std::iostream &device) {
        char word[10];
        device.unsetf(std::ios::skipws);
        TiBinaryStream(device) >> word;
    });
    ExpectCancelled([](std::iostream &device) { TiLineStream(static_cast<std::istream *>(&device)).get(); });
    ExpectCancelled([](std::iostream &device) {
        std::string line;
        static_cast<void>(TiLineStream(static_cast<std::istream *>(&device)).ReadLine(line, 10));
    });
    ExpectCancelled([](std::iostream &device) { TiConcatStream(0, device).get(); });
    ExpectCancelled([](std::iostream &device) { TiDotByteStream(device).get(); });
}

TEST(StreamCancel, AThreadIsCancelledWhileItWrites) {
    ExpectCancelled([](std::iostream &device) { ToBinaryStream(device) << 1; });
    ExpectCancelled(
        [](std::iostream &device) { ToLineStream(static_cast<std::ostream *>(&device)) << "x" << std::flush; });
    ExpectCancelled([](std::iostream &device) { ToDotByteStream(device) << "x" << std::flush; });
}
