#ifndef TUZUTIL_FORKS
#define TUZUTIL_FORKS

// TForks: keeps the library's data consistent when the process forks. During the fork, the forking thread holds four
// locks, which it takes in this order: the locks of the trace destinations, the trace observers, the timers and the
// registry of categories. So the child finds complete data and complete trace entries. All other code takes these locks
// in the same order, if it needs several of them. A change of a destination calls the observers, and destinations and
// observers may set timers. Outside of TForks, a thread that holds the lock of the timers takes none of the other three
// locks.

struct TForks {
    static bool Follow() noexcept; // call once, after the locks are made; false if the system refuses

private:
    static void Before() noexcept;
    static void InParent() noexcept;
    static void InChild() noexcept;
};

#endif
