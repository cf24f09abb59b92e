// A library that registers a category when it is loaded.

#include "tuzutil/TRACE.h"

static TTrace::Category const fsLoaded(8, "Loaded");
