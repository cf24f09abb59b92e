#ifndef TUZUTIL_FORKS
#define TUZUTIL_FORKS

// What becomes of the library where the process forks. A forked child gets the chain of destinations, their tables, the
// observers and the timers as they are between two changes, and no entry half written: the thread that forks holds
// their locks meanwhile. It takes them in the order in which everybody else does: a destination may tell observers, and
// both may set timers; under the timers' lock nothing else is locked but what is the platform's own.

struct TForks {
    static bool Follow() noexcept; // from now on; once, after the locks were made. False where that cannot be had

private:
    static void Before() noexcept;
    static void InParent() noexcept;
    static void InChild() noexcept;
};

#endif
