#ifndef TUZUTIL_FORKS
#define TUZUTIL_FORKS

// TForks: keeps the library's data consistent when the process forks. During the fork, the forking thread holds four
// locks, which it takes in this order: the locks of the trace destinations, the trace observers, the timers and the
// registry of categories. So the child finds complete data and complete trace entries. All other code takes these locks
// in the same order, if it needs several of them. The order is needed because code that changes a destination calls the
// observers, and because destinations and observers may set timers. Only TForks takes the lock of the registry while it
// holds the lock of the timers.

struct TForks {
    static bool Follow() noexcept; // call once, after the locks are made; returns false if the system cannot call
                                   // TForks at each fork

private:
    static void Before() noexcept;
    static void InParent() noexcept;
    static void InChild() noexcept;
};

#endif
