#ifndef TUZUTIL_TRACENOT_H
#define TUZUTIL_TRACENOT_H

// TTraceNotify: an observer that is told when what is traced has changed.
//
// Example:
//     class TCache : public TTraceNotify {
//     public:
//         void Notify() override { isVerbose = TTrace::IsGlobalTracing(TTrace::functionEntry, 8); }
//         ~TCache() override { Leave(); }
//         std::atomic<int> isVerbose{0};
//     };
//
// Ownership:  observers are borrowed; one leaves the set when it ends.
// Threads:    Notify() runs under the observers' mutex (recursive), mostly with the trace lock held as well.
// Failures:   an exception out of Notify() is dropped.
// Surprises:  an observer may be told until it has left: one that other threads' changes reach calls Leave() in its own
//             destructor, before its members go. A change of the destinations notifies twice: once for the word of
//             levels, once for that of components.

#include "tuzutil/EXPORT.h"

class TUZUTIL_API TTraceNotify {
public:
    TTraceNotify(TTraceNotify const &) = delete;
    TTraceNotify &operator=(TTraceNotify const &) = delete;
    virtual ~TTraceNotify();

    virtual void Notify(); // "pure"

    static void NotifyAll() noexcept; // in order of registration

protected:
    TTraceNotify();

    void Leave() noexcept; // no Notify() from here on; may be called again
};

#endif
