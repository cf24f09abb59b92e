#ifndef TUZUTIL_TESTS_STARTUP_PRINTING_H
#define TUZUTIL_TESTS_STARTUP_PRINTING_H

// A destination that prints what is traced, and its own end.

#include "tuzutil/TRACE.h"
#include "tuzutil/TXTMSG.h"

#include <cstdio>

class TPrinting : public TTrace::Base {
public:
    ~TPrinting() override {
        Unlink();
        std::printf("destination destroyed\n");
        std::fflush(stdout);
    }
    void Write(unsigned long, TTrace::Category const &category, TTextMessage const &message) override {
        std::printf("%s: %s\n", static_cast<char const *>(category.QueryString()), static_cast<char const *>(message));
        std::fflush(stdout);
    }
};

inline TTrace OpenTrace() {
    TTrace trace;
    trace.QueryPointer() = TTrace::Pointer(new TPrinting);
    return trace;
}

#endif
