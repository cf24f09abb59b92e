#include "platform/platform.h"

#include <errno.h>
#include <new>
#include <pthread.h>

namespace {

struct Start {
    void (*body)(void *);
    void *argument;
};

void *RunBody(void *given) {
    auto *const start = static_cast<Start *>(given);
    Start const what = *start;
    delete start;
    what.body(what.argument);
    return nullptr;
}

} // namespace

std::uintptr_t platform::StartThread(void (*body)(void *), void *argument) noexcept {
    auto *const start = new (std::nothrow) Start{body, argument};
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    int const error = start ? ::pthread_create(&thread, &attributes, RunBody, start) : ENOMEM;
    ::pthread_attr_destroy(&attributes);
    if (error != 0) {
        delete start;
        errno = error;
        return ~std::uintptr_t{0};
    }
    static_assert(sizeof thread == sizeof(std::uintptr_t));
    return thread;
}
