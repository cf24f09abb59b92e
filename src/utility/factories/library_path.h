#ifndef TUZUTIL_LIBRARY_PATH
#define TUZUTIL_LIBRARY_PATH

// The directories that factory libraries are looked for in, TFactoryLoaderBase::fsLibpath, behind a lock.

#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TSTRING.h"

class TLibpath {
public:
    static TString Copy();
    static void AddFirst(char const *directory);

    static TMutexSemaphore &fsMutex;
};

#endif
