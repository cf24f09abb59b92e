#ifndef TUZUTIL_FACTORY_REGISTRY
#define TUZUTIL_FACTORY_REGISTRY

// TFactoryRegistry: the lock of the factories that are registered with the loaders. All loaders share one lock, because
// a fork holds it, and because it is held only for a moment. No code outside of tuzutil is called under this lock.

class TMutexSemaphore;

struct TFactoryRegistry {
    static TMutexSemaphore &fsMutex; // never destroyed
};

#endif
