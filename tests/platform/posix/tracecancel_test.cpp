// Threads that are cancelled while they trace.

#include "platform/posix/Cancelled.h"
#include "support/CaptureTrace.h"
#include "tuzutil/TRACENOT.h"
#include "tuzutil/TRACEP.h"

namespace {

TTrace::Category const fsSession(8, "Session");

// Passes a point at which a thread can be cancelled in the middle of its work.
class TCancelledDestination : public TTrace::Base {
public:
    ~TCancelledDestination() override { Unlink(); }
    void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {
        CancelHere();
        ++written;
    }
    int written = 0;
};

class TCancelledObserver : public TTraceNotify {
public:
    void Notify() override {
        if (!isActive)
            return;
        CancelHere();
        ++told;
    }
    bool isActive = false;
    int told = 0;
};

// An argument of an entry that takes its time to be made.
struct TCancelledArgument {
    operator TagVar() const {
        CancelHere();
        return TagVar(17);
    }
};

class TraceCancel : public testing::Test {
protected:
    TraceCancel() { fTrace.QueryPointer() = TTrace::Pointer(fDestination); }

    TCancelledDestination *const fDestination = new TCancelledDestination;
    TTrace fTrace;
};

} // namespace

TEST_F(TraceCancel, AnEntryIsWrittenFirst) {
    TCapture another;
    EXPECT_TRUE(IsCancelledAfter([] {
        TTextMessage message("text");
        TTrace::WriteEntry(4, fsSession, message);
    }));
    EXPECT_EQ(fDestination->written, 1);
    EXPECT_EQ(another.Entries().size(), 1u);
}

TEST_F(TraceCancel, ATracePointIsPassedFirst) {
    EXPECT_TRUE(IsCancelledAfter([] { TTracePoint::Write(TTrace::error, fsSession, "file", "text"); }));
    EXPECT_EQ(fDestination->written, 1);
    EXPECT_TRUE(
        IsCancelledAfter([] { TTracePoint::Write(TTrace::error, fsSession, "file", "%d", TCancelledArgument()); }));
    EXPECT_EQ(fDestination->written, 2);
}

TEST_F(TraceCancel, TheExitOfAScopeIsWrittenFirst) {
    fTrace.SetLevel(TTrace::functionExit);
    EXPECT_TRUE(IsCancelledAfter([] {
        TTraceExit exit(fsSession);
        exit.SetFormatMsg("text");
    }));
    EXPECT_EQ(fDestination->written, 1);
}

TEST_F(TraceCancel, ObserversAreToldFirst) {
    TCancelledObserver first, second;
    first.isActive = second.isActive = true;
    EXPECT_TRUE(IsCancelledAfter([] { TTraceNotify::NotifyAll(); }));
    first.isActive = second.isActive = false;
    EXPECT_EQ(first.told, 1);
    EXPECT_EQ(second.told, 1);
}

TEST_F(TraceCancel, TheLocksAreFreeAfterwards) {
    EXPECT_TRUE(IsCancelledAfter([] { TTracePoint::Write(TTrace::error, fsSession, "file", "text"); }));
    TCapture another; // takes both
    EXPECT_EQ(TTrace::QueryGlobalLevel(), 0xFFFFFFFFu);
}
