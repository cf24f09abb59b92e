#ifndef TUZUTIL_FORKS
#define TUZUTIL_FORKS

// TForks: what the library does when the process forks. The thread that forks holds the locks of the chain of
// destinations, the observers, the timers and the registry, so the child finds each of them between two changes, and no
// entry half written. The order is the one in which all others take them: a destination may call observers, and both
// may set timers. Under the timers' lock only locks of the platform are taken.

struct TForks {
    static bool Follow() noexcept; // call once, after the locks are made; false if the system refuses

private:
    static void Before() noexcept;
    static void InParent() noexcept;
    static void InChild() noexcept;
};

#endif
