// The directories of factory libraries: a copy of the list, and additions at its beginning. Both hold
// TLibpath::fsMutex, under which nothing else is locked.

#include "utility/factories/library_path.h"

#include "tuzutil/FACTORY.h"
#include "utility/kernel/lock.h"

TString TLibpath::Copy() {
    TLock const lock(fsMutex);
    return TFactoryLoaderBase::fsLibpath.Copy();
}

void TLibpath::AddFirst(char const *directory) {
    TLock const lock(fsMutex);
    TFactoryLoaderBase::fsLibpath = TString("") + directory + ";" + TFactoryLoaderBase::fsLibpath;
}
