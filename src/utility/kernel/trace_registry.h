#ifndef TUZUTIL_TRACE_REGISTRY
#define TUZUTIL_TRACE_REGISTRY

// The lock of the registry's categories: held by whoever looks into one that the registry has given, and by one that
// leaves. Nothing else happens under it, so it may be taken under the system's loader lock, and registration, which
// looks into none, does without. The object is defined in STARTUP.cpp and never destroyed.

#include "tuzutil/MUTEXSEM.h"

struct TTraceRegistry {
    static TMutexSemaphore &fsMutex;
};

#endif
