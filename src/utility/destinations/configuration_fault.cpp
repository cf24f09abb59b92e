// Reports faults in trace configurations to the destination that the environment variable NUV_TRACE_STARTUP names. If
// this destination does not write them, reports them on standard error. If the caller also traces an entry about the
// fault, the destination gets that entry instead. The trace lock guards the pointer to the destination, and is held
// while the destination writes.

#include "utility/destinations/configuration_fault.h"

#include "tuzutil/TRACESHF.h"
#include "tuzutil/TRACESTR.h"
#include "tuzutil/TXTMSG.h"
#include "utility/kernel/drop_exceptions.h"
#include "utility/kernel/lock.h"

#include <iostream>

namespace {

constinit TTrace::Base *fsDestination = nullptr;

void SetDestination(TTrace::Base *destination) noexcept {
    TLock const lock(TTrace::Base::fsMutex);
    fsDestination = destination;
}

// Returns whether the destination of NUV_TRACE_STARTUP exists and writes warnings. A destination whose file could not
// be opened writes nothing. REQUIRES: the trace lock is held.
bool IsListening() {
    auto const *const stream = dynamic_cast<TTraceStreamBase const *>(fsDestination);
    auto const *const sharedFile = dynamic_cast<TTraceSharedFileBase const *>(fsDestination);
    if (!fsDestination || (stream && !stream->IsOpen()) || (sharedFile && !sharedFile->IsOpen()))
        return false;
    TTrace::Category const &category = TUtilityTraceCategory::Trace;
    return fsDestination->IsTracing(TTrace::warning, category.QueryComponent(), category);
}

// Writes a warning to the destination of NUV_TRACE_STARTUP. If the destination does not exist or does not write
// warnings, returns false.
bool WriteToStartupTrace(std::string const &text) {
    TTextMessage message("%s", text.c_str());
    message.SetDebugging("src/utility/TRACEP", __LINE__);
    TLock const lock(TTrace::Base::fsMutex);
    bool const isListening = IsListening();
    if (isListening)
        fsDestination->Write(TTrace::warning, TUtilityTraceCategory::Trace, message);
    return isListening;
}

bool IsStartupTraceListening() {
    TLock const lock(TTrace::Base::fsMutex);
    return IsListening();
}

} // namespace

std::string Printable(std::string_view text) {
    std::string result(text.substr(0, 200));
    for (char &c : result) {
        if (static_cast<unsigned char>(c) < ' ' || c == 0x7F)
            c = '?';
    }
    return result;
}

void TellConfigurationFault(std::string_view what, std::string_view name, TFaultEntry entry) noexcept {
    DropExceptions([&] {
        std::string const text = "Trace configuration: " + std::string(what) + " \"" + Printable(name) + '"';
        if (entry == alsoAnEntry ? IsStartupTraceListening() : WriteToStartupTrace(text))
            return;
        std::cerr << text + "\n" << std::flush;
    });
}

TStartupTrace::TStartupTrace(TTrace const &trace) noexcept : fTrace(trace) {
    SetDestination(fTrace.QueryPointer().Pointer());
}

TStartupTrace::~TStartupTrace() {
    SetDestination(nullptr);
}
