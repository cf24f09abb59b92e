// TLibpath: the list of directories that are searched for factory libraries. While the functions below hold
// TLibpath::fsMutex, they only make a TString that shares the text of the list, or swap the list for another one. They
// make a new list without the lock, because a lack of memory is traced, and tracing takes other locks.

#include "utility/factories/library_path.h"

#include "tuzutil/FACTORY.h"
#include "utility/kernel/lock.h"

#include <utility>

namespace {

TString Shared(TMutexSemaphore &mutex) {
    TLock const lock(mutex);
    return TFactoryLoaderBase::fsLibpath;
}

} // namespace

TString TLibpath::Copy() {
    return Shared(fsMutex).Copy();
}

void TLibpath::AddFirst(char const *directory) {
    for (bool isStored = false; !isStored;) {
        TString const before = Shared(fsMutex);
        TString after = TString("") + directory + ";" + before;
        TLock const lock(fsMutex);
        isStored = TFactoryLoaderBase::fsLibpath == before;
        // No test gets here: two threads would have to change the path in one moment.
        if (isStored)
            std::swap(TFactoryLoaderBase::fsLibpath, after);
    }
}
