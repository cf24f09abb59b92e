#ifndef TUZUTIL_TESTS_PURECALL_H
#define TUZUTIL_TESTS_PURECALL_H

// Calls of a "pure" function by a class that does not override it. A debug build of the library ends the process there
// and names both; `call` then runs in a process of its own. Other builds go on, and `call` runs in this one.

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
