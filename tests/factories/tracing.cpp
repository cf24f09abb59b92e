// Traces while it is loaded, and registers a category of its own.

#include "counting.h"
#include "tuzutil/TRACEP.h"

static TTrace::Category const fsCategory(2, "FactoryTracing");
static struct TNoisy {
    TNoisy() {
        for (int i = 0; i < 100; ++i)
            TTracePoint::Write(TTrace::error, fsCategory, "tests/factories/tracing.cpp", "loading %d", i);
    }
} fsNoisy;
static TNumberedFactory fsFactory("tracing", 0x1000000A);
