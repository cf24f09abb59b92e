#ifndef TUZUTIL_TRACENOT_H
#define TUZUTIL_TRACENOT_H

// TTraceNotify: an observer that is told when what is traced has changed.
//
// Example:
//     class TCache final : public TTraceNotify {
//     public:
//         TCache() : TTraceNotify(joinsLater) { Join(); } // when all of it stands
//         ~TCache() override { Leave(); }                 // before its members go
//         void Notify() override { isVerbose = TTrace::IsGlobalTracing(TTrace::functionEntry, 8); }
//         std::atomic<int> isVerbose{0};
//     };
//
// Ownership:  observers are borrowed; one leaves the set when it ends.
// Threads:    Notify() runs under the observers' mutex (recursive), mostly with the trace lock held as well.
// Failures:   an exception out of Notify() is dropped.
// Surprises:  an observer may be told from its base's constructor on, and until it has left: one that other threads'
//             changes reach gives its base `joinsLater` and calls Join() at the end of its own constructor, and Leave()
//             at the beginning of its own destructor. Where others derive from it, each of them does the latter, and
//             the first is done by whoever makes the whole object. A change of the destinations notifies twice: once
//             for the word of levels, once for that of components.

#include "tuzutil/EXPORT.h"

class TUZUTIL_API TTraceNotify {
public:
    TTraceNotify(TTraceNotify const &) = delete;
    TTraceNotify &operator=(TTraceNotify const &) = delete;
    virtual ~TTraceNotify();

    virtual void Notify(); // "pure"

    static void NotifyAll() noexcept; // in order of registration

protected:
    TTraceNotify(); // joins at once, while the subclass is not there yet
    enum Joining { joinsLater };
    explicit TTraceNotify(Joining) noexcept {}

    void Join();           // Notify() from here on; may be called again
    void Leave() noexcept; // no Notify() from here on; may be called again
};

#endif
