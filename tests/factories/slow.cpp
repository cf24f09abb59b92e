// Takes its time to load.

#include "counting.h"

#include <chrono>
#include <thread>

static struct TDelay {
    TDelay() { std::this_thread::sleep_for(std::chrono::milliseconds(100)); }
} fsDelay;
static TNumberedFactory fsFactory("slow", 0x10000007);
