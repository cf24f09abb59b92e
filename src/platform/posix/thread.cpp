// Starts threads by functions of the C library. The functions take no locks. A new thread blocks the same signals as
// its creator. If the new thread must receive no signals, the creator blocks all signals while it creates the thread.

#include "platform/platform.h"

#include <errno.h>
#include <new>
#include <pthread.h>
#include <signal.h>

namespace {

struct TStart {
    void (*body)(void *);
    void *argument;
};

void *RunBody(void *given) {
    auto *const start = static_cast<TStart *>(given);
    TStart const what = *start;
    delete start;
    what.body(what.argument);
    return nullptr;
}

} // namespace

std::uintptr_t platform::StartThread(void (*body)(void *), void *argument, bool takesSignals) noexcept {
    auto *const start = new (std::nothrow) TStart{body, argument};
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    sigset_t signals;
    ::sigfillset(&signals);
    ::pthread_sigmask(takesSignals ? SIG_UNBLOCK : SIG_SETMASK, takesSignals ? nullptr : &signals, &signals);
    pthread_t thread;
    int const error = start ? ::pthread_create(&thread, &attributes, RunBody, start) : ENOMEM;
    ::pthread_sigmask(SIG_SETMASK, &signals, nullptr);
    ::pthread_attr_destroy(&attributes);
    if (error != 0) {
        delete start;
        errno = error;
        return ~std::uintptr_t{0};
    }
    static_assert(sizeof thread == sizeof(std::uintptr_t));
    return thread;
}

bool const platform::threadsEndFirst = false;

platform::TAnswer platform::IsOnStack(void const *address) noexcept {
    pthread_attr_t attributes;
    if (int const error = ::pthread_getattr_np(::pthread_self(), &attributes)) {
        errno = error;
        return TAnswer::unknown;
    }
    void *low = nullptr;
    std::size_t size = 0;
    ::pthread_attr_getstack(&attributes, &low, &size);
    ::pthread_attr_destroy(&attributes);
    auto const distance = reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(low);
    return distance < size ? TAnswer::yes : TAnswer::no;
}
