// Looks for factories while it is loaded.

#include "tuzutil/TRACE.h"

static TTrace fsFirst("gatekind(wait)");
static TTrace fsSecond("gatekind(again)");
