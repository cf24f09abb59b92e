// Weak references without their lock: this program has its own copy of the classes, above a lock that cannot be had.

#include "utility/TREFCNT.cpp"

#include "support/CaptureTrace.h"

// Made at run time: on some systems the library writes to its variable of that name first, which is this one.
TMutexSemaphore &TWeakReferenceLock::fsSem = *new TMutexSemaphore("no\\such\\name");

TEST(WeakReferenceWithoutLock, CountsAndTraces) {
    class TObject : public TWeakRefCounted {
    public:
        explicit TObject(int &gone) : fGone(gone) {}
        ~TObject() override { ++fGone; }

    private:
        int &fGone;
    };
    int gone = 0;
    TCapture capture(TTrace::error);
    {
        TReference<TObject> const reference(new TObject(gone));
        capture.ExpectOne(TTrace::error, "Utility", "Unable to lock weak references, state=3", "src/utility/TREFCNT");
        EXPECT_EQ(reference->QueryReferenceCount(), 1u);
    }
    capture.ExpectOne(TTrace::error, "Utility", "Unable to lock weak references, state=3", "src/utility/TREFCNT");
    EXPECT_EQ(gone, 1);
}
