#include "counting.h"

static TNumberedFactory fsFactory("nativename", 0x10000004);
