#include "counting.h"

static TNumberedFactory fsFactory("oddending", 0x10000003);
