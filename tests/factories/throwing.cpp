// A good factory, then one whose type cannot be copied into the registry again: the constructor throws.

#include "counting.h"

static TNumberedFactory fsFirst("throwing", 0x10000008);
static TNumberedFactory fsSecond("THROWING[elsewhere]", 0x10000009);
