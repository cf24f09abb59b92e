#ifndef TUZUTIL_CONFIGURATION_FAULT
#define TUZUTIL_CONFIGURATION_FAULT

// Tells somebody that a trace configuration is faulty. The destination of NUV_TRACE_STARTUP receives an entry; if there
// is none, standard error receives one line. So a misspelt name does not go unnoticed, although nothing is thrown.

#include "tuzutil/TRACE.h"

#include <string>
#include <string_view>

// Whether an entry about the fault was written already, which the destination of NUV_TRACE_STARTUP also received.
enum TFaultEntry { noEntryYet, alsoAnEntry };

// Tells: Trace configuration: WHAT "NAME". If there is no memory for this line, nothing is told.
void TellConfigurationFault(std::string_view what, std::string_view name, TFaultEntry entry = noEntryYet) noexcept;

// Returns a text from outside, cut to 200 bytes, with a "?" for each control character.
std::string Printable(std::string_view text);

// Holds the handle of the destination of NUV_TRACE_STARTUP. The destination receives faults as long as this object
// exists.
class TStartupTrace {
public:
    explicit TStartupTrace(TTrace const &trace) noexcept;
    TStartupTrace(TStartupTrace const &) = delete;
    TStartupTrace &operator=(TStartupTrace const &) = delete;
    ~TStartupTrace();

private:
    TTrace fTrace;
};

#endif
