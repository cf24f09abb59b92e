#ifndef TUZUTIL_TESTS_PURECALL_H
#define TUZUTIL_TESTS_PURECALL_H

// Tests a call of a "pure" function that the class of the object does not override. In a debug build of the library,
// such a call names the function and the class, and ends the process. Therefore `call` then runs in a process of its
// own. In other builds, `call` runs in this process and returns.

#include "utility/kernel/debug_check.h"

#include <gtest/gtest.h>

template <typename Call>
void CallPure(char const *says, Call call) {
    if constexpr (debugcheck::isOn) {
        EXPECT_DEATH(call(), says);
    } else {
        call();
    }
}

#endif
