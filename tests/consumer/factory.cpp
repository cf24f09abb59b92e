// A library that supplies nothing: it is only built.

#include <tuzutil/FACTORY.h>
