#ifndef TUZUTIL_TESTS_TRACEDTEXT_H
#define TUZUTIL_TESTS_TRACEDTEXT_H

// A trace destination on a string, with the short prefix.

#include "tuzutil/TRACESTR.h"

#include <sstream>
#include <string>

struct TTracedText {
    TTracedText() { trace.SetDisplayPrefix(0); }

    // Returns the records since the last call.
    std::string Take() {
        std::string const text = out.str();
        out.str("");
        return text;
    }

    std::ostringstream out;
    TTraceStream trace{out};
};

#endif
