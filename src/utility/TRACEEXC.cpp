// TTraceException: makes the text that describes an exception in full. The text is the same in every locale. If there
// is no memory for the text, FormatException() throws. This source has no lock.

#include "tuzutil/TRACEEXC.h"

#include <locale>
#include <sstream>

TString TTraceException::FormatException(TException const &problem) {
    std::ostringstream out;
    out.exceptions(std::ios_base::badbit); // a lack of memory must throw, not cut the text
    out.imbue(std::locale::classic());     // the program's locale might group digits
    char const *const group = problem.errorCodeGroup();
    out << "Exception " << problem.name() << ", group " << (group ? group : "unknown")
        << ", error ID: " << problem.errorId() << " (x" << std::hex << problem.errorId() << std::dec << "), "
        << (problem.isRecoverable() ? "recoverable" : "unrecoverable");

    out << "\nwith the following text:";
    for (unsigned long index = 0; index < problem.textCount(); ++index) {
        if (char const *const text = problem.text(index))
            out << "\n  " << text;
    }

    out << "\nat location:";
    for (unsigned long index = 0; index < problem.locationCount(); ++index) {
        TExceptionLocation const &location = *problem.locationAtIndex(index);
        char const *const file = location.fileName();
        char const *const function = location.functionName();
        out << "\n  [" << (file ? file : "") << ", " << location.lineNumber() << ']';
        if (function && *function)
            out << ' ' << function;
    }
    return TString(out.str().c_str());
}
