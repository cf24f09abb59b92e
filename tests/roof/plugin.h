#ifndef TUZUTIL_TESTS_PLUGIN_H
#define TUZUTIL_TESTS_PLUGIN_H

// What the library "plugin" tells the suite of plug-ins, which owns this object and outlives the library.

#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TREFCNT.h"

#include <atomic>

struct TPluginReport {
    std::atomic<int> written{0};   // entries that the library's destination has received
    std::atomic<int> notified{0};  // calls of the library's observer
    std::atomic<int> destroyed{0}; // how often the first static object was destroyed, which goes last
    TReference<TSemaphore> event;  // the timer of the library posts it
};

// The environment variable with the name of the library's lock. ".memory" behind it is the name of its block.
inline constexpr char fsNameOfLock[] = "TUZUTIL_PLUGIN";

using TTellPlugin = void (*)(TPluginReport *report); // sets the report, and starts the timer

#endif
