// A library with a static object of each kind that registers itself with tuzutil, or that tuzutil keeps a pointer to.

#include "plugin.h"

#include "tuzutil/MSGSTORE.h"
#include "tuzutil/SHAREMEM.h"
#include "tuzutil/TIMER.h"
#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TRACENOT.h"
#include "tuzutil/TRACEP.h"

#include <cstdlib>
#include <memory>
#include <string>

namespace {

std::atomic<TPluginReport *> fsReport{nullptr};

// The first object, so destroyed last.
struct TEnd {
    ~TEnd() {
        if (TPluginReport *const report = fsReport)
            ++report->destroyed;
    }
} fsEnd;

TTrace::Category const fsCategory(8, "Plugin");

class TStore : public TTextMessageStore {
public:
    TStore() : TTextMessageStore(TTextMessage::StoreID(TString("Plugin"), ExplicitInit)) {}
    using TTextMessageStore::GetMsg;
    TString GetMsg(long, long, int) override { return "text of the plug-in"; }
} fsStore;

class TDestination : public TTrace::Base {
public:
    TDestination() : Base(joinsLater, TTrace::error, 8) {}
    ~TDestination() override { Unlink(); }
    void Write(unsigned long, TTrace::Category const &, TTextMessage const &) override {
        if (TPluginReport *const report = fsReport)
            ++report->written;
    }
};
TTrace fsTrace = TTrace::Make<TDestination>();

class TFactoryOfPlugin : public TTraceFactory {
public:
    TFactoryOfPlugin() : TTraceFactory("pluginkeyword") {}
    TTrace CreateTrace(char const *) override { return TTrace::Make<TDestination>(); }
} fsFactory;

class TObserver : public TTraceNotify {
public:
    TObserver() : TTraceNotify(joinsLater) { Join(); }
    ~TObserver() override { Leave(); }
    void Notify() override {
        if (TPluginReport *const report = fsReport)
            ++report->notified;
    }
} fsObserver;

TMutexSemaphore fsLock;
std::string const fsName = std::getenv(fsNameOfLock);
TMutexSemaphore fsNamedLock(fsName.c_str());
TMutexSemaphoreEntry fsHeld(fsLock, TMutexSemaphore::fsInfinite); // held until the library is unloaded
ipcSharedMemory fsMemory((fsName + ".memory").c_str(), 100);
std::unique_ptr<TTimer> fsTimer;

class TCounted : public TWeakRefCounted {};
TReference<TCounted> fsCounted(new TCounted);

} // namespace

extern "C"
#if defined(_WIN32)
    __declspec(dllexport)
#else
    __attribute__((visibility("default")))
#endif
        void TellPlugin(TPluginReport *report) {
    fsReport = report;
    fsTimer = std::make_unique<TTimer>(report->event);
    fsTimer->Set(3600);
    TTracePoint::Write(TTrace::error, fsCategory, "plugin", "%d", 17);
}
