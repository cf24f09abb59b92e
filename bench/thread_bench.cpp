// Measures how long starting a thread and waiting for its end takes. The peer is std::thread. TThread::Start() returns
// only after the new thread runs (the handshake).

#include "tuzutil/THREAD.h"

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace {

class TEmpty : public TThread {
public:
    int Run() override { return 5; }
};

void StartAndWait(benchmark::State &state) {
    for (auto _ : state) {
        TReference<TEmpty> const thread(new TEmpty);
        thread->Start();
        thread->WaitForTermination(-1);
        if (thread->QueryResult() != 5)
            std::abort();
    }
}

void Restart(benchmark::State &state) {
    TReference<TEmpty> const thread(new TEmpty);
    for (auto _ : state) {
        thread->Start();
        thread->WaitForTermination(-1);
    }
}

void StandardStartAndJoin(benchmark::State &state) {
    for (auto _ : state) {
        int result = 0;
        std::thread([&] { result = 5; }).join();
        if (result != 5)
            std::abort();
    }
}

// Waits until the thread runs, as TThread::Start() does.
void StandardStartHandshakeAndJoin(benchmark::State &state) {
    for (auto _ : state) {
        std::mutex mutex;
        std::condition_variable condition;
        bool runs = false;
        std::thread thread([&] {
            std::lock_guard const guard(mutex);
            runs = true;
            condition.notify_all();
        });
        {
            std::unique_lock guard(mutex);
            condition.wait(guard, [&] { return runs; });
        }
        thread.join();
    }
}

BENCHMARK(StartAndWait)->UseRealTime();
BENCHMARK(Restart)->UseRealTime();
BENCHMARK(StandardStartAndJoin)->UseRealTime();
BENCHMARK(StandardStartHandshakeAndJoin)->UseRealTime();

} // namespace
