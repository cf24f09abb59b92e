#include "counting.h"

static TNumberedFactory fsFactory("anothername", 0x10000005);
