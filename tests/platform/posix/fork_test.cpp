#include "platform/posix/InChild.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/SHAREMEM.h"
#include "tuzutil/TIMER.h"
#include "tuzutil/TREFCNT.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>

// What belonged to a thread that is not there in a child stays behind.
extern "C" __attribute__((visibility("default"))) char const *__lsan_default_suppressions();
char const *__lsan_default_suppressions() {
    return "leak:NewThreadRecord";
}

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

TEST(Fork, TimersGoOnInTheChildFromItsNextUse) {
    TReference<TSemaphore> const event(new TSemaphore);
    TReference<TSemaphore> const other(new TSemaphore);
    TTimer timer(event);
    TTimer second(other);
    std::atomic<bool> stop{false};
    std::thread busy([&] { // whatever it does when the fork comes
        while (!stop)
            second.Set(1000);
    });
    for (int i = 0; i < 50; ++i) {
        timer.Set(100);
        ASSERT_EQ(InChild([&] {
                      timer.Set(0);
                      return event->Wait(15000);
                  }),
                  0);
        EXPECT_GT(timer.QueryTimeLeft(), 50);
        EXPECT_EQ(event->Wait(0), 1);
    }
    stop = true;
    busy.join();
    timer.Set(0);
    EXPECT_EQ(event->Wait(15000), 0);
}

// The leak sanitizer does not always succeed in suspending the child's threads. It then reports their memory as leaked.
static bool fsIsChild = false;

extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off() {
    return fsIsChild;
}

TEST(Fork, ChildWithTimersEnds) {
    TReference<TSemaphore> const event(new TSemaphore);
    static TTimer timer(event);
    timer.Set(100);
    for (bool const used : {false, true}) {
        pid_t const child = ::fork();
        if (child == 0) {
            fsIsChild = true;
            ::alarm(20);
            if (used)
                timer.Set(100);
            std::exit(used ? 3 : 4);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), used ? 3 : 4);
    }
}

TEST(Fork, ChildLeavesItsParentsBlockWhereItIs) {
    std::string const name = TestName("block");
    auto memory = std::make_unique<ipcSharedMemory>(name.c_str(), 10);
    EXPECT_EQ(InChild([&] {
                  static_cast<char *>(memory->Pointer())[0] = 'x';
                  memory.reset();
                  return 6;
              }),
              6);
    ipcSharedMemory const opened(name.c_str());
    ASSERT_EQ(opened.rdstate(), 0);
    EXPECT_EQ(static_cast<char *>(opened.Pointer())[0], 'x');
}
