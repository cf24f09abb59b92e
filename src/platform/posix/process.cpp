// The ids of this thread and process, the environment and the system's log. The functions take no lock of this library.
// A thread is not cancelled while it writes to the log.

#include "platform/platform.h"

#include "platform/no_cancel.h"
#include "platform/posix/forks.h"

#include <atomic>
#include <stdlib.h>
#include <syslog.h>
#include <unistd.h>

// The ids are kept, because most trace records contain them, and a call of the system takes long. A forked child
// forgets them. The following variable is the id of this thread, or 0 before the first call of ThreadId().
[[gnu::tls_model("initial-exec")]] static constinit thread_local std::uint32_t fsThreadId = 0;

// The id of this process, or 0 if the id is not kept. The id is kept only after a call of KeepProcessId(). Without this
// call, a child would not forget the id of its parent.
static constinit std::atomic<std::uint32_t> fsProcessId{0};
static constinit std::atomic<bool> fsKeepsProcessId{false};

void platform::KeepProcessId() noexcept {
    fsKeepsProcessId.store(true, std::memory_order_relaxed);
}

void platform::ForgetIdsInChild() noexcept {
    fsThreadId = 0;
    fsProcessId.store(0, std::memory_order_relaxed);
}

std::uint32_t platform::ThreadId() noexcept {
    if (fsThreadId == 0)
        fsThreadId = static_cast<std::uint32_t>(::gettid());
    return fsThreadId;
}

std::uint32_t platform::ProcessId() noexcept {
    std::uint32_t id = fsProcessId.load(std::memory_order_relaxed);
    if (id == 0) {
        id = static_cast<std::uint32_t>(::getpid());
        // No test gets here: forks are followed before the id is first needed, unless memory is lacking.
        if (fsKeepsProcessId.load(std::memory_order_relaxed))
            fsProcessId.store(id, std::memory_order_relaxed);
    }
    return id;
}

bool platform::FindVariable(char const *name, std::string &value) {
    char const *const found = ::secure_getenv(name);
    if (found)
        value = found;
    return found != nullptr;
}

void platform::DebuggerOutput(char const *text) {
    TNoCancel const noCancel;
    ::syslog(LOG_USER | LOG_DEBUG, "%s", text);
}
