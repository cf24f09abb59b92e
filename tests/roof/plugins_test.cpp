// Plug-ins: libraries that a program loads and unloads by the functions of the system. When a library is unloaded,
// nothing in tuzutil may refer to it any more.

#include "plugin.h"

#include "support/CaptureTrace.h"
#include "support/Environment.h"
#include "support/Module.h"
#include "tuzutil/MSGSTORE.h"
#include "tuzutil/SHAREMEM.h"
#include "tuzutil/TIMER.h"
#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TRACEP.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

namespace {

TTrace::Category const fsSession(8, "Session");
TTextMessage::StoreID const fsStoreName(TString("Plugin"), ExplicitInit);

// Tests of this suite may run at the same time, so each has names of its own, the same in every run in this folder.
class PlugIn : public testing::Test {
protected:
    std::string const fLockName = std::string("tuzutil.plugin.") +
                                  testing::UnitTest::GetInstance()->current_test_info()->name() + "." +
                                  std::to_string(std::hash<std::string>()(std::filesystem::current_path().string()));
    std::string const fBlockName = fLockName + ".memory";
    TEnvironment const fName{fsNameOfLock, fLockName.c_str()};

    void Use(TPluginReport &report);
    void ExpectNothingIsLeft(TPluginReport &report);
};

bool HasFactory() {
    TTraceFactoryLoader *const loader = TTraceFactoryLoader::GetInstance();
    for (unsigned long i = 0; TTraceFactory *const factory = loader->Find(i); ++i)
        if (TString(factory->QueryType().QueryName()) == TString("pluginkeyword"))
            return true;
    return false;
}

void PlugIn::Use(TPluginReport &report) {
    TModule const module("plugin", true);
    ASSERT_TRUE(module.IsLoaded());
    auto const tell = reinterpret_cast<TTellPlugin>(module.Find("TellPlugin"));
    ASSERT_NE(tell, nullptr);
    tell(&report);
    EXPECT_GE(report.written, 1);
    int const written = report.written;
    TTracePoint::Write(TTrace::error, fsSession, "file", "text");
    EXPECT_GT(report.written, written);
    { TCapture const another(4, 8); }
    EXPECT_GE(report.notified, 4);
    EXPECT_NE(TTrace::FindCategory("Plugin"), nullptr);
    EXPECT_EQ(TTextMessage(fsStoreName, 1, 1, "default").QueryMessage(), TString("text of the plug-in"));
    EXPECT_TRUE(HasFactory());
    EXPECT_EQ(ipcSharedMemory(fBlockName.c_str()).rdstate(), 0);
    TTrace const made("pluginkeyword(x),er");
    EXPECT_TRUE(made.QueryPointer());
}

void PlugIn::ExpectNothingIsLeft(TPluginReport &report) {
    ASSERT_FALSE(TModule::IsInMemory("plugin"));
    EXPECT_EQ(report.destroyed, 1);
    int const written = report.written;
    int const notified = report.notified;
    EXPECT_EQ(TTrace::FindCategory("Plugin"), nullptr);
    EXPECT_EQ(TTextMessageStore::Find(fsStoreName), nullptr);
    EXPECT_EQ(TTextMessage(fsStoreName, 1, 1, "default").QueryMessage(), TString("default"));
    EXPECT_FALSE(HasFactory());
    EXPECT_NE(ipcSharedMemory(fBlockName.c_str()).rdstate(), 0);
    TTracePoint::Write(TTrace::error, fsSession, "file", "text");
    { TCapture const another(4, 8); }
    TMutexSemaphore named(fLockName.c_str());
    EXPECT_EQ(TMutexSemaphoreEntry(named, 0).State(), TMutexSemaphore::Locked);
    TReference<TSemaphore> const event(new TSemaphore);
    TTimer timer(event);
    timer.Set(std::chrono::milliseconds(1)); // the thread of the timers looks at all of them
    EXPECT_EQ(event->Wait(15000), 0);
    EXPECT_EQ(report.event->Wait(0), 1);
    EXPECT_EQ(report.written, written);
    EXPECT_EQ(report.notified, notified);
}

} // namespace

TEST_F(PlugIn, LeavesNothingBehindWhenItIsUnloaded) {
    for (int i = 0; i < 20; ++i) {
        SCOPED_TRACE(i);
        TPluginReport report;
        report.event = new TSemaphore;
        Use(report);
        ExpectNothingIsLeft(report);
    }
    EXPECT_FALSE(TTrace::IsGlobalTracing(TTrace::error, 8));
}

TEST_F(PlugIn, MayBeUnloadedWhileOtherThreadsTrace) {
    std::atomic<bool> stop{false};
    std::atomic<int> rounds{0};
    auto const work = [&] {
        while (!stop) {
            TTracePoint::Write(TTrace::error, fsSession, "file", "%d", 17);
            TCapture const capture(4, 8);
            TMutexSemaphore lock;
            TMutexSemaphoreEntry const entry(lock, TMutexSemaphore::fsInfinite);
            ++rounds;
        }
    };
    std::thread first(work);
    std::thread second(work);
    for (int i = 0; i < 20; ++i) {
        TPluginReport report;
        report.event = new TSemaphore;
        {
            TModule const module("plugin", true);
            ASSERT_TRUE(module.IsLoaded());
            reinterpret_cast<TTellPlugin>(module.Find("TellPlugin"))(&report);
            int const before = rounds;
            while (rounds < before + 20)
                std::this_thread::yield();
        }
        ASSERT_FALSE(TModule::IsInMemory("plugin"));
        EXPECT_EQ(report.destroyed, 1);
        EXPECT_GT(report.written, 0);
    }
    stop = true;
    first.join();
    second.join();
}

// A library that a factory loader or a TDll has loaded stays, so its objects are destroyed at the end of the process.
TEST_F(PlugIn, StaysIfTheProgramDoesNotUnloadIt) {
    TPluginReport report;
    report.event = new TSemaphore;
    {
        TModule const module("plugin", false);
        ASSERT_TRUE(module.IsLoaded());
    }
    EXPECT_TRUE(TModule::IsInMemory("plugin"));
    EXPECT_TRUE(HasFactory());
    EXPECT_EQ(report.destroyed, 0);
}
