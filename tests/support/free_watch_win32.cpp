#include "support/FreeWatch.h"

#include "support/ImportTable.h"

#include <cstdlib>

namespace {

void WatchedFree(void *block) {
    NoteFree(block);
    std::free(block);
}

bool const fsInstalled = ReplaceImport("tuzutil.dll", "free", reinterpret_cast<void *>(&WatchedFree));

} // namespace
