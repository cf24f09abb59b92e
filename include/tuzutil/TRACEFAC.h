#ifndef TUZUTIL_TRACEFAC_H
#define TUZUTIL_TRACEFAC_H

// TTraceFactory: lets a library supply a new kind of trace destination, which configurations name by keyword.
//
// Example:
//     class TQueueFactory : public TTraceFactory { // in the library tracequeue
//     public:
//         TQueueFactory() : TTraceFactory("queue") {}
//         TTrace CreateTrace(char const *argument) override {
//             TTrace trace;
//             trace.QueryPointer() = TTrace::Pointer(new TQueueDestination(argument)); // a TTrace::Base
//             return trace;
//         }
//     };
//     static TQueueFactory fsFactory;
//
//     TTrace trace("queue[tracequeue](mail.high),er"); // in a program: CreateTrace("mail.high"), errors only
//
// Ownership:  the loader borrows the factory, a static object of its library. The handle that CreateTrace() returns
//             shares its destination.
// Threads:    CreateTrace() may be called by any thread, and runs under the trace lock, as the destination's Write()
//             does: they must not load libraries. The destination's destructor calls Unlink() before its members go.
// Failures:   as FACTORY.h says. A handle without destination means that nothing is traced.
// Surprises:  the argument is never null. A configuration ends it at the first comma: use other separators.

#include "tuzutil/EXPORT.h"
#include "tuzutil/FACTORY.h"
#include "tuzutil/TRACE.h"

class TUZUTIL_API TTraceFactory : public TFactory<TTraceFactory> {
public:
    ~TTraceFactory() override;

    virtual TTrace CreateTrace(char const *argument); // pure

    static TFactoryLoader<TTraceFactory> *GetLoader();

protected:
    TTraceFactory(TFactoryType const &type);
};

// The one loader of trace factories.
class TUZUTIL_API TTraceFactoryLoader : public TFactoryLoader<TTraceFactory> {
public:
    TTraceFactoryLoader();
    ~TTraceFactoryLoader() override;

    static TTraceFactoryLoader *GetInstance(); // lives as long as the process

    static TTraceFactoryLoader *fsOnlyInstance; // null until it is asked for
};

#endif
