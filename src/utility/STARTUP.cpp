// Every global object of the library, in the order of construction, and nothing else. Within one source file objects
// are built in the order of their definitions and destroyed in reverse; no other source has an object that needs code
// to run at start-up.

#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TRACE.h"
#include "tuzutil/TXTMSG.h"
#include "tuzutil/VERSION.h"

#include <ios>
#include <new>

// 1. The standard streams, which destinations of trace entries write to until the very end.
static std::ios_base::Init fsStandardStreams;

// 2. The words that every trace point tests. Constants until a destination opens: usable before anything is built.
constinit TTraceWord TTrace::Base::fsRuntimeLevel;
constinit TTraceWord TTrace::Base::fsRuntimeComponent;

// 3. The library's categories. Every failure that is thrown names one.
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

// 4. The version; the pointer to it stays null.
static TVersion fsVersion(0, 1);
constinit TVersion *TVersion::fsOnly = nullptr;

// 5. The lock of weak references. Objects that end later than the library's own still drop references: it is built in
// memory that nobody destroys.
alignas(TMutexSemaphore) static unsigned char fsWeakReferenceMemory[sizeof(TMutexSemaphore)];
TMutexSemaphore &TWeakReferenceLock::fsSem = *new (fsWeakReferenceMemory) TMutexSemaphore;

// 5. Messages: the mark that ends their argument lists, which needs nothing; and where they look for translated texts,
// null until an archive is built.
TagVar const TTextMessage::fsEndOfArgs(TagVar::endOfArgs);
constinit TTextMessageArchive *TTextMessageArchive::fsArchive = nullptr;
