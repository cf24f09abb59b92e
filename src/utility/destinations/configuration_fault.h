#ifndef TUZUTIL_CONFIGURATION_FAULT
#define TUZUTIL_CONFIGURATION_FAULT

// Reports a fault in a trace configuration, for example a misspelt name. The destination that the environment variable
// NUV_TRACE_STARTUP names receives an entry. If there is no such destination, or if it does not write the entry,
// standard error receives one line.

#include "tuzutil/TRACE.h"

#include <string>
#include <string_view>

// Says whether a trace entry about the fault was written already. If so, the destination of NUV_TRACE_STARTUP gets no
// second entry.
enum TFaultEntry { noEntryYet, alsoAnEntry };

// Reports the line: Trace configuration: WHAT "NAME". If there is no memory for the line, reports nothing.
void TellConfigurationFault(std::string_view what, std::string_view name, TFaultEntry entry = noEntryYet) noexcept;

// Returns `text` cut to 200 bytes, with a "?" in place of each control character.
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
