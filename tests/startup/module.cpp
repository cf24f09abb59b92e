#include "startup/objects.h"

static TStaticUser fsUser("module");
