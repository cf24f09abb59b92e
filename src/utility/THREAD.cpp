// TThread: the start of a thread, its body and its end. TThreadLaunch starts the library's own threads. A running
// thread holds a reference to its object. A thread holds the lock fEnding while it reports the end of a run, or resets
// the report of the previous run. So a report and a reset never overlap.

#include "tuzutil/THREAD.h"

#include "platform/platform.h"
#include "tuzutil/PURETRAP.h"
#include "tuzutil/TRACEEXC.h"
#include "utility/kernel/drop_exceptions.h"
#include "utility/kernel/insistent_lock.h"
#include "utility/kernel/kept_code.h"
#include "utility/kernel/lock.h"
#include "utility/kernel/reporter.h"
#include "utility/threads/thread_launch.h"

#include <cassert>
#include <exception>

namespace {

TReporter const fsReports(TUtilityTraceCategory::Utility, "src/utility/THREAD");
constexpr std::uintptr_t fsNoHandle = ~std::uintptr_t{0};

// The starting thread passes this object to the new thread. The object is on the stack of the starting thread, which
// waits until `started` is posted.
struct TStart {
    TThread &thread;
    platform::Event *started;
};

// Traces an exception that left the body of a thread. If the full text cannot be made, traces only the name of the
// exception. This function does not throw, because an exception would keep the thread from ending in order.
void TraceEscaped(TException const &problem) noexcept {
    if (!TTrace::IsGlobalTracing(TTrace::severe, TUtilityTraceCategory::Utility.QueryComponent()))
        return;
    // No test gets here: the text of the exception would have to be the first for which memory is lacking.
    if (!DropExceptions([&] { fsReports.Severe("Caught: %s", TTraceException::FormatException(problem)); }))
        fsReports.Severe("Caught: %s", problem.name());
}

} // namespace

TThread::TThread() : fHandle(fsNoHandle), fSignal(new TSemaphore) {}

TThread::TThread(TThread const &other) : TRefCounted(other), fSignal(other.fSignal) {
    *this = other;
}

TThread &TThread::operator=(TThread const &other) {
    // No test gets here: the assertion would end the process.
    assert(!other.IsRunning());
    TRefCounted::operator=(other);
    fHandle = other.fHandle;
    fId = other.fId;
    fSignal = other.fSignal;
    fFinished = other.fFinished.load();
    fRunning = other.fRunning.load();
    fStackSize = other.fStackSize;
    fResult = other.fResult.load();
    return *this;
}

TThread::~TThread() = default;

int TThread::Run() {
    return TPureCall::Trap(*this, "TThread::Run()");
}

// The new thread adds two references before it posts `started`: its own, and one for the starting thread. Run() may
// return, and all other users may release the object, before the starting thread wakes up. The reference for the
// starting thread keeps the object from being destroyed in that time.
int TThread::Start() {
    // If nobody else has a reference to the object when the thread ends, the thread deletes the object. So an object
    // without references must be made by new.
    if (QueryReferenceCount() == 0) {
        platform::TAnswer const isOnStack = platform::IsOnStack(this);
        if (isOnStack == platform::TAnswer::yes || platform::IsInImage(this))
            fsReports.Raise<TInvalidRequest>("Thread object without a reference is not allocated by new");
        if (isOnStack == platform::TAnswer::unknown) {
            TKeptCode const kept; // keeps the error code, because callers may ask the system for it
            TThreadLaunch::ReportNotStarted();
            return 1;
        }
    }
    assert(QueryReferenceCount() != 0);
    TStart start{*this, platform::NewEvent(false)};
    if (!start.started || !Begin(&TThreadLaunch::EnterAnnounced, &start, true)) {
        TKeptCode const kept; // keeps the error code, because callers may ask the system for it
        platform::DeleteEvent(start.started);
        TThreadLaunch::ReportNotStarted();
        return 1;
    }
    // The new thread uses `start` until it has posted, so a wait that fails is repeated.
    while (platform::WaitEvent(start.started, platform::waitForEver) == platform::TWaitResult::failed)
        ;
    platform::DeleteEvent(start.started);
    RemoveRef();
    return 0;
}

bool TThread::Begin(void (*entry)(void *), void *argument, bool takesSignals) {
    ForgetEnd();
    fHandle = platform::StartThread(entry, argument, takesSignals);
    if (fHandle == fsNoHandle)
        return false;
    fId = static_cast<std::uint32_t>(fHandle);
    return true;
}

// Resets the report of the end of the previous run.
void TThread::ForgetEnd() {
    TInsistentEntry const end(fEnding);
    fFinished.store(0, std::memory_order_release);
    fSignal->Clear();
}

int TThread::MainThread() {
    ForgetEnd();
    return RunBody(nullptr);
}

// The destructor reports the end of a run, even if the thread is being cancelled and the body has not returned.
struct TThread::TEnding {
    ~TEnding() {
        TInsistentEntry const end(thread.fEnding);
        thread.fFinished.store(1, std::memory_order_release);
        thread.fRunning.store(0, std::memory_order_release);
        thread.fSignal->Post();
    }
    TThread &thread;
};

int TThread::RunBody(void *started) {
    fResult.store(-1, std::memory_order_release);
    fRunning.store(1, std::memory_order_release);
    TEnding const ending{*this};
    if (started)
        platform::PostEvent(static_cast<platform::Event *>(started));
    try {
        fResult.store(Run(), std::memory_order_release);
    } catch (TException const &problem) {
        TraceEscaped(problem);
    } catch (...) {
        if (!std::current_exception()) // if there is no C++ exception, the system is unwinding the thread to end it
            throw;
        fsReports.Severe("Caught unknown exception");
    }
    return QueryResult();
}

void TThread::WaitForTermination(long timeout) {
    if (IsRunning())
        fSignal->Wait(timeout);
}

// The destructor releases the thread's reference to its object, even if the thread is being cancelled.
struct TThreadLaunch::THold {
    ~THold() { thread.RemoveRef(); }
    TThread &thread;
};

void TThreadLaunch::EnterAnnounced(void *argument) {
    auto &start = *static_cast<TStart *>(argument);
    TThread &thread = start.thread;
    thread.AddRef();
    thread.AddRef();
    THold const hold{thread};
    thread.RunBody(start.started);
}

void TThreadLaunch::Enter(void *argument) {
    THold const hold{*static_cast<TThread *>(argument)};
    hold.thread.RunBody(nullptr);
}

bool TThreadLaunch::HasAll(TThread &thread) {
    return thread.fSignal->Wait(0) >= 0 && TLock(thread.fEnding).State() == TMutexSemaphore::Locked;
}

void TThreadLaunch::ReportNotStarted() noexcept {
    fsReports.Error("Unable to start thread");
}

bool TThreadLaunch::StartUnannounced(TThread &thread) {
    thread.fRunning = 1;
    if (thread.Begin(&Enter, &thread, false))
        return true;
    thread.fRunning = 0;
    return false;
}
