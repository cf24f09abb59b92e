// TThread itself has no body: only objects of classes that derive from it can be made.
// error: .*TThread::TThread.* is protected
// clang++ error: calling a protected constructor of class .TThread
#include "tuzutil/THREAD.h"

class TFetch : public TThread {
public:
    int Run() override { return 17; }
};

#if defined(WRONG)
using TMade = TThread;
#else
using TMade = TFetch;
#endif

int main() {
    TMade thread;
    return thread.MainThread() == 17 ? 0 : 1;
}
