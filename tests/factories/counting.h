#ifndef TUZUTIL_TESTS_FACTORIES_COUNTING_H
#define TUZUTIL_TESTS_FACTORIES_COUNTING_H

// A factory whose destinations say where they are from: their level is a number of the library's, and the argument's
// length is their component.

#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TXTMSG.h"

#include <cstring>

class TNumberedDestination : public TTrace::Base {
public:
    TNumberedDestination(unsigned long number, char const *argument)
        : Base(number, static_cast<unsigned long>(std::strlen(argument))) {}
    ~TNumberedDestination() override { Unlink(); }
    void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {}
};

class TNumberedFactory : public TTraceFactory {
public:
    TNumberedFactory(char const *type, unsigned long number) : TTraceFactory(type), fNumber(number) {}
    TTrace CreateTrace(char const *argument) override {
        TTrace trace;
        trace.QueryPointer() = TTrace::Pointer(new TNumberedDestination(fNumber, argument));
        return trace;
    }

private:
    unsigned long fNumber;
};

#endif
