#ifndef TUZUTIL_PROGRAM_DIRECTORY
#define TUZUTIL_PROGRAM_DIRECTORY

// The directory part of the program's full name, which replaces %E in a search template. If there is none a trace entry
// says so.

#include "utility/kernel/reporter.h"

// What precedes the last backslash; "." if there is none; nil for an empty name.
inline TString ProgramDirectory(TString const &program, std::uint32_t line = __builtin_LINE()) {
    if (program.length() == 0)
        return TString("");
    if (unsigned int const backslash = program.lastIndexOf('\\'))
        return program.subString(1, backslash - 1);
    TReporter(TUtilityTraceCategory::NLSResource, "src/utility/NLSRESRC")
        .Warning({"Unable to find directory of EXE, using \".\" for %%E", line});
    return TString(".");
}

#endif
