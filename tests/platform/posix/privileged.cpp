// The program that check_privileged.py starts with raised privileges and without them. It opens the trace destination
// of the environment, takes a named lock and moves a stream to a temporary file. The folder for temporary files that
// the environment names is used if the system's own way to a temporary file fails, so the program has no tmpfile().

#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TMPSTRM.h"
#include "tuzutil/TRACE.h"
#include "tuzutil/TRACEP.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sys/auxv.h>

// Takes the place of the function of the C library, and fails.
extern "C" __attribute__((visibility("default"))) FILE *tmpfile() {
    errno = EACCES;
    return nullptr;
}

namespace {

TTrace::Category const fsCategory(8, "Privileged");

class TAlways : public TTempStreamTest {
public:
    int Test(TTempStreamBuf *) override { return 1; }
};

} // namespace

int main() {
    std::printf("secure %d\n", ::getauxval(AT_SECURE) != 0);
    {
        TTrace const trace("env");
        TTracePoint::Write(TTrace::error, fsCategory, {"privileged.cpp", 1}, "written");
    }
    TMutexSemaphore lock("tuzutil.privileged");
    TMutexSemaphoreEntry const entry(lock, 1000);
    std::printf("lock %d\n", entry.State() == TMutexSemaphore::Locked);
    TTempStream stream("privileged", new TAlways);
    stream << "text" << std::flush;
    for (int i = 0; i < 100000 && stream; ++i)
        stream << "more than the memory of the stream holds";
    std::printf("temporary file %d\n", stream.good());
    return 0;
}
