#ifndef TUZUTIL_TRACEEXC_H
#define TUZUTIL_TRACEEXC_H

// TTraceException: the description of an exception as it stands in traces.
//
// Example:
//     try {
//         TString("abc").subString(0);
//     } catch (TException const &problem) {
//         std::cerr << TTraceException::FormatException(problem) << '\n';
//     }
//
// Ownership:  the result is a string of its own.
// Threads:    any.
// Failures:   TOutOfMemory, std::bad_alloc.
// Surprises:  several lines, without a line end after the last. Texts begin with the newest, locations with the oldest.

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

class TUZUTIL_API TTraceException {
public:
    static TString FormatException(TException const &problem);
};

#endif
