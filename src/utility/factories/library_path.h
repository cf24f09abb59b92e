#ifndef TUZUTIL_LIBRARY_PATH
#define TUZUTIL_LIBRARY_PATH

// The directories in which factory libraries are searched, TFactoryLoaderBase::fsLibpath, under a lock of their own.
// Nothing else is locked under it.

#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TSTRING.h"

class TLibpath {
public:
    static TString Copy();
    static void AddFirst(char const *directory);

    static TMutexSemaphore &fsMutex;
};

#endif
