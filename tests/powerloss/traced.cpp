// The process that powerloss.py records, and starts again on what a power failure could have left.
//
//     traced CONFIGURATION FIRST COUNT       opens a trace destination, and writes COUNT records to it
//
// The records are numbered from FIRST on, and have many lengths.

#include "tuzutil/TRACEP.h"

#include <cstdlib>
#include <string>

static TTrace::Category const fsCategory(8, "PowerLoss");

int main(int count, char **arguments) {
    if (count != 4)
        return 2;
    TTrace const trace(arguments[1]);
    int const first = std::atoi(arguments[2]);
    for (int number = first; number < first + std::atoi(arguments[3]); ++number) {
        std::string const filling(static_cast<std::size_t>(number * 37 % 300), 'r');
        TTracePoint::Write(TTrace::error, fsCategory, {"traced.cpp", 1}, "<%d %s>", number, filling);
    }
    return 0;
}
