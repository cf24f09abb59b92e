#ifndef TUZUTIL_FORKS
#define TUZUTIL_FORKS

// TForks: keeps the library's data consistent when the process forks. During the fork, the forking thread holds the
// locks of the data that all threads share. So the child finds complete data and complete trace entries. TForks takes
// the locks in the order of docs/architecture.md, as all other code does if it needs several of them. Only TForks takes
// the lock of the categories while it holds the lock of the timers.

struct TForks {
    static bool Follow() noexcept; // call once, after the locks are made; returns false if the system cannot call
                                   // TForks at each fork

private:
    struct TLocks;

    static void Before() noexcept;
    static void InParent() noexcept;
    static void InChild() noexcept;
};

#endif
