// Looks for a factory that does not exist while the library is loaded. The name of the second factory tells the result.

#include "counting.h"

static TNumberedFactory fsFirst("nested", 0x1000000A);
static TNumberedFactory
    fsSecond(TTraceFactory::GetLoader()->Find("missing[nosuchlibrary]") ? "nestedfound" : "nestedmissed", 0x1000000B);
