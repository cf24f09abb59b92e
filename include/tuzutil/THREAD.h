#ifndef TUZUTIL_THREAD_H
#define TUZUTIL_THREAD_H

// TThread: an object whose Run() is called on a thread of its own. The object exists as long as somebody refers to it
// or its thread runs.
//
// Example:
//     class TFetch : public TThread { // supplies the body
//     public:
//         int Run() override { return 17; }
//     };
//     TReference<TFetch> const fetch(new TFetch);
//     if (fetch->Start() != 0)
//         return;                    // the system cannot make a thread
//     fetch->WaitForTermination(-1);
//     int result = fetch->QueryResult(); // 17; -1 if the body threw
//
// Ownership:  Objects are counted: hold an object in a TReference before Start(). The thread holds a reference until
//             Run() has ended. If nobody else refers to the object then, it is deleted.
// Threads:    Any thread may wait for the end and query the state. One thread at a time may start the object. Run()
//             sees all that was written before Start(). A thread that has waited for the end, or has learned of it from
//             IsRunning() or QueryResult(), sees all that Run() wrote.
// Failures:   If the system cannot make a thread, Start() traces this and returns 1. For a local or static
//             object without a reference, it throws. If Run() throws, this is traced (level "se"); the result is -1.
// Surprises:
// - SetStackSize() has no effect: every thread has the default size.
// - WaitForTermination() returns at once if no thread runs, for example before Start().
// - After the end of Run() is reported, the thread still releases its reference. REQUIRES: a library with a subclass is
//   not unloaded until QueryReferenceCount() no longer counts the references of its threads.
// - In a forked child, do not use IsRunning() and WaitForTermination() for threads of the parent.
class TThread;

#include "tuzutil/EXPORT.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TREFCNT.h"

#include <atomic>
#include <cstdint>

class TUZUTIL_API TThread : public TRefCounted {
protected:
    TThread();
    // REQUIRES, for copies and assignments: `other` is not running, because copies share the event that reports the
    // end.
    TThread(TThread const &other);

public:
    TThread &operator=(TThread const &other);
    ~TThread() override;

    // The body of the thread. Subclasses must override it. REQUIRES: the body does not wait for its own end, because
    // that wait would never return.
    virtual int Run();

    // Starts the thread. Returns 0 after the thread has begun to run. If the system cannot make a thread, returns 1,
    // and errno, or GetLastError() on Windows, tells why. If this object is static or on the stack of the calling
    // thread, and has no reference, the thread would delete it at its end. Start() then throws TInvalidRequest "Thread
    // object without a reference is not allocated by new". To start a local or static object, call its AddRef() before.
    // Its Run() must then end before the object is destroyed. REQUIRES, for Start() and MainThread(): the object is not
    // running. Otherwise Run() would run twice, but only one end and one result would be reported.
    int Start();
    int MainThread(); // runs the body on the calling thread, and returns its result

    void WaitForTermination(long timeout); // in milliseconds; -1 waits for ever
    // Returns 1 from the beginning of Run() until its end, and otherwise 0.
    int IsRunning() const noexcept { return fRunning.load(std::memory_order_acquire); }
    // Returns what the last Run() has returned. Returns 0 before the first run, -1 during a run, and -1 after a run in
    // which Run() threw.
    int QueryResult() const noexcept { return fResult.load(std::memory_order_acquire); }
    // Stores the size, which has no effect.
    void SetStackSize(unsigned long size) noexcept { fStackSize = static_cast<std::uint32_t>(size); }

private:
    friend class TThreadLaunch; // starts the library's own threads

    struct TEnding;

    int RunBody(void *started);
    void ForgetEnd();
    bool Begin(void (*entry)(void *), void *argument, bool takesSignals);

    std::uintptr_t fHandle; // the system's handle, which may be closed already; all bits are 1 if there is no thread
    std::uint32_t fId = 0;  // the low 32 bits of the handle of the last successful start
    TReference<TSemaphore> fSignal;
    std::atomic<std::int32_t> fFinished{0};
    std::atomic<std::int32_t> fRunning{0};
    std::uint32_t fStackSize = 0;
    std::atomic<std::int32_t> fResult{0};
    TMutexSemaphore fEnding; // held while the end of a run is reported or reset
};

#endif
