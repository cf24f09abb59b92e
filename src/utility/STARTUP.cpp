// Defines all global objects of the library that need code at start-up, in the order of construction. They are in one
// source file, because C++ fixes the order of construction only within a file. The objects are destroyed in reverse
// order, except those that are wrapped in a TImmortal. These are never destroyed, so static objects of other libraries
// can use them in their destructors (see immortal.h). A reference to a wrapped object is initialised by a cast of the
// TImmortal. This cast needs no code at start-up.

#include "tuzutil/DIRECTRY.h"
#include "tuzutil/FACTORY.h"
#include "tuzutil/FILENAME.h"
#include "tuzutil/MSGSTORE.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/NLSRESRC.h"
#include "tuzutil/RELEASE.h"
#include "tuzutil/TRACE.h"
#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TRACESET.h"
#include "tuzutil/TRACESTR.h"
#include "tuzutil/TREFCNT.h"
#include "tuzutil/VERSION.h"
#include "utility/destinations/configuration_fault.h"
#include "utility/destinations/trace_configuration.h"
#include "utility/factories/factory_registry.h"
#include "utility/factories/library_path.h"
#include "utility/files/search_table.h"
#include "utility/forks.h"
#include "utility/immortal.h"
#include "utility/kernel/last_word.h"
#include "utility/kernel/reporter.h"
#include "utility/kernel/trace_observers.h"
#include "utility/kernel/trace_registry.h"
#include "utility/threads/timer_thread.h"

#include <clocale>
#include <ios>

// Gives an object the earliest priority that is not reserved for the compiler, which is 101. Therefore, in a program
// that is linked with the static library, the library's objects are built before the program's objects and destroyed
// after them.
#define BUILT_FIRST [[gnu::init_priority(101)]]

// When a program is linked with the static library, an option of the linker names this function. Therefore the linker
// includes this file (see src/CMakeLists.txt).
// No test gets here: only the name of this function is used.
extern "C" void TuzutilIsLinked() {}

// 1. The standard streams. Trace destinations may write to them until the process ends.
BUILT_FIRST static std::ios_base::Init fsStandardStreams;

// 2. The two integers that every trace point tests, the chain of destinations, and the registry of categories. They are
// initialised at compile time, so they can be used before the objects below are built and after these are destroyed.
constinit TTraceWord TTrace::Base::fsRuntimeLevel;
constinit TTraceWord TTrace::Base::fsRuntimeComponent;
constinit TTrace::Base *TTrace::Base::fsAnchor = nullptr;
constinit TTraceSetKnown TTrace::Base::fsKnownCategories;

// 3. The locks of weak references, of tracing, of the registered categories and of the observers (see TRACENOT.h), and
// the set of the observers. These objects are never destroyed, because trace destinations, categories and counted
// objects need them, and a static object of any library may be one of these.
BUILT_FIRST static TImmortal<TMutexSemaphore> fsWeakReferenceLock;
TMutexSemaphore &TWeakReferenceLock::fsSem = reinterpret_cast<TMutexSemaphore &>(fsWeakReferenceLock);
BUILT_FIRST static TImmortal<TMutexSemaphore> fsTraceLock;
TMutexSemaphore &TTrace::Base::fsMutex = reinterpret_cast<TMutexSemaphore &>(fsTraceLock);
BUILT_FIRST static TImmortal<TMutexSemaphore> fsRegistryLock;
TMutexSemaphore &TTraceRegistry::fsMutex = reinterpret_cast<TMutexSemaphore &>(fsRegistryLock);
BUILT_FIRST static TImmortal<TMutexSemaphore> fsObserversLock;
TMutexSemaphore &TTraceObservers::fsMutex = reinterpret_cast<TMutexSemaphore &>(fsObserversLock);
BUILT_FIRST static TImmortal<TSetOfCopy<TElemPointer<TTraceNotify>>> fsObservers;
TSetOfCopy<TElemPointer<TTraceNotify>> &TTraceObservers::fsSet =
    reinterpret_cast<TSetOfCopy<TElemPointer<TTraceNotify>> &>(fsObservers);

// 4. The library's categories. Every exception that the library throws needs a category.
BUILT_FIRST TTrace::Category const TUtilityTraceCategory::TagVar(1, "TagVar");
BUILT_FIRST TTrace::Category const TUtilityTraceCategory::NLSResource(1, "NLSResource");
BUILT_FIRST TTrace::Category const TUtilityTraceCategory::Message(1, "Message");
BUILT_FIRST TTrace::Category const TUtilityTraceCategory::Trace(1, "Trace");
BUILT_FIRST TTrace::Category const TUtilityTraceCategory::Queue(1, "Queue");
BUILT_FIRST TTrace::Category const TUtilityTraceCategory::Utility(1, "Utility");
BUILT_FIRST TTrace::Category const TUtilityTraceCategory::String(1, "String");
BUILT_FIRST TTrace::Category const TUtilityTraceCategory::Factory(1, "Factory");
BUILT_FIRST TTrace::Category const TUtilityTraceCategory::CrtMsg(1, "CRTmsg");
BUILT_FIRST TTrace::Category const TUtilityTraceCategory::MemStream(1, "MemStream");
BUILT_FIRST TTrace::Category const TUtilityTraceCategory::OleStream(1, "OleStream");
BUILT_FIRST TTrace::Category const TUtilityTraceCategory::Directory(1, "Directory");

// 5. The version. The pointer TVersion::fsOnly stays null (see VERSION.h).
BUILT_FIRST static TVersion fsVersion(TUZUTIL_VERSION_MAJOR, TUZUTIL_VERSION_MINOR);
constinit TVersion *TVersion::fsOnly = nullptr;

// 6. Messages: the value that ends their argument lists, and the archive of their stores with its lock. The pointer
// fsArchive is null until the archive is built, and the destructor of fsArchiveEnd makes it null again. While it is
// null, messages use their default texts. The archive itself is never destroyed, because another thread may be
// searching it.
BUILT_FIRST TagVar const TTextMessage::fsEndOfArgs(TagVar::endOfArgs);
constinit TTextMessageArchive *TTextMessageArchive::fsArchive = nullptr;
BUILT_FIRST static TImmortal<TMutexSemaphore> fsArchiveLock;
TMutexSemaphore &TTextMessageArchive::fsMutex = reinterpret_cast<TMutexSemaphore &>(fsArchiveLock);
BUILT_FIRST static TImmortal<TTextMessageArchive> fsMessageArchive;
BUILT_FIRST static struct TArchiveEnd {
    ~TArchiveEnd() { TTextMessageArchive::fsArchive = nullptr; }
} fsArchiveEnd;

// 7. The separators in file names, and the table of open directory searches.
BUILT_FIRST TString const TFileName::fsDelimLocal("\\");
BUILT_FIRST TString const TFileName::fsDelimUnicode(u"\\");
BUILT_FIRST TString const TDirectory::fsSeparator("\\");
BUILT_FIRST static TImmortal<TFindTable> fsFindTable;
TFindTable &TFindTable::fsOnly = reinterpret_cast<TFindTable &>(fsFindTable);

// 8. Languages: the settings of the search for libraries of texts (see NLSRESRC.h). The locale of the process is set
// here, once, from the environment.
BUILT_FIRST TString const TSearchNLSPath::fsLang_C("C");
BUILT_FIRST TString const TSearchNLSPath::fsDefaultLocale("English");
BUILT_FIRST TString TSearchNLSPath::fsLang(TSearchNLSPath::fsLang_C);
BUILT_FIRST TString TSearchNLSPath::fsNLSpath("%E\\%L\\%N;%E\\%N;");
BUILT_FIRST static struct TLocale {
    TLocale() { std::setlocale(LC_ALL, ""); }
} fsLocale;

// 9. Trace destinations: the lock that guards the streams of all TTraceStreamBase destinations, the directories of
// factory libraries with their lock, and the lock of all registered factories. The loader of trace factories is built
// at its first use, so only the pointer to it is here. The last object is the program's file name, from which the
// default name of a trace file is made.
BUILT_FIRST static TImmortal<TMutexSemaphore> fsTraceFileLock;
TMutexSemaphore &TTraceStreamBase::fsFileMutex = reinterpret_cast<TMutexSemaphore &>(fsTraceFileLock);
BUILT_FIRST static TImmortal<TString> fsFactoryLibpath;
TString &TFactoryLoaderBase::fsLibpath = reinterpret_cast<TString &>(fsFactoryLibpath);
BUILT_FIRST static TImmortal<TMutexSemaphore> fsLibpathLock;
TMutexSemaphore &TLibpath::fsMutex = reinterpret_cast<TMutexSemaphore &>(fsLibpathLock);
BUILT_FIRST static TImmortal<TMutexSemaphore> fsFactoriesLock;
TMutexSemaphore &TFactoryRegistry::fsMutex = reinterpret_cast<TMutexSemaphore &>(fsFactoriesLock);
constinit TTraceFactoryLoader *TTraceFactoryLoader::fsOnlyInstance = nullptr;
BUILT_FIRST static TImmortal<TString> fsProgramName;
TString &TTrace::fsExeFileName = reinterpret_cast<TString &>(fsProgramName);

// 10. Timers: their lock and their state. No timer is armed yet. The first timer, which may be a static object of any
// library, starts the thread that serves all timers.
BUILT_FIRST static TImmortal<TMutexSemaphore> fsTimerLock;
TMutexSemaphore &TMasterTimer::fsLock = reinterpret_cast<TMutexSemaphore &>(fsTimerLock);
constinit TTimerQueue TMasterTimer::fsArmed;
constinit TTimerQueue TMasterTimer::fsSteady;
constinit std::int64_t TMasterTimer::fsWakeTime = 0;
constinit bool TMasterTimer::fsMissesCalendar = false;
constinit std::uint32_t TMasterTimer::fsCount = 0;
constinit TMasterTimer *TMasterTimer::fsOnly = nullptr;
constinit bool TMasterTimer::fsIsOver = false;
constinit bool TMasterTimer::fsAreTimersLost = false;

// 11. If TForks::Follow() succeeds, the locks that forks.cpp names are taken before each fork of the process
// from now on.
BUILT_FIRST static struct TFollowedForks { bool const fAreFollowed = TForks::Follow(); } fsForks;

// 12. The destructor of this object clears the integers that trace points test. After that, no trace point writes,
// unless somebody adds or removes a destination or changes its settings: each of these sets the integers again.
BUILT_FIRST static struct TSilence {
    ~TSilence() {
        TTrace::Base::fsRuntimeLevel = 0;
        TTrace::Base::fsRuntimeComponent = 0;
    }
} fsSilence;

// 13. The destination that the environment names. It needs all of the above, and receives the entries from here on. If
// TForks::Follow() failed (see 11), fsForksReport traces this only now, because no destination existed before.
BUILT_FIRST static TStartupTrace const fsStartupTrace(OpenStartupTrace());
BUILT_FIRST static struct TForksReport {
    TForksReport() {
        // No test gets here: memory would have to be lacking while the program starts.
        if (!fsForks.fAreFollowed)
            TReporter(TUtilityTraceCategory::Utility, "src/utility/STARTUP").Error("Unable to follow forks");
    }
} fsForksReport;

// 14. The handler that reports an uncaught exception of the library before the program ends.
constinit std::terminate_handler TLastWords::fsFormer = nullptr;
BUILT_FIRST static TLastWords const fsLastWords;

// 15. This object is built last and so destroyed first. Its destructor ends the thread of the timers, because no thread
// of the library should run while the other objects are destroyed. If the system has already ended all other threads,
// the destructor does nothing.
BUILT_FIRST static struct TTimersEnd {
    ~TTimersEnd() { TMasterTimer::Shutdown(); }
} fsTimersEnd;
