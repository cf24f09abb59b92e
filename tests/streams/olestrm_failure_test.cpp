// Component streams without memory: this program has its own copy of them.

#include "utility/OLESTRM.cpp"

#include "support/CaptureTrace.h"
#include "support/ScarceArrays.h"

namespace {

// The one object: nobody looks into it.
char fsObject;
int fsReferences = 0;
std::string fsWritten;

IStream *Object() {
    return reinterpret_cast<IStream *>(&fsObject);
}

} // namespace

void platform::AddStreamReference(IStream &) {
    ++fsReferences;
}
void platform::ReleaseStream(IStream &) {
    --fsReferences;
}
std::int32_t platform::ReadStream(IStream &, char *bytes, std::uint32_t, std::uint32_t &read) {
    bytes[0] = 'r';
    read = 1;
    return 0;
}
std::int32_t platform::WriteStream(IStream &, char const *bytes, std::uint32_t count, std::uint32_t &written) {
    fsWritten.append(bytes, written = count);
    return 0;
}

TEST(OleFailure, WithoutMemoryForTheBufferMeetsTheEndAndTriesAgain) {
    TCapture capture(TTrace::error);
    {
        TOleStream stream(100, Object());
        fsBytesForArrays = 99;
        EXPECT_EQ(stream.get(), EOF);
        EXPECT_TRUE(stream.eof());
        stream.clear();
        stream << 'a';
        EXPECT_TRUE(stream.bad());
        stream.clear();
        EXPECT_TRUE(stream.flush().good()); // nothing waits
        EXPECT_EQ(stream.QueryBytesWritten(), 0u);
        fsBytesForArrays = -1;
        EXPECT_EQ(stream.get(), 'r');
        stream << 'b' << std::flush;
        EXPECT_TRUE(stream.good());
        EXPECT_EQ(fsWritten, "b");
        EXPECT_EQ(fsReferences, 1);
    }
    EXPECT_EQ(fsReferences, 0);
    capture.ExpectNone();
}
