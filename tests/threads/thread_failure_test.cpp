// Threads over a system that has none to give: this program has its own copy of the class, above a function that the
// tests direct.

#include "utility/THREAD.cpp"

#include "support/CaptureTrace.h"

#include <functional>
#include <thread>
#include <utility>

namespace {

bool fsHasThreads;
bool fsHasEvents = true;
int fsFailingWaits = 0;                // so many waits fail before the thread begins
std::function<void()> fsDelayed;       // the beginning of a thread that has not begun
constexpr std::uint32_t fsReason = 11; // why there is no thread
std::uint32_t fsLastError = 0;

class TTask : public TThread {
public:
    int Run() override { return 6; }
};

} // namespace

std::uintptr_t platform::StartThread(void (*body)(void *), void *argument, bool) noexcept {
    if (!fsHasThreads) {
        SetLastError(fsReason);
        return ~std::uintptr_t{0};
    }
    fsDelayed = [=] { std::thread(body, argument).join(); };
    if (fsFailingWaits == 0)
        std::exchange(fsDelayed, nullptr)();
    return 1;
}

std::uint32_t platform::LastError() noexcept {
    return fsLastError;
}
void platform::SetLastError(std::uint32_t error) noexcept {
    fsLastError = error;
}
platform::TAnswer platform::IsOnStack(void const *) noexcept {
    return TAnswer::no;
}
bool platform::IsInImage(void const *) noexcept {
    return false;
}

// An event is a word here: the thread above has ended before anybody waits, or ends while somebody waits.
struct platform::Event {
    bool isPosted;
};
platform::Event *platform::NewEvent(bool posted) noexcept {
    return fsHasEvents ? new Event{posted} : nullptr;
}
void platform::DeleteEvent(Event *event) noexcept {
    fsLastError = 0; // as a call of the system may do
    delete event;
}
bool platform::PostEvent(Event *event) noexcept {
    event->isPosted = true;
    return true;
}
platform::TWaitResult platform::WaitEvent(Event *event, std::uint32_t) noexcept {
    if (fsFailingWaits > 0)
        --fsFailingWaits;
    else if (fsDelayed)
        std::exchange(fsDelayed, nullptr)();
    return event->isPosted ? TWaitResult::done : TWaitResult::failed;
}

// The new thread uses variables on the stack of the starting thread.
TEST(ThreadFailure, OfTheWaitForTheBeginningDoesNotEndTheWait) {
    TReference<TTask> const task(new TTask);
    fsHasThreads = true;
    fsFailingWaits = 2;
    EXPECT_EQ(task->Start(), 0);
    EXPECT_FALSE(fsDelayed) << "the starting thread went on before the new thread had begun";
    EXPECT_EQ(fsFailingWaits, 0);
    EXPECT_EQ(task->QueryResult(), 6);
    EXPECT_EQ(task->QueryReferenceCount(), 1u);
    fsDelayed = nullptr;
    fsFailingWaits = 0;
}

TEST(ThreadFailure, IsReportedAndLeavesTheObjectAsItWas) {
    TReference<TTask> const task(new TTask);
    TCapture capture(TTrace::error);
    for (bool const hasEvents : {true, false}) {
        fsHasThreads = !hasEvents;
        fsHasEvents = hasEvents;
        EXPECT_EQ(task->Start(), 1);
        fsHasEvents = true;
        capture.ExpectOne(TTrace::error, "Utility", "Unable to start thread", "src/utility/THREAD");
        EXPECT_EQ(task->IsRunning(), 0);
        EXPECT_EQ(task->QueryReferenceCount(), 1u);
        task->WaitForTermination(-1);
    }
    fsHasThreads = true;
    EXPECT_EQ(task->Start(), 0);
    EXPECT_EQ(task->QueryResult(), 6);
    EXPECT_EQ(task->QueryReferenceCount(), 1u);
}

TEST(ThreadFailure, IsSilentWhereNobodyListens) {
    TReference<TTask> const task(new TTask);
    TCapture capture(TTrace::severe);
    fsHasThreads = false;
    EXPECT_EQ(task->Start(), 1);
    EXPECT_EQ(platform::LastError(), fsReason); // not that of what Start() does afterwards
    capture.ExpectNone();
    capture.trace.SetLevel(TTrace::error);
    EXPECT_EQ(task->Start(), 1);
    capture.ExpectOne(TTrace::error, "Utility", "Unable to start thread", "src/utility/THREAD");
}

TEST(ThreadFailure, OfTheLibrarysOwnStartLeavesTheReferenceWithTheCaller) {
    TReference<TTask> const task(new TTask);
    task->AddRef();
    fsHasThreads = false;
    EXPECT_FALSE(TThreadLaunch::StartUnannounced(*task));
    EXPECT_EQ(task->IsRunning(), 0);
    EXPECT_EQ(task->QueryReferenceCount(), 2u);
    fsHasThreads = true;
    EXPECT_TRUE(TThreadLaunch::StartUnannounced(*task));
    EXPECT_EQ(task->QueryResult(), 6);
    EXPECT_EQ(task->QueryReferenceCount(), 1u);
}
