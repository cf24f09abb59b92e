// Misuse that a build without NDEBUG tells of in the trace, and no other build.

#include "support/CaptureTrace.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TREFCNT.h"
#include "utility/kernel/debug_check.h"

#include <memory>

namespace {

class DebugCheck : public testing::Test {
protected:
    void ExpectEntry(char const *category, char const *text, char const *file) {
        if (debugcheck::isOn)
            fCapture.ExpectOne(TTrace::warning, category, text, file);
        else
            fCapture.ExpectNone();
    }

    TCapture fCapture;
};

template <typename Counted>
class TObject : public Counted {
public:
    TObject() = default;
    TObject(TObject const &) = default;
    TObject &operator=(TObject const &) = default;
    ~TObject() override = default;
};

} // namespace

TEST_F(DebugCheck, ACopyOfAnObjectThatIsReferredTo) {
    TObject<TRefCounted> object, other;
    TObject<TRefCounted> const early(object);
    other = object;
    fCapture.ExpectNone();
    object.AddRef();
    object.AddRef();
    TObject<TRefCounted> const late(object);
    ExpectEntry("Utility", "Copy of an object that has 2 references", "src/utility/TREFCNT");
    other = object;
    ExpectEntry("Utility", "Copy of an object that has 2 references", "src/utility/TREFCNT");
    EXPECT_EQ(late.QueryReferenceCount(), 2u);
}

TEST_F(DebugCheck, ACopyOfAnObjectThatIsReferredToAndHasWeakPointers) {
    TObject<TWeakRefCounted> object, other;
    object.AddRef();
    TObject<TWeakRefCounted> const copy(object);
    ExpectEntry("Utility", "Copy of an object that has 1 references", "src/utility/TREFCNT");
    other = object;
    ExpectEntry("Utility", "Copy of an object that has 1 references", "src/utility/TREFCNT");
    EXPECT_EQ(copy.QueryReferenceCount(), 1u);
}

TEST_F(DebugCheck, AWaitWithALockThatIsHeldTwice) {
    TMutexSemaphoreWithEvent lock(new TSemaphore(1));
    {
        TMutexSemaphoreWithEventEntry entry(lock, 0);
        EXPECT_EQ(entry.Wait(0), 0);
        fCapture.ExpectNone();
    }
    TMutexSemaphoreEntry const outer(lock, 0);
    TMutexSemaphoreWithEventEntry entry(lock, 0);
    EXPECT_EQ(entry.Wait(0), 0);
    ExpectEntry("Utility", "Wait with a lock that another guard holds too", "src/utility/MUTEXSEM");
}

TEST_F(DebugCheck, ACategoryThatIsNoStaticObject) {
    static TTrace::Category const stays(8, "Stays");
    fCapture.ExpectNone();
    // Never deleted: the registry keeps it.
    static TTrace::Category const *const goes = new TTrace::Category(8, "Goes");
    EXPECT_EQ(goes->QueryComponent(), 8u);
    ExpectEntry("Trace", "Category Goes is not a static object", "src/utility/TRACEP");
}

template <typename Counted>
void DropOneReferenceTooMany() {
    class TStays : public TObject<Counted> {
    public:
        int unreachable = 0;

    private:
        void Unreachable() override { ++unreachable; }
    };
    TStays object;
    object.RemoveRef();
    EXPECT_EQ(object.QueryReferenceCount(), 0xFFFFFFFFu);
    EXPECT_EQ(object.unreachable, 0);
}

TEST_F(DebugCheck, AReferenceTooManyIsDropped) {
    if (debugcheck::isOn) {
        EXPECT_DEATH(DropOneReferenceTooMany<TRefCounted>(), "before != 0");
        EXPECT_DEATH(DropOneReferenceTooMany<TWeakRefCounted>(), "before != 0");
    } else {
        DropOneReferenceTooMany<TRefCounted>();
        DropOneReferenceTooMany<TWeakRefCounted>();
    }
    fCapture.ExpectNone();
}
