// Every global object of the library, in the order of construction, and nothing else. Within one source file objects
// are built in the order of their definitions and destroyed in reverse; no other source has an object that needs code
// to run at start-up. What objects of other libraries may still use at their own end is immortal.

#include "tuzutil/DIRECTRY.h"
#include "tuzutil/FACTORY.h"
#include "tuzutil/FILENAME.h"
#include "tuzutil/MSGSTORE.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/NLSRESRC.h"
#include "tuzutil/TRACE.h"
#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TRACESET.h"
#include "tuzutil/TRACESTR.h"
#include "tuzutil/TREFCNT.h"
#include "tuzutil/VERSION.h"
#include "utility/destinations/configuration_fault.h"
#include "utility/destinations/trace_configuration.h"
#include "utility/factories/library_path.h"
#include "utility/files/search_table.h"
#include "utility/immortal.h"
#include "utility/kernel/last_word.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/trace_observers.h"
#include "utility/kernel/trace_registry.h"
#include "utility/threads/forks.h"
#include "utility/threads/timer_thread.h"

#include <clocale>
#include <ios>

// 1. The standard streams, which destinations of trace entries write to until the very end.
static std::ios_base::Init fsStandardStreams;

// 2. The words that every trace point tests, the chain of destinations and the registry of categories. Constants:
// usable before anything is built and after everything is gone.
constinit TTraceWord TTrace::Base::fsRuntimeLevel;
constinit TTraceWord TTrace::Base::fsRuntimeComponent;
constinit TTrace::Base *TTrace::Base::fsAnchor = nullptr;
constinit TTraceSetKnown TTrace::Base::fsKnownCategories;

// 3. The locks: that of weak references, the trace lock, that of the registry's categories, and that of the observers
// with their set. Needed by every destination and every counted object, whoever's static object it is.
static TImmortal<TMutexSemaphore> fsWeakReferenceLock;
TMutexSemaphore &TWeakReferenceLock::fsSem = fsWeakReferenceLock.Get();
static TImmortal<TMutexSemaphore> fsTraceLock;
TMutexSemaphore &TTrace::Base::fsMutex = fsTraceLock.Get();
static TImmortal<TMutexSemaphore> fsRegistryLock;
TMutexSemaphore &TTraceRegistry::fsMutex = fsRegistryLock.Get();
static TImmortal<TMutexSemaphore> fsObserversLock;
TMutexSemaphore &TTraceObservers::fsMutex = fsObserversLock.Get();
static TImmortal<TSetOfCopy<TElemPointer<TTraceNotify>>> fsObservers;
TSetOfCopy<TElemPointer<TTraceNotify>> &TTraceObservers::fsSet = fsObservers.Get();

// 4. The library's categories. Every failure that is thrown names one.
TTrace::Category const TUtilityTraceCategory::TagVar(1, "TagVar");
TTrace::Category const TUtilityTraceCategory::NLSResource(1, "NLSResource");
TTrace::Category const TUtilityTraceCategory::Message(1, "Message");
TTrace::Category const TUtilityTraceCategory::Trace(1, "Trace");
TTrace::Category const TUtilityTraceCategory::Queue(1, "Queue");
TTrace::Category const TUtilityTraceCategory::Utility(1, "Utility");
TTrace::Category const TUtilityTraceCategory::String(1, "String");
TTrace::Category const TUtilityTraceCategory::Factory(1, "Factory");
TTrace::Category const TUtilityTraceCategory::CrtMsg(1, "CRTmsg");
TTrace::Category const TUtilityTraceCategory::MemStream(1, "MemStream");
TTrace::Category const TUtilityTraceCategory::OleStream(1, "OleStream");
TTrace::Category const TUtilityTraceCategory::Directory(1, "Directory");

// 5. The version; the pointer to it stays null.
static TVersion fsVersion(0, 1);
constinit TVersion *TVersion::fsOnly = nullptr;

// 6. Messages: the mark that ends their argument lists, which needs nothing; and the archive of their stores with its
// lock. Messages may look for the archive before it is built and when it is gone, and have their default texts then; a
// thread that is just looking finds it whole.
TagVar const TTextMessage::fsEndOfArgs(TagVar::endOfArgs);
constinit TTextMessageArchive *TTextMessageArchive::fsArchive = nullptr;
static TImmortal<TMutexSemaphore> fsArchiveLock;
TMutexSemaphore &TTextMessageArchive::fsMutex = fsArchiveLock.Get();
static TImmortal<TTextMessageArchive> fsMessageArchive;
static struct TArchiveEnd {
    ~TArchiveEnd() { TTextMessageArchive::fsArchive = nullptr; }
} fsArchiveEnd;

// 7. File names: the separators of their parts. Directories: the searches that are open.
TString const TFileName::fsDelimLocal("\\");
TString const TFileName::fsDelimUnicode(u"\\");
TString const TDirectory::fsSeparator("\\");
static TImmortal<TFindTable> fsFindTable;
TFindTable &TFindTable::fsOnly = fsFindTable.Get();

// 8. Languages: the settings of the search for texts; and the locale of the process, once, from the environment.
TString const TSearchNLSPath::fsLang_C("C");
TString const TSearchNLSPath::fsDefaultLocale("English");
TString TSearchNLSPath::fsLang(TSearchNLSPath::fsLang_C);
TString TSearchNLSPath::fsNLSpath("%E\\%L\\%N;%E\\%N;");
[[maybe_unused]] static char const *const fsLocale = std::setlocale(LC_ALL, "");

// 9. Trace destinations: the lock that keeps lines whole; the directories of factory libraries, with their lock, and
// the loader of trace factories, which is built when it is asked for; the program's name, from which that of a trace
// file comes.
static TImmortal<TMutexSemaphore> fsTraceFileLock;
TMutexSemaphore &TTraceStreamBase::fsFileMutex = fsTraceFileLock.Get();
static TImmortal<TString> fsFactoryLibpath;
TString &TFactoryLoaderBase::fsLibpath = fsFactoryLibpath.Get();
static TImmortal<TMutexSemaphore> fsLibpathLock;
TMutexSemaphore &TLibpath::fsMutex = fsLibpathLock.Get();
constinit TTraceFactoryLoader *TTraceFactoryLoader::fsOnlyInstance = nullptr;
static TImmortal<TString> fsProgramName;
TString &TTrace::fsExeFileName = fsProgramName.Get();

// 10. Timers: their lock, and nothing armed; the thread comes with the first timer, whoever's static object that is.
static TImmortal<TMutexSemaphore> fsTimerLock;
TMutexSemaphore &TMasterTimer::fsLock = fsTimerLock.Get();
constinit TTimerQueue TMasterTimer::fsArmed;
constinit std::uint32_t TMasterTimer::fsCount = 0;
constinit TMasterTimer *TMasterTimer::fsOnly = nullptr;
constinit bool TMasterTimer::fsIsOver = false;

// 11. Forks, which wait for the locks of 3 and 10 from now on.
static bool const fsForksAreFollowed = TForks::Follow();

// 12. From its end on no trace point finds a listener, whatever still runs.
static struct TSilence {
    ~TSilence() {
        TTrace::Base::fsRuntimeLevel = 0;
        TTrace::Base::fsRuntimeComponent = 0;
    }
} fsSilence;

// 13. The destination that the environment asks for. It hears what happens from here on, and needs all of the above.
static TStartupTrace const fsStartupTrace(OpenStartupTrace());
[[maybe_unused]] static bool const fsSaysSo =
    fsForksAreFollowed ||
    (TReporter(TUtilityTraceCategory::Utility, "src/utility/STARTUP").Error("Unable to follow forks"), false);

// 14. The last words of a program that ends by an exception of the library.
constinit std::terminate_handler TLastWords::fsFormer = nullptr;
static TLastWords const fsLastWords;

// 15. Built last, so destroyed first: no thread of the library's own runs while the rest is destroyed.
static struct TTimersEnd {
    ~TTimersEnd() { TMasterTimer::Shutdown(); }
} fsTimersEnd;
