#ifndef TUZUTIL_THREAD_LAUNCH
#define TUZUTIL_THREAD_LAUNCH

// How the library starts threads of its own: no signals go there, and nobody waits until they run. A thread that is
// begun while the system loads a library does not run before that is done, so waiting for it would be for ever.

#include "tuzutil/THREAD.h"

class TThreadLaunch {
public:
    // Whether the object has everything that it needs, so that starting it traces nothing. Traces what is missing.
    static bool HasAll(TThread &thread);

    // Starts the thread, which takes over one reference of the caller's and drops it at its end. The thread counts as
    // running from now on. If the result is false no thread was started, and the reference is still the caller's.
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
