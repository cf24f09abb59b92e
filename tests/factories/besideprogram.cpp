#include "counting.h"

static TNumberedFactory fsFactory("besideprogram", 0x10000002);
