#ifndef TUZUTIL_TESTS_STARTUP_OBJECTS_H
#define TUZUTIL_TESTS_STARTUP_OBJECTS_H

// A static object that uses the families of the library when it is built and when it is destroyed: strings, values,
// messages with a store, categories, trace points, destinations, observers, factories, directories, languages, locks,
// events and timers. It also remembers something in each object of the library that can hold something. If the library
// built that object only later, this would be lost, and the destructor would miss it.

#include "tuzutil/DIRECTRY.h"
#include "tuzutil/EXCEPTN.h"
#include "tuzutil/FILENAME.h"
#include "tuzutil/MSGSTORE.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/NLSRESRC.h"
#include "tuzutil/TAGVAR.h"
#include "tuzutil/TIMER.h"
#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TRACENOT.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TRACESTR.h"
#include "tuzutil/TREFCNT.h"
#include "tuzutil/TXTMSG.h"
#if defined(TUZUTIL_TEST_STATIC)
#include "utility/factories/factory_registry.h"
#include "utility/factories/library_path.h"
#include "utility/kernel/trace_observers.h"
#include "utility/kernel/trace_registry.h"
#endif

#include <chrono>
#include <clocale>
#include <cstring>
#include <exception>
#include <sstream>

// Answers with its name.
class TStaticStore : public TTextMessageStore {
public:
    explicit TStaticStore(TString const &name) : TTextMessageStore(TTextMessage::StoreID(name, ExplicitInit)) {}
    using TTextMessageStore::GetMsg;
    TString GetMsg(long, long, int) override { return Key(); }
};

class TStaticFactory : public TTraceFactory {
public:
    explicit TStaticFactory(TString const &name) : TTraceFactory(name) {}
};

class TStaticObserver : public TTraceNotify {
public:
    void Notify() override { ++fCount; }
    int fCount = 0;
};

class TStaticUser {
public:
    explicit TStaticUser(char const *name)
        : fName(name), fCategory(8, name), fStore(fName), fFactory(fName + "[]"), fEvent(new TSemaphore),
          fTimer(fEvent), fValue(fName), fFolder(".") {
        Prepare();
        Work("built");
    }
    // main() calls this function.
    void CheckHandler() const { Check(std::get_terminate() == fHandler, "another handler of uncaught exceptions"); }
    ~TStaticUser() {
        Check(fFolder.FindNext(&fIsFolder).length() > 0, "the search is lost");
        Work("destroyed");
    }

private:
    // Traces an entry that no test expects if something is not right.
    void Check(bool isRight, char const *what) const {
        if (!isRight)
            TTracePoint::Write(TTrace::error, fCategory, "startup", "wrong: %s", what);
    }

    // What the destructor must not do first, because it may run while the system unloads tuzutil: a first timer starts
    // a thread.
    void Prepare() {
        fTimer.Set(3600);
        fEvent->Post();
        TFactoryLoaderBase::AddLibpath(fName);
        TSearchNLSPath::AddNLSpath(fName);
        TTrace::QueryExeFileName();
        // The current folder, which is that of the build, has at least two entries.
        Check(fFolder.FindFirst(&fIsFolder).length() > 0, "there is no entry");
    }

    void Work(char const *what) {
        TString const text = fName + " " + what;
        TTracePoint::Write(TTrace::error, fCategory, "startup", "%s: %d", text, text.length());
        try {
            text.subString(0);
        } catch (TInvalidRequest &problem) {
            TTracePoint::Write(TTrace::warning, TUtilityTraceCategory::String, "startup", "caught: %s",
                               problem.text(0));
        }
        CheckTraces();
        CheckTexts();
        CheckLocks();
        CheckFiles();
        CheckStatic();
    }

    void CheckTraces() {
        Check(TTrace::FindCategory(fName) == &fCategory, "the category is not found");
        for (char const *own : {"TagVar", "NLSResource", "Message", "Trace", "Queue", "Utility", "String", "Factory",
                                "CRTmsg", "MemStream", "OleStream", "Directory"})
            Check(TTrace::FindCategory(own) != nullptr, own);
        Check(std::strcmp(TUtilityTraceCategory::Directory.QueryString(), "Directory") == 0, "a category has no name");
        int const count = fObserver.fCount;
        std::ostringstream out;
        {
            TTraceStream trace(out);
            TTracePoint::Write(TTrace::error, fCategory, "startup", "to the stream: %d", 17);
        }
        Check(out.str().find("to the stream: 17") != std::string::npos, "the destination has got nothing");
        Check(fObserver.fCount > count, "the observer is not called");
        Check(TTraceFactory::GetLoader()->Find(fName + "[]") == &fFactory, "the factory is not found");
        Check(std::strstr(TFactoryLoaderBase::fsLibpath, fName) != nullptr, "the folder of libraries is lost");
        Check(TTrace::QueryExeFileName().length() > 0, "the name of the program is lost");
    }

    void CheckTexts() {
        Check(fValue.IsEqual(TagVar(fName)) != 0, "a value");
        TTextMessage const message(fStore.QueryStoreID(), 1, 1, "default");
        Check(message.QueryMessage() ==
                  (IsArchiveExpected() || TTextMessageArchive::fsArchive ? fName : TString("default")),
              "a text");
        TagVar const number(17);
        TTextMessage const listed("%d", &number, &TTextMessage::fsEndOfArgs, &number);
        Check(listed.QueryMessage() == TString("17"), "a message with a list of arguments");
        Check(TTextMessage::fsEndOfArgs.IsEndOfArgs() != 0, "the end of arguments");
        Check(TSearchNLSPath::QueryLang() == TSearchNLSPath::fsLang_C, "the language");
        Check(TSearchNLSPath::fsLang_C == TString("C"), "the name of no language");
        Check(TSearchNLSPath::fsDefaultLocale == TString("English"), "the name of the usual language");
        Check(std::strstr(TSearchNLSPath::fsNLSpath, fName) != nullptr &&
                  std::strstr(TSearchNLSPath::fsNLSpath, "%E\\%L\\%N;%E\\%N;") != nullptr,
              "the template of language libraries");
        Check(std::strcmp(std::setlocale(LC_CTYPE, nullptr), "C") != 0, "the locale");
    }

    void CheckLocks() {
        Check(TWeakReferenceLock::fsSem.GetHandle() && TTrace::Base::fsMutex.GetHandle() &&
                  TTraceStreamBase::fsFileMutex.GetHandle(),
              "a lock of the library is not made");
        Check(fLock.try_lock(), "the lock is not free");
        fLock.unlock();
        Check(fEvent->Wait(0) == 0, "the event is not posted");
        Check(fTimer.QueryTimeLeft() > 0, "the timer is not armed");
    }

    void CheckFiles() const {
        Check(TFileName("a", "b") == TFileName("a\\b"), "a name");
        Check(TFileName(u"a", u"b").QueryNameLocal() == TString("a\\b"), "a 16-bit name");
        Check(TDirectory::Combine("a", "b") == TString("a\\b"), "a path");
    }

    // What is certain only in a program with the static library: all objects of the library are there before those of
    // the program, and longer. The locks are those that no public header names.
    void CheckStatic() {
#if defined(TUZUTIL_TEST_STATIC)
        Check(TTraceRegistry::fsMutex.GetHandle() && TTraceObservers::fsMutex.GetHandle() &&
                  TLibpath::fsMutex.GetHandle() && TFactoryRegistry::fsMutex.GetHandle(),
              "an inner lock of the library is not made");
        TReference<TSemaphore> const posted(new TSemaphore);
        TTimer soon(posted);
        soon.Set(std::chrono::milliseconds(0));
        Check(posted->Wait(20000) == 0, "a timer does not post");
#endif
    }

    static constexpr bool IsArchiveExpected() {
#if defined(TUZUTIL_TEST_STATIC)
        return true;
#else
        return false; // a plug-in's object may be destroyed after the library's
#endif
    }

    TString fName;
    std::terminate_handler fHandler = std::get_terminate();
    TTrace::Category fCategory;
    TStaticStore fStore;
    TStaticFactory fFactory;
    TStaticObserver fObserver;
    TMutexSemaphore fLock;
    TReference<TSemaphore> fEvent;
    TTimer fTimer;
    TagVar fValue;
    TDirectory fFolder;
    int fIsFolder = 0;
};

#endif
