#ifndef TUZUTIL_TRACE_REGISTRY
#define TUZUTIL_TRACE_REGISTRY

// The lock of the registered categories. Whoever looks into a category that the registry has given holds it, and so
// does a category that is destroyed. Nothing else happens under it, so it may be taken under the system's loader lock.
// Registration looks into no category and does not take it. The object is defined in STARTUP.cpp and never destroyed.

#include "tuzutil/MUTEXSEM.h"

struct TTraceRegistry {
    static TMutexSemaphore &fsMutex;
};

#endif
