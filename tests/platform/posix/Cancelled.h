#ifndef TUZUTIL_TESTS_CANCELLED_H
#define TUZUTIL_TESTS_CANCELLED_H

#include <pthread.h>

// Asks for the end of this thread, and passes a point where it can come.
inline void CancelHere() {
    ::pthread_cancel(::pthread_self());
    ::pthread_testcancel();
}

template <typename Body>
void *RunBody(void *body) {
    (*static_cast<Body *>(body))();
    return nullptr;
}

// Runs `body` in a thread; whether it was cancelled before the body's end.
template <typename Body>
bool IsCancelledIn(Body body) {
    pthread_t thread;
    ::pthread_create(&thread, nullptr, RunBody<Body>, &body);
    void *result = nullptr;
    ::pthread_join(thread, &result);
    return result == PTHREAD_CANCELED;
}

// The same; whether the body came to its end, and the thread was cancelled at the next point where it could be.
template <typename Body>
bool IsCancelledAfter(Body body) {
    bool cameBack = false;
    bool const wasCancelled = IsCancelledIn([&] {
        body();
        cameBack = true;
        ::pthread_testcancel();
    });
    return cameBack && wasCancelled;
}

#endif
