// Reports faults in trace configurations to the destination of NUV_TRACE_STARTUP or, if there is none, on standard
// error. The trace lock guards the pointer to the destination, and is held while the destination writes.

#include "utility/destinations/configuration_fault.h"

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

// Writes an entry to the destination of NUV_TRACE_STARTUP. Returns false if there is no such destination.
bool WriteToStartupTrace(std::string const &text) {
    TTextMessage message("%s", text.c_str());
    message.SetDebugging("src/utility/TRACEP", __LINE__);
    TTrace::Category const &category = TUtilityTraceCategory::Trace;
    TLock const lock(TTrace::Base::fsMutex);
    if (!fsDestination)
        return false;
    if (fsDestination->IsTracing(TTrace::warning, category.QueryComponent(), category))
        fsDestination->Write(TTrace::warning, category, message);
    return true;
}

bool HasStartupTrace() noexcept {
    TLock const lock(TTrace::Base::fsMutex);
    return fsDestination != nullptr;
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
        if (entry == alsoAnEntry ? HasStartupTrace() : WriteToStartupTrace(text))
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
