#ifndef TUZUTIL_TRACEEXC_H
#define TUZUTIL_TRACEEXC_H

// TTraceException: makes the text that describes an exception in a trace.
//
// Example:
//     try {
//         TString("abc").subString(0);
//     } catch (TException const &problem) {
//         std::cerr << TTraceException::FormatException(problem) << '\n';
//     }
//
// Ownership:  The result is a new string.
// Threads:    Any thread may call FormatException().
// Failures:   TOutOfMemory or std::bad_alloc if there is no memory for the text.
// Surprises:
// - The result has several lines, without a line end after the last.
// - Texts are listed from the newest to the oldest, but locations from the oldest to the newest.
class TTraceException;

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/EXPORT.h"
#include "tuzutil/TSTRING.h"

class TUZUTIL_API TTraceException {
public:
    // Returns the class, the group, the ID and the severity of the exception, and then its texts and its locations.
    [[nodiscard]] static TString FormatException(TException const &problem);
};

#endif
