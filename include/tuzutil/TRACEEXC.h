#ifndef TUZUTIL_TRACEEXC_H
#define TUZUTIL_TRACEEXC_H

// TTraceException: describes an exception as traces show it.
//
// Example:
//     try {
//         TString("abc").subString(0);
//     } catch (TException const &problem) {
//         std::cerr << TTraceException::FormatException(problem) << '\n';
//     }
//
// Ownership:  The result is a new string.
// Threads:    Any thread may call it.
// Failures:   TOutOfMemory, std::bad_alloc.
// Surprises:
// - The result has several lines, without a line end after the last.
// - Texts begin with the newest, but locations with the oldest.

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

class TUZUTIL_API TTraceException {
public:
    static TString FormatException(TException const &problem);
};

#endif
