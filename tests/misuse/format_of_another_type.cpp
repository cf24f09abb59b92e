// A literal format fits the types of the arguments.
// error: AConversionDoesNotFitItsArgument
// clang++ error: none
#include "tuzutil/TRACEP.h"

#include <cstddef>
#include <string>

void Use(TTrace::Category const &category, std::string const &name, std::size_t size) {
#ifdef WRONG
    TTracePoint::Write(TTrace::error, category, "%s has %s bytes", name, size);
#else
    TTracePoint::Write(TTrace::error, category, "%s has %zu bytes", name, size);
#endif
}
