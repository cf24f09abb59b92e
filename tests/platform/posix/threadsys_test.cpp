#include "tuzutil/THREAD.h"
#include "tuzutil/TIMER.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <pthread.h>
#include <string>
#include <thread>

namespace {

std::size_t StackSize() {
    pthread_attr_t attributes;
    ::pthread_getattr_np(::pthread_self(), &attributes);
    std::size_t size = 0;
    ::pthread_attr_getstacksize(&attributes, &size);
    ::pthread_attr_destroy(&attributes);
    return size;
}

std::size_t DefaultStackSize() {
    std::size_t size = 0;
    pthread_t thread;
    ::pthread_create(
        &thread, nullptr,
        [](void *result) -> void * {
            *static_cast<std::size_t *>(result) = StackSize();
            return nullptr;
        },
        &size);
    ::pthread_join(thread, nullptr);
    return size;
}

class TMeasure : public TThread {
public:
    int Run() override {
        size = StackSize();
        return 0;
    }
    std::size_t size = 0;
};

class TGone {
public:
    explicit TGone(TSemaphore &event) : fEvent(event) {}
    ~TGone() { fEvent.Post(); }

private:
    TSemaphore &fEvent;
};

class TLeaves : public TThread {
public:
    explicit TLeaves(TSemaphore &gone) : fGone(gone) {}
    int Run() override { ::pthread_exit(nullptr); }

private:
    TGone fGone;
};

class TIsCancelled : public TThread {
public:
    int Run() override {
        thread = ::pthread_self();
        known.Post();
        for (;;)
            ::pthread_testcancel();
    }
    pthread_t thread{};
    TSemaphore known;
};

int ThreadsWithoutSignals() {
    int threads = 0;
    for (auto const &task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream status(task.path() / "status");
        std::string line;
        while (std::getline(status, line) && line.rfind("SigBlk:", 0) != 0) {
        }
        // All but those that cannot be blocked, and two that the C library keeps for itself.
        threads += line.find("fffffffe7ffbfeff") != std::string::npos;
    }
    return threads;
}

} // namespace

TEST(ThreadSystem, StackHasTheDefaultSizeWhateverWasSet) {
    TReference<TMeasure> const measure(new TMeasure);
    measure->SetStackSize(1024 * 1024);
    ASSERT_EQ(measure->Start(), 0);
    measure->WaitForTermination(-1);
    EXPECT_EQ(measure->size, DefaultStackSize());
}

TEST(ThreadSystem, BodyThatEndsItsThreadEndsInOrder) {
    TSemaphore gone;
    TReference<TLeaves> thread(new TLeaves(gone));
    ASSERT_EQ(thread->Start(), 0);
    thread->WaitForTermination(-1);
    EXPECT_EQ(thread->IsRunning(), 0);
    EXPECT_EQ(thread->QueryResult(), -1);
    thread = nullptr;
    EXPECT_EQ(gone.Wait(20000), 0); // also the thread's own reference was dropped
}

TEST(ThreadSystem, CancelledThreadEndsInOrder) {
    TReference<TIsCancelled> const thread(new TIsCancelled);
    ASSERT_EQ(thread->Start(), 0);
    thread->known.Wait(-1);
    ::pthread_cancel(thread->thread);
    thread->WaitForTermination(-1);
    EXPECT_EQ(thread->IsRunning(), 0);
    EXPECT_EQ(thread->QueryResult(), -1);
}

TEST(ThreadSystem, ThreadOfTheTimersTakesNoSignals) {
    std::thread([] {}).join(); // with the first thread, a sanitizer may start one of its own, which takes no signals
    int const before = ThreadsWithoutSignals();
    TReference<TSemaphore> const event(new TSemaphore);
    TTimer timer(event);
    timer.Set(0);
    event->Wait(-1);
    EXPECT_EQ(ThreadsWithoutSignals(), before + 1);
}
