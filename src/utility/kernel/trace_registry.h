#ifndef TUZUTIL_TRACE_REGISTRY
#define TUZUTIL_TRACE_REGISTRY

// The lock of the registered categories. TTrace::Base::FindCategory() holds this lock while it reads the categories in
// the registry. The destructor of a category takes the lock too, because no category may be destroyed while
// FindCategory() reads it. A thread that holds this lock waits for nothing else. Therefore a thread that holds the lock
// of the system's loader may take this lock. Registration does not take the lock. The lock is defined in STARTUP.cpp
// and never destroyed.

#include "tuzutil/MUTEXSEM.h"

struct TTraceRegistry {
    static TMutexSemaphore &fsMutex;
};

#endif
