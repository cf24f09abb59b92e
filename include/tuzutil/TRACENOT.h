#ifndef TUZUTIL_TRACENOT_H
#define TUZUTIL_TRACENOT_H

// TTraceNotify: an observer, which is notified after each change of the levels or components that are traced.
//
// Example:
//     class TCache final : public TTraceNotify {
//     public:
//         TCache() : TTraceNotify(joinsLater) { Join(); } // after the members are constructed
//         ~TCache() override { Leave(); }                 // before the members are destroyed
//         void Notify() override { isVerbose = TTrace::IsGlobalTracing(TTrace::functionEntry, 8); }
//         std::atomic<int> isVerbose{0};
//     };
//
// Ownership:  The library borrows the observers. The destructor of an observer calls Leave().
// Threads:    Notify() runs under the trace lock and the lock of the observers. Both locks are recursive.
// Failures:   An exception that leaves Notify() is dropped. REQUIRES: Notify() does not end its thread.
// Surprises:
// - A change of the destinations notifies twice: once for the levels, and once for the components.
// - In a forked child, the stacks of the parent's other threads are overwritten. So if the process forks, observers
// must
//   not be local variables of other threads.
class TTraceNotify;

#include "tuzutil/EXPORT.h"

class TUZUTIL_API TTraceNotify {
public:
    TTraceNotify(TTraceNotify const &) = delete;
    TTraceNotify &operator=(TTraceNotify const &) = delete;
    virtual ~TTraceNotify();

    virtual void Notify(); // subclasses must override it

    static void NotifyAll() noexcept; // calls Notify() of all observers, in the order in which they joined

protected:
    TTraceNotify(); // joins at once, before the subclass is constructed
    // Selects the constructor that does not join.
    enum Joining { joinsLater };
    explicit TTraceNotify(Joining) noexcept {} // Notify() is not called until Join()

    // Join() and Leave() begin and end the notifications: between them, Notify() may be called at any time. A second
    // call of the same function does nothing. REQUIRES: if other threads can make changes, an observer passes
    // `joinsLater` to its base. It calls Join() at the end of its constructor, and Leave() at the beginning of its
    // destructor. If other classes derive from the observer's class, no constructor of these classes calls Join().
    // Instead, a member function calls Join() after the complete object is constructed. The destructors of all these
    // classes call Leave().
    void Join();
    void Leave() noexcept;
};

#endif
