#ifndef TUZUTIL_TESTS_PURECALL_H
#define TUZUTIL_TESTS_PURECALL_H

// Tests a call of a "pure" function that the class of the object does not override. A debug build of the library then
// ends the process, and names the function and the class. Therefore `call` runs in a process of its own there. In other
// builds, the call returns, and `call` runs in this process.

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
