// TTraceFactory and its loader: factories, often in other libraries, that make trace destinations. The loader is built
// at its first use and never destroyed.

#include "tuzutil/TRACEFAC.h"

#include "tuzutil/PURETRAP.h"

TTraceFactory::TTraceFactory(TFactoryType const &type) : TFactory(type) {}

TTraceFactory::~TTraceFactory() = default;

TTrace TTraceFactory::CreateTrace(char const *) {
    TPureCall::Trap(*this, "TTraceFactory::CreateTrace()");
    return TTrace();
}

TFactoryLoader<TTraceFactory> *TTraceFactory::GetLoader() {
    return TTraceFactoryLoader::GetInstance();
}

TTraceFactoryLoader::TTraceFactoryLoader() = default;

// No test gets here: GetInstance() says why the loader is never deleted.
TTraceFactoryLoader::~TTraceFactoryLoader() = default;

TTraceFactoryLoader *TTraceFactoryLoader::GetInstance() {
    // The loader is never deleted, because factories of other libraries deregister from it when these libraries are
    // unloaded.
    // No test gets here: two threads would have to ask for the loader first in one moment.
    static TTraceFactoryLoader *const only = fsOnlyInstance = new TTraceFactoryLoader;
    return only;
}
