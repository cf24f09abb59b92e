// A library that uses tuzutil. The program that loads it knows nothing of tuzutil.

#include "startup/objects.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/THREAD.h"
#include "tuzutil/TIMER.h"
#include "tuzutil/TRACESTR.h"

#include <chrono>
#include <sstream>
#include <thread>

namespace {

TStaticUser fsUser("used");
TTrace::Category const fsCategory(8, "Used");

class TWorker : public TThread {
public:
    int Run() override {
        TMutexSemaphore lock;
        return TMutexSemaphoreEntry(lock, 0).State() == TMutexSemaphore::Locked ? 17 : 18;
    }
};

} // namespace

#if defined(_WIN32)
#define EXPORTED __declspec(dllexport)
#else
#define EXPORTED __attribute__((visibility("default")))
#endif

// Returns 0, or the number of the step that failed.
extern "C" EXPORTED int UseTuzutil() {
    std::ostringstream told;
    TTraceStream const trace(told);
    TTracePoint::Write(TTrace::error, fsCategory, "used", "number %d", 17);
    if (told.str().find("number 17") == std::string::npos)
        return 1;
    TReference<TSemaphore> const event(new TSemaphore);
    TTimer timer(event);
    timer.Set(std::chrono::milliseconds(1));
    if (event->Wait(20000) != 0)
        return 2;
    TReference<TWorker> const worker(new TWorker);
    if (worker->Start() != 0)
        return 3;
    worker->WaitForTermination(TMutexSemaphore::fsInfinite);
    if (worker->QueryResult() != 17)
        return 4;
    while (worker->QueryReferenceCount() != 1) // the thread needs this library until it has released its reference
        std::this_thread::yield();
    try {
        TString("text").subString(0);
        return 5;
    } catch (TInvalidRequest const &) {
        return 0;
    }
}
