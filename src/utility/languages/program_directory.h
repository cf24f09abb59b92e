#ifndef TUZUTIL_PROGRAM_DIRECTORY
#define TUZUTIL_PROGRAM_DIRECTORY

// ProgramDirectory(): returns the directory part of the program's full name. This part replaces %E in the template that
// says where to look for language libraries.

#include "utility/kernel/reporter.h"

// Returns the part of the name before the last backslash. If there is no backslash, traces this and returns ".". If the
// name is empty, returns an empty string.
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
