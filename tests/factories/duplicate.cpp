#include "counting.h"

static TNumberedFactory fsFactory("good", 0x10000006);
