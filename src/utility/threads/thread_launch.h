#ifndef TUZUTIL_THREAD_LAUNCH
#define TUZUTIL_THREAD_LAUNCH

// Starts the threads of the library itself. These threads receive no signals. The starting thread does not wait until
// the new thread runs, because a static object of a library may start a thread while the system loads that library. On
// some systems, the new thread cannot run before the load has ended, so a wait would never end. The private functions
// also run the threads that programs start.

#include "tuzutil/THREAD.h"

class TThreadLaunch {
public:
    // Returns whether the object has its event and its lock. Traces what is missing. The library's threads are started
    // only if nothing is missing. Otherwise each use of the missing part would be traced, also where the library holds
    // a lock under which nothing may be traced.
    static bool HasAll(TThread &thread);

    // Starts the thread without waiting until it runs, and returns true. The thread takes over one of the caller's
    // references to the object, and releases this reference when the thread ends. The object counts as running at once.
    // If no thread could be started, returns false, and the caller keeps the reference.
    static bool StartUnannounced(TThread &thread);

    // Traces that a thread could not be started.
    static void ReportNotStarted() noexcept;

    // Called in a forked child, in which the thread of the object no longer exists.
    static void ForgetRun(TThread &thread) noexcept { thread.fRunning = 0; }

private:
    friend class TThread;

    struct THold;

    static void EnterAnnounced(void *start);
    static void Enter(void *thread);
};

#endif
