#include "posix/InChild.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TREFCNT.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <thread>

namespace {

// A name that is this test's in this folder, the same in every run.
std::string TestName(std::string const &test) {
    return "tuzutil.fork." + test + "." +
           std::to_string(std::hash<std::string>()(std::filesystem::current_path().string()));
}

int StateElsewhere(TMutexSemaphore &mutex) {
    int state = 0;
    std::thread([&] { state = TMutexSemaphoreEntry(mutex, 0).State(); }).join();
    return state;
}

// Another thread that holds a lock while a test runs.
class OtherHolder {
public:
    explicit OtherHolder(TMutexSemaphore &mutex)
        : fThread([&] {
              TMutexSemaphoreEntry const entry(mutex, -1);
              TMutexSemaphoreEntry const again(mutex, -1);
              fHeld.Post();
              fDone.Wait(-1);
          }) {
        fHeld.Wait(-1);
    }
    ~OtherHolder() {
        fDone.Post();
        fThread.join();
    }

private:
    TSemaphore fHeld;
    TSemaphore fDone;
    std::thread fThread;
};

} // namespace

TEST(Fork, LockOfAnotherThreadIsFreeInTheChildAndStaysHeldInTheParent) {
    TMutexSemaphore mutex;
    OtherHolder const holder(mutex);
    EXPECT_EQ(InChild([&] { return int{TMutexSemaphoreEntry(mutex, 0).State()}; }), TMutexSemaphore::Locked);
    EXPECT_EQ(TMutexSemaphoreEntry(mutex, 0).State(), TMutexSemaphore::TimedOut);
}

TEST(Fork, LockOfTheForkingThreadStaysItsOwnInTheChild) {
    TMutexSemaphore mutex;
    auto *const entry = new TMutexSemaphoreEntry(mutex, 0);
    EXPECT_EQ(InChild([&] {
                  if (StateElsewhere(mutex) != TMutexSemaphore::TimedOut)
                      return 10;
                  delete entry;
                  return StateElsewhere(mutex);
              }),
              TMutexSemaphore::Locked);
    EXPECT_EQ(StateElsewhere(mutex), TMutexSemaphore::TimedOut);
    delete entry;
    EXPECT_EQ(StateElsewhere(mutex), TMutexSemaphore::Locked);
}

TEST(Fork, WeakReferencesWorkInTheChildOfAThreadThatForkedWhileAnotherHadTheirLock) {
    class Object : public TWeakRefCounted {};
    OtherHolder const holder(TWeakReferenceLock::fsSem);
    EXPECT_EQ(InChild([] {
                  TReference<Object> const reference(new Object);
                  return static_cast<int>(reference->QueryReferenceCount());
              }),
              1);
}

TEST(Fork, NamedLockStaysTheParents) {
    std::string const name = TestName("fork");
    TMutexSemaphore mutex(name.c_str());
    TMutexSemaphoreEntry const entry(mutex, 0);
    EXPECT_EQ(InChild([&] { return int{TMutexSemaphoreEntry(mutex, 0).State()}; }), TMutexSemaphore::TimedOut);
    EXPECT_EQ(StateElsewhere(mutex), TMutexSemaphore::TimedOut);
}

TEST(Fork, NamedLockOfAChildThatDiesIsAcquired) {
    std::string const name = TestName("child");
    TMutexSemaphore mutex(name.c_str());
    EXPECT_EQ(InChild([&] { return int{(new TMutexSemaphoreEntry(mutex, 0))->State()}; }), TMutexSemaphore::Locked);
    EXPECT_EQ(TMutexSemaphoreEntry(mutex, 0).State(), TMutexSemaphore::Locked);
}
