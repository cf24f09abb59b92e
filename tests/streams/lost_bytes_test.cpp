// Bytes that were written and never flushed: a build without NDEBUG tells of them in the trace, and no other build.

#include "support/CaptureTrace.h"
#include "tuzutil/DOTBYTE.h"
#include "tuzutil/LINESTRM.h"
#include "utility/kernel/debug_check.h"

#include <sstream>

namespace {

class LostBytes : public testing::Test {
protected:
    void ExpectEntry(char const *text) {
        if (debugcheck::isOn)
            fCapture.ExpectOne(TTrace::warning, "Utility", text, "src/utility/FILTSTRM");
        else
            fCapture.ExpectNone();
    }

    TCapture fCapture;
    std::stringstream fConnection{"a\r\n.\r\n"};
};

} // namespace

TEST_F(LostBytes, OfALineStreamAreTraced) {
    { ToLineStream(&fConnection) << "lost"; }
    ExpectEntry("Stream destroyed with 4 bytes that were not flushed");
    { TLineStream(&fConnection) << "five!"; }
    ExpectEntry("Stream destroyed with 5 bytes that were not flushed");
}

TEST_F(LostBytes, OfADotByteStreamAreTraced) {
    { ToDotByteStream(fConnection) << "lost\r\n"; }
    ExpectEntry("Stream destroyed with 6 bytes that were not flushed");
    { TDotByteStream(fConnection) << "x"; }
    ExpectEntry("Stream destroyed with 1 bytes that were not flushed");
}

TEST_F(LostBytes, AreNoneIfAllWasFlushedOrTheBodyEnded) {
    { ToLineStream(&fConnection) << "kept" << std::flush; }
    { ToLineStream(&fConnection) << std::unitbuf << "kept"; }
    { ToDotByteStream(fConnection) << "kept" << std::flush; }
    {
        ToDotByteStream out(fConnection);
        out << "kept";
        out.EndBody();
    }
    {
        ToDotByteStream out(fConnection, 0);
        out << "a\r\n\r\nthe limit drops this";
        EXPECT_THROW(out.EndBody(), TDotByteLinesException);
    }
    for (TSeenEntry const &entry : fCapture.Entries())
        EXPECT_NE(entry.file, "src/utility/FILTSTRM") << entry; // the exception of the limit is traced elsewhere
}

TEST_F(LostBytes, AreNoneInStreamsThatOnlyRead) {
    { TiLineStream(&fConnection).get(); }
    { TiDotByteStream(fConnection).get(); }
    { TLineStream never(&fConnection); }
    fCapture.ExpectNone();
}
