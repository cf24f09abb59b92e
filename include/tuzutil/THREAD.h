#ifndef TUZUTIL_THREAD_H
#define TUZUTIL_THREAD_H

// TThread: work with a thread of its own, alive for as long as somebody refers to it or the thread runs.
//
// Example:
//     class TFetch : public TThread { // supplies the body
//     public:
//         int Run() override { return 17; }
//     };
//     TReference<TFetch> const fetch(new TFetch);
//     if (fetch->Start() != 0)
//         return;                    // no thread to be had
//     fetch->WaitForTermination(-1);
//     int result = fetch->QueryResult(); // 17; -1 if the body threw
//
// Ownership:  counted: hold it in a TReference before Start(). The thread holds a reference of its own until the body
//             has ended; an object that nobody else refers to is deleted then.
// Threads:    any thread may wait for the end and ask for the state. One thread at a time starts it, and not while it
//             runs. What the starter did before Start() is seen by the body, what the body did by whoever's
//             WaitForTermination() returned, or whom IsRunning() told the end.
// Failures:   Start() answers 1, with a trace entry, where the system has no thread to give. An exception that leaves
//             the body ends in a trace entry at level "sv" and the result -1.
// Surprises:  SetStackSize() has no effect: every thread has the default size. WaitForTermination() returns at once
//             while no body runs, so also before Start(). MainThread() on an object that runs has two bodies run, with
//             one result and one end told, whichever comes first: do not. A body that waits for its own end waits for
//             ever. Copies share the event that tells the end: copy objects that do not run. A forked child has the
//             objects of its parent's threads, but not the threads: there, IsRunning() and a wait for the end mean
//             nothing.

#include "tuzutil/EXPORT.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TREFCNT.h"

#include <atomic>
#include <cstdint>

class TUZUTIL_API TThread : public TRefCounted {
protected:
    TThread();
    TThread(TThread const &other);

public:
    TThread &operator=(TThread const &other);
    ~TThread() override;

    virtual int Run(); // "pure": the body

    int Start();      // returns when the thread runs: 0, or 1 if there is none
    int MainThread(); // runs the body on the calling thread; the result

    void WaitForTermination(long timeout); // in milliseconds, -1 for ever
    int IsRunning() const noexcept { return fRunning.load(std::memory_order_acquire); }
    int QueryResult() const noexcept { return fResult.load(std::memory_order_acquire); } // -1 while running
    void SetStackSize(unsigned long size) noexcept { fStackSize = static_cast<std::uint32_t>(size); }

private:
    friend class TThreadLaunch; // the library's own ways of starting

    struct TEnding;

    int RunBody(void *started);
    void ForgetEnd();
    bool Begin(void (*entry)(void *), void *argument, bool takesSignals);

    std::uintptr_t fHandle; // as the system answered, all ones for none; it may be closed: nobody waits for it
    std::uint32_t fId = 0;  // its low half, of the last start that succeeded
    TReference<TSemaphore> fSignal;
    std::atomic<std::int32_t> fFinished{0};
    std::atomic<std::int32_t> fRunning{0};
    std::uint32_t fStackSize = 0;
    std::atomic<std::int32_t> fResult{0};
    TMutexSemaphore fEnding; // held while an end is told, so that a restart does not get the signal of the run before
};

#endif
