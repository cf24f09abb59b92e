#ifndef TUZUTIL_LIBRARY_PATH
#define TUZUTIL_LIBRARY_PATH

// TLibpath: the list of directories that are searched for factory libraries. The list is TFactoryLoaderBase::fsLibpath.
// The lock fsMutex guards the list. No code outside of the library is called while fsMutex is held.

#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TSTRING.h"

class TLibpath {
public:
    static TString Copy();
    static void AddFirst(char const *directory);

    static TMutexSemaphore &fsMutex;
};

#endif
