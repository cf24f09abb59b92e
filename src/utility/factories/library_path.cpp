// TLibpath: the list of directories that are searched for factory libraries. While the functions below hold
// TLibpath::fsMutex, they call no code outside of the library.

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
