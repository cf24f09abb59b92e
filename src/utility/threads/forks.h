#ifndef TUZUTIL_FORKS
#define TUZUTIL_FORKS

// TForks: keeps the library's data consistent when the process forks. During the fork, the forking thread holds the
// locks of the destinations, the observers, the timers and the registry of categories. So the child finds complete data
// and complete trace entries. The locks are taken in the same order as by all other code: a destination may call
// observers, and destinations and observers may set timers. Under the lock of the timers, other code takes none of
// these locks.

struct TForks {
    static bool Follow() noexcept; // call once, after the locks are made; false if the system refuses

private:
    static void Before() noexcept;
    static void InParent() noexcept;
    static void InChild() noexcept;
};

#endif
