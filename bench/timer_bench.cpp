// Sets one of many armed timers to a new time, which is between 600 and 3600 seconds from now. Compares this with an
// ordered container under a lock, which keeps the same order of times, and with the event loops libev and libevent,
// which take no lock.

#include "tuzutil/TIMER.h"

#ifdef HAS_LIBEV
#define EV_COMPAT3 0 // leaves out names that libevent also defines
#include <ev.h>
#endif
#ifdef HAS_LIBEVENT
#include <event2/event.h>
#include <event2/event_struct.h>
#endif

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <map>
#include <mutex>
#include <random>
#include <vector>

namespace {

// Random timers and times, drawn before the measurement begins.
class TDraw {
public:
    explicit TDraw(std::size_t timers) {
        std::minstd_rand random;
        for (TPick &pick : fPicks)
            pick = {random() % timers, 600 + static_cast<long>(random() % 3000)};
    }

    struct TPick {
        std::size_t timer;
        long seconds;
    };
    TPick const &Next() { return fPicks[fNext++ % fPicks.size()]; }

private:
    std::vector<TPick> fPicks = std::vector<TPick>(1 << 16);
    std::size_t fNext = 0;
};

std::vector<TTimer> ArmedTimers(std::size_t count, TReference<TSemaphore> const &event) {
    std::vector<TTimer> timers;
    timers.reserve(count);
    TDraw draw(count);
    for (std::size_t i = 0; i < count; ++i) {
        timers.emplace_back(event);
        timers.back().Set(draw.Next().seconds);
    }
    return timers;
}

void SetAgain(benchmark::State &state, bool cancel) {
    auto const count = static_cast<std::size_t>(state.range(0));
    TReference<TSemaphore> const event(new TSemaphore);
    std::vector<TTimer> timers = ArmedTimers(count, event);
    TDraw draw(count);
    for (auto _ : state) {
        TDraw::TPick const &pick = draw.Next();
        if (cancel)
            timers[pick.timer].Cancel();
        timers[pick.timer].Set(pick.seconds);
    }
    for (TTimer const &timer : timers) {
        if (timer.QueryTimeLeft() < 300)
            std::abort();
    }
}

void StandardMultimap(benchmark::State &state) {
    auto const count = static_cast<std::size_t>(state.range(0));
    std::mutex mutex;
    std::multimap<std::uint32_t, std::size_t> armed;
    std::vector<std::multimap<std::uint32_t, std::size_t>::iterator> timers;
    TDraw draw(count);
    auto const at = [](long seconds) { return static_cast<std::uint32_t>(std::time(nullptr) + seconds); };
    for (std::size_t i = 0; i < count; ++i)
        timers.push_back(armed.emplace(at(draw.Next().seconds), i));
    for (auto _ : state) {
        TDraw::TPick const &pick = draw.Next();
        std::lock_guard const guard(mutex);
        armed.erase(timers[pick.timer]);
        timers[pick.timer] = armed.emplace(at(pick.seconds), pick.timer);
    }
    if (armed.size() != count)
        std::abort();
}

#ifdef HAS_LIBEV
void LibevAgain(benchmark::State &state) {
    auto const count = static_cast<std::size_t>(state.range(0));
    struct ev_loop *const loop = ev_loop_new(0);
    std::vector<ev_timer> timers(count);
    TDraw draw(count);
    auto const arm = [&](ev_timer &timer, long seconds) {
        timer.repeat = static_cast<double>(seconds);
        ev_timer_again(loop, &timer);
    };
    for (ev_timer &timer : timers) {
        ev_timer_init(
            &timer, [](struct ev_loop *, ev_timer *, int) {}, 0., 0.);
        arm(timer, draw.Next().seconds);
    }
    for (auto _ : state) {
        TDraw::TPick const &pick = draw.Next();
        arm(timers[pick.timer], pick.seconds);
    }
    for (ev_timer &timer : timers) {
        if (ev_timer_remaining(loop, &timer) < 300)
            std::abort();
    }
    ev_loop_destroy(loop);
}
BENCHMARK(LibevAgain)->Arg(100)->Arg(10000)->Arg(100000);
#endif

#ifdef HAS_LIBEVENT
void LibeventAdd(benchmark::State &state) {
    auto const count = static_cast<std::size_t>(state.range(0));
    event_base *const base = event_base_new();
    std::vector<event> timers(count);
    TDraw draw(count);
    auto const arm = [&](event &timer, long seconds) {
        timeval const time = {seconds, 0};
        if (event_add(&timer, &time) != 0)
            std::abort();
    };
    for (event &timer : timers) {
        event_assign(
            &timer, base, -1, 0, [](evutil_socket_t, short, void *) {}, nullptr);
        arm(timer, draw.Next().seconds);
    }
    for (auto _ : state) {
        TDraw::TPick const &pick = draw.Next();
        arm(timers[pick.timer], pick.seconds);
    }
    for (event &timer : timers) {
        if (!event_pending(&timer, EV_TIMEOUT, nullptr))
            std::abort();
        event_del(&timer);
    }
    event_base_free(base);
}
BENCHMARK(LibeventAdd)->Arg(100)->Arg(10000)->Arg(100000);
#endif

BENCHMARK_CAPTURE(SetAgain, Directly, false)->Arg(1)->Arg(100)->Arg(10000)->Arg(100000);
BENCHMARK_CAPTURE(SetAgain, Cancelled, true)->Arg(100)->Arg(100000);
BENCHMARK(StandardMultimap)->Arg(1)->Arg(100)->Arg(10000)->Arg(100000);

} // namespace
