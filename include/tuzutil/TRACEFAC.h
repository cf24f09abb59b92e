#ifndef TUZUTIL_TRACEFAC_H
#define TUZUTIL_TRACEFAC_H

// TTraceFactory: lets a library supply a new kind of trace destination, which configurations name by keyword.
//
// Example:
//     class TQueueFactory : public TTraceFactory { // in the library tracequeue
//     public:
//         TQueueFactory() : TTraceFactory("queue") {}
//         TTrace CreateTrace(char const *argument) override {
//             return TTrace::Make<TQueueDestination>(argument); // a TTrace::Base
//         }
//     };
//     static TQueueFactory fsFactory;
//     TTrace trace("queue[tracequeue](mail.high),er"); // in a program; calls CreateTrace("mail.high")
//
// Ownership:  The loader borrows the factory, which is a static object of its library. The destination belongs to the
//             handle that CreateTrace() returns, and to copies of that handle.
// Threads:    The library calls CreateTrace() on the thread that opens the destination, under the trace lock.
// Failures:   The constructor throws what TFactoryLoaderBase::Register() throws (FACTORY.h). If CreateTrace() returns a
//             handle without a destination, nothing is written.
// Surprises:
// - The argument is never null.
// - The first comma in a configuration ends the argument, so an argument needs other separators.
class TTraceFactory;

#include "tuzutil/EXPORT.h"
#include "tuzutil/FACTORY.h"
#include "tuzutil/TRACE.h"

class TUZUTIL_API TTraceFactory : public TFactory<TTraceFactory> {
public:
    ~TTraceFactory() override;

    // Makes a destination. Subclasses must override this function. REQUIRES: neither this function nor the
    // destination's Write() loads a library, because both run under the trace lock. REQUIRES: this function makes the
    // destination by TTrace::Make(), or the destination's destructor calls Unlink() before its members are destroyed.
    [[nodiscard]] virtual TTrace CreateTrace(char const *argument);

    static TFactoryLoader<TTraceFactory> *GetLoader(); // the one loader; never null

protected:
    TTraceFactory(TFactoryType const &type); // the keyword, for example "queue"
};

// The one loader of trace factories.
class TUZUTIL_API TTraceFactoryLoader : public TFactoryLoader<TTraceFactory> {
public:
    TTraceFactoryLoader();
    ~TTraceFactoryLoader() override;

    static TTraceFactoryLoader *GetInstance(); // never destroyed

    static TTraceFactoryLoader *fsOnlyInstance; // null until the first GetInstance()
};

#endif
