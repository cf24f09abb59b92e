// Threads, processes and times as a program of today has them: the standard's guards and durations, a block of memory
// that several processes need, timers of milliseconds, and the dates of mail.
#include <tuzutil/MUTEXSEM.h>
#include <tuzutil/SHAREMEM.h>
#include <tuzutil/TDATETIM.h>
#include <tuzutil/TIMER.h>

#include <chrono>
#include <iostream>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

static int failures = 0;

static void Check(bool holds, int line) {
    if (!holds)
        std::cout << "line " << line << " does not hold\n", ++failures;
}
#define CHECK(condition) Check((condition), __LINE__)

struct Counters {
    int logins = 3;
};

int main() {
    static TMutexSemaphore first, second;
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 1000; ++round) {
                std::scoped_lock<TMutexSemaphore, TMutexSemaphore> const both(first, second);
                ++count;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    CHECK(count == 4000);
    {
        std::unique_lock<TMutexSemaphore> const guard(first, 50ms);
        CHECK(guard.owns_lock() && !first.WasAbandoned());
        std::thread([] { CHECK(!first.try_lock() && !first.try_lock_for(5ms)); }).join();
        TMutexSemaphoreEntry const entry(second, 500us);
        CHECK(entry.State() == TMutexSemaphore::Locked && !entry.WasAbandoned());
    }

    TReference<TSemaphore> const event(new TSemaphore);
    CHECK(event->Wait(5ms) == 1 && event->Wait(std::chrono::steady_clock::now() + 5ms) == 1);
    TTimer timer(event);
    auto const begin = std::chrono::steady_clock::now();
    timer.Set(30ms);
    CHECK(timer.TimeLeft() <= 30ms && event->Wait(20s) == 0 && std::chrono::steady_clock::now() - begin >= 30ms);
    timer.Set(600); // whole seconds of the calendar
    CHECK(timer.TimeLeft() > 9min && timer.QueryTimeLeft() <= 600);

    std::string const name = "tuzutil.interface." + std::to_string(begin.time_since_epoch().count());
    auto const make = [](void *fresh) { new (fresh) Counters; };
    auto const counters = ipcSharedMemory::OpenOrCreate(name.c_str(), sizeof(Counters), make);
    CHECK(!!counters.Owner() && counters.TrueSize() == sizeof(Counters) && !counters.Error());
    ipcSharedMemory const again = ipcSharedMemory::OpenOrCreate(name.c_str(), 1, make);
    CHECK(!again.Owner() && again.Size() == sizeof(Counters));
    CHECK(static_cast<Counters *>(again.Pointer())->logins == 3);
    CHECK(ipcSharedMemory("tuzutil.interface.missing").Error() == std::errc::no_such_file_or_directory);

    TDateTime64 sent;
    unsigned int fault = 0;
    CHECK(TDateTime64::FromMailDate("Fri, 21 Nov 97 09(comment): 55 :06 EST", sent, &fault));
    CHECK(sent.QueryTime() == 880124106 && sent.QueryMailDate() == "Fri, 21 Nov 1997 09:55:06 -0500");
    CHECK(!TDateTime64::FromMailDate(std::string("31 Feb 2001 00:00:00 +0000"), sent, &fault) && fault == 1);
    CHECK(TDateTime64(4107542400).QueryCalendar().tm_mday == 1 && TDateTime(86400, 0).QueryCalendar().tm_mday == 2);
    CHECK(TDateTime64(std::chrono::system_clock::now()).QueryDateTime().QueryTime() > 1700000000);
    if (failures == 0)
        std::cout << "ok\n";
    return failures;
}
