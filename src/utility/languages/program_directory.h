#ifndef TUZUTIL_PROGRAM_DIRECTORY
#define TUZUTIL_PROGRAM_DIRECTORY

// The directory part of the program's name.

#include "tuzutil/TRACEP.h"

// What is before the last backslash; "." where there is none; nil for an empty name.
inline TString ProgramDirectory(TString const &program) {
    if (program.length() == 0)
        return TString("");
    if (unsigned int const backslash = program.lastIndexOf('\\'))
        return program.subString(1, backslash - 1);
    TTracePoint::Write(TTrace::warning, TUtilityTraceCategory::NLSResource, "src/utility/NLSRESRC",
                       "Unable to find directory of EXE, using \".\" for %%E");
    return TString(".");
}

#endif
