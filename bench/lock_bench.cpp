// Compares locks and events with those of the standard library. A second thread exists, because the C library's locks
// are cheaper if the process has only one thread.

#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TREFCNT.h"

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <thread>

namespace {

// A thread that only waits for the end of a benchmark.
class Bystander {
public:
    ~Bystander() {
        fEnd.Post();
        fThread.join();
    }

private:
    TSemaphore fEnd;
    std::thread fThread{[this] { fEnd.Wait(-1); }};
};

void LockWith(benchmark::State &state, TMutexSemaphore &mutex) {
    Bystander const bystander;
    for (auto _ : state) {
        TMutexSemaphoreEntry const entry(mutex, TMutexSemaphore::fsInfinite);
        if (entry.State() != TMutexSemaphore::Locked)
            std::abort();
    }
}

void Unnamed(benchmark::State &state) {
    TMutexSemaphore mutex;
    LockWith(state, mutex);
}

void Named(benchmark::State &state) {
    TMutexSemaphore mutex("tuzutil.bench");
    LockWith(state, mutex);
}

void Nested(benchmark::State &state) {
    TMutexSemaphore mutex;
    TMutexSemaphoreEntry const outer(mutex, TMutexSemaphore::fsInfinite);
    LockWith(state, mutex);
}

void StandardRecursive(benchmark::State &state) {
    Bystander const bystander;
    std::recursive_mutex mutex;
    for (auto _ : state) {
        std::lock_guard const guard(mutex);
        benchmark::ClobberMemory();
    }
}

void Event(benchmark::State &state) {
    Bystander const bystander;
    TSemaphore event;
    for (auto _ : state) {
        event.Post();
        if (event.Wait(-1) != 0)
            std::abort();
        event.Clear();
    }
}

void StandardEvent(benchmark::State &state) {
    Bystander const bystander;
    std::mutex mutex;
    std::condition_variable condition;
    bool posted = false;
    for (auto _ : state) {
        {
            std::lock_guard const guard(mutex);
            posted = true;
        }
        condition.notify_all();
        std::unique_lock guard(mutex);
        condition.wait(guard, [&] { return posted; });
        posted = false;
    }
}

void RoundTrip(benchmark::State &state) {
    TSemaphore ping;
    TSemaphore pong;
    bool stop = false;
    std::thread other([&] {
        for (;;) {
            ping.Wait(-1);
            ping.Clear();
            if (stop)
                return;
            pong.Post();
        }
    });
    for (auto _ : state) {
        ping.Post();
        pong.Wait(-1);
        pong.Clear();
    }
    stop = true;
    ping.Post();
    other.join();
}

class Counted : public TRefCounted {};
class Weak : public TWeakRefCounted {};

template <typename T>
void CopyReference(benchmark::State &state) {
    Bystander const bystander;
    TReference<T> const reference(new T);
    for (auto _ : state) {
        TReference<T> const copy(reference);
        benchmark::DoNotOptimize(copy.Pointer());
    }
}

void CopySharedPtr(benchmark::State &state) {
    Bystander const bystander;
    auto const reference = std::make_shared<int>(1);
    for (auto _ : state) {
        std::shared_ptr<int> const copy(reference);
        benchmark::DoNotOptimize(copy.get());
    }
}

BENCHMARK(Unnamed);
BENCHMARK(Nested);
BENCHMARK(Named);
BENCHMARK(StandardRecursive);
BENCHMARK(Event);
BENCHMARK(StandardEvent);
BENCHMARK(RoundTrip)->UseRealTime();
BENCHMARK(CopyReference<Counted>);
BENCHMARK(CopyReference<Weak>);
BENCHMARK(CopySharedPtr);

} // namespace
