// A library that says when it is loaded. check_privileged.py names it in environment variables.

#include <cstdio>

namespace {

struct TIntruder {
    TIntruder() { std::puts("intruder loaded"); }
} fsIntruder;

} // namespace
