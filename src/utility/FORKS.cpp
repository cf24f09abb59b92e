#include "utility/FORKS.h"

#include "platform/platform.h"
#include "tuzutil/TRACE.h"
#include "utility/INSIST.h"
#include "utility/MASTTIMR.h"
#include "utility/TRACEOBS.h"
#include "utility/TRACEREG.h"

bool TForks::Follow() noexcept {
    return platform::FollowForks(Before, InParent, InChild);
}

void TForks::Before() noexcept {
    for (TMutexSemaphore *const mutex :
         {&TTrace::Base::fsMutex, &TTraceObservers::fsMutex, &TMasterTimer::fsLock, &TTraceRegistry::fsMutex})
        Insist(*mutex, [=] { return mutex->Lock(TMutexSemaphore::fsInfinite); });
}

void TForks::InParent() noexcept {
    TTraceRegistry::fsMutex.Unlock();
    TMasterTimer::fsLock.Unlock();
    TTraceObservers::fsMutex.Unlock();
    TTrace::Base::fsMutex.Unlock();
}

void TForks::InChild() noexcept {
    TMasterTimer::LoseThread();
    InParent();
}
