#ifndef TUZUTIL_CONFIGURATION_FAULT
#define TUZUTIL_CONFIGURATION_FAULT

// Tells somebody that a trace configuration is faulty. The destination of NUV_TRACE_STARTUP receives an entry; if there
// is none, standard error receives one line. So a misspelt name does not go unnoticed, although nothing is thrown.

#include "tuzutil/TRACE.h"

#include <string>
#include <string_view>

// Whether every destination has received an entry about the fault already, that of NUV_TRACE_STARTUP included.
enum TFaultEntry { noEntryYet, alsoAnEntry };

// Trace configuration: WHAT "NAME". Without memory for the line, nothing is told.
void TellConfigurationFault(std::string_view what, std::string_view name, TFaultEntry entry = noEntryYet) noexcept;

// A text from outside, cut to 200 characters, with a "?" for each control character.
std::string Printable(std::string_view text);

// The destination of NUV_TRACE_STARTUP, by its handle. It receives faults from its construction until it is destroyed.
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
