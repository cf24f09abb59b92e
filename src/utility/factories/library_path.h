#ifndef TUZUTIL_LIBRARY_PATH
#define TUZUTIL_LIBRARY_PATH

// TLibpath: access to the list of directories that are searched for factory libraries. The list itself is
// TFactoryLoaderBase::fsLibpath. The lock fsMutex guards the list. While fsMutex is held, no code outside of tuzutil is
// called.

#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TSTRING.h"

class TLibpath {
public:
    static TString Copy();
    static void AddFirst(char const *directory);

    static TMutexSemaphore &fsMutex;
};

#endif
